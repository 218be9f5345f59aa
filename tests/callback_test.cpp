// The progress callback: how often it is called, and what it may do.
#include "support/integrity.h"
#include "support/memory_net.h"
#include "support/model.h"
#include "support/network.h"

#include <stdexcept>

namespace {

// Installs a callback for as long as it lives.
class Progress {
 public:
  explicit Progress(CNCCNet& net, std::function<void(int call)> act = {})
      : net_(net), act_(std::move(act)) {
    net_.SetCallback(&Progress::Call, this);
  }
  ~Progress() { net_.SetCallback(nullptr, nullptr); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  int TakeCalls() { return std::exchange(calls_, 0); }

 private:
  static long Call(void* context, void* arg) {
    auto& self = *static_cast<Progress*>(context);
    EXPECT_EQ(arg, nullptr);
    ++self.calls_;
    if (self.act_) self.act_(self.calls_);
    return -1;
  }

  CNCCNet& net_;
  std::function<void(int)> act_;
  int calls_ = 0;
};

using Callback = SampleTest;
using Numbers = std::vector<unsigned long>;

long Ignore(void*, void*) { return 0; }

TEST_F(Callback, SettingReturnsThePreviousOne) {
  EXPECT_EQ(net_.SetCallback(&Ignore), nullptr);
  EXPECT_EQ(net_.SetCallback(nullptr, nullptr), &Ignore);
  int calls = 0;
  const auto count = [](void* context, void*) -> long { return ++*static_cast<int*>(context); };
  CNCCNet constructed(&Ignore, &calls);
  EXPECT_EQ(constructed.SetCallback(count), &Ignore);
  ASSERT_TRUE(constructed.Create(scratch_.Path().c_str(), "other", 1));
  EXPECT_EQ(constructed.GetServer("x"), 0U);
  EXPECT_EQ(calls, 1) << "the context stays, and the network entry is visited";
}

TEST_F(Callback, WalksVisitEachEntryUpToTheOneFound) {
  TDBObjId id;
  std::list<CNNEntry> list;
  TDBObjId server{200, 1};
  // The root holds the network entry, A, B, C; the folder of A two items for each AP.
  const struct {
    const char* what;
    std::function<bool()> run;
    int calls;
  } cases[] = {
      {"server by name", [&] { return net_.GetServer("B", id); }, 3},
      {"server by id", [&] { return net_.GetServer(3, id); }, 4},
      {"no such server", [&] { return !net_.GetServer("a1", id); }, 4},
      {"AP by name", [&] { return net_.GetAP("a2", id); }, 2},
      {"AP of the second server", [&] { return net_.GetAP("b1", id); }, 3},
      {"no such AP", [&] { return !net_.GetAP("A", id); }, 4},
      {"node by id", [&] { return net_.GetNN(6, id); }, 0},
      {"AP by id", [&] { return net_.GetAP(6, id); }, 0},
      {"all servers", [&] { return net_.GetListServer(list) == 3; }, 4},
      {"their number", [&] { return net_.GetServersCount() == 3; }, 4},
      {"renaming a server", [&] { return net_.ModifyServer("B", "x"); }, 3 + 4},
      {"renaming an AP", [&] { return net_.ModifyAP(6, "b2"); }, 3 + 1},
      {"all APs", [&] { return net_.GetListAP(list) == 3; }, 0},
      {"deleting the second AP", [&] { return net_.DeleteAP(server, "a2"); }, 3},
      {"spaces", [&] { return NetAccess::GetRootFldSpc(net_) == 200; }, 2},
  };
  Progress progress(net_);
  for (const auto& [what, run, calls] : cases) {
    EXPECT_TRUE(run()) << what;
    EXPECT_EQ(progress.TakeCalls(), calls) << what;
  }
}

// The root holds behind the servers d, e (7, 8), u, v (9, 10), g (11), w (12); d lists u and v.
TEST_F(Callback, UsersDepsAndGroupsCallOncePerItem) {
  ASSERT_TRUE(net_.CreateDep("d") == 7 && net_.CreateDep("e") == 8 && net_.CreateAB("u") == 9);
  ASSERT_TRUE(net_.CreateAB("v") == 10 && net_.CreateNGrp("g") == 11 && net_.CreateAB("w") == 12);
  ASSERT_TRUE(net_.LinkNNToNGrp(11, 5) && net_.LinkDepToNGrp(11, 7) && net_.LinkDepToNGrp(11, 8));
  ASSERT_TRUE(net_.LinkABToDep(7, 9, true) && net_.LinkABToDep(7, 10, true));
  TDBObjId id;
  std::list<CABEntry> users;
  std::list<CDepEntry> deps;
  const struct {
    const char* what;
    std::function<bool()> run;
    int looking_up;
    int own;
  } cases[] = {
      {"user", [&] { return net_.GetAB("V", id); }, 8, 0},
      {"node group", [&] { return net_.GetNGrp(11, id); }, 9, 0},
      {"all users", [&] { return net_.GetListAB(users) == 3; }, 0, 0},
      {"users of a Dep", [&] { return net_.GetListAB(7, users) == 2; }, 5, 4},
      {"free Deps", [&] { return net_.GetListDepFree(deps) == 0; }, 0, 2},
      {"checks", [&] { return net_.CheckAnomaliesAB(&users, &users, &users) == 0; }, 0, 0},
      {"a node out of the group", [&] { return net_.DeleteNNFromNGrp(11, 1); }, 9 + 9, 1 + 4 + 1},
      {"renaming", [&] { return net_.ModifyAB(9, "U2"); }, 7, 1},
      {"linking", [&] { return net_.LinkABToDep(8, 10, true); }, 6 + 8 + 9, 0},
      {"a first link", [&] { return net_.LinkABToDep(8, 12, true); }, 6 + 10 + 9 + 9, 1},
      {"unlinking", [&] { return net_.DeleteABFromDep(8, 12), true; }, 6, 3},
      {"unlinking by name", [&] { return net_.DeleteABFromDep("d", "v"), true; }, 5, 3},
      {"linking again", [&] { return net_.LinkABToDep(7, 10, true); }, 5 + 8 + 9, 0},
      {"linking Deps", [&] { return net_.LinkDepToDep(7UL, 8UL); }, 5 + 6, 0},
      {"linked Deps", [&] { return net_.GetListLinkedDep(7, deps) == 1; }, 5, 6},
      {"linking behind a Dep", [&] { return net_.LinkABToDep(7, 12, true); }, 5 + 10 + 9, 0},
      {"unlinking all, beginning anew after each", [&] { return net_.DeleteAllAb(7), true; }, 5,
       7}};
  Progress progress(net_);
  for (const auto& [what, run, looking_up, own] : cases) {
    EXPECT_TRUE(run()) << what;
    EXPECT_EQ(progress.TakeCalls(), looking_up + own) << what;
  }
}

TEST_F(Callback, LinkedServersAndNameChecksCallOncePerElement) {
  std::list<CNNEntry> list;
  Progress progress(net_);
  TDBObjId id;
  net_.GetServer(1, id);
  const int resolving = progress.TakeCalls();
  EXPECT_EQ(net_.GetListLinkedSrv(1, list), 2U);
  EXPECT_EQ(progress.TakeCalls(), resolving + 2);
  EXPECT_TRUE(net_.CheckAPName("b1"));
  EXPECT_GE(progress.TakeCalls(), 2);
}

// What a name finds while a callback is set and what it finds while none is: the same.
TEST_F(Callback, AnswersAreTheSameWithAndWithout) {
  ASSERT_EQ(net_.AddAP("C", "a2", 0), 7U);
  ASSERT_EQ(net_.AddAP("B", "A1", 0), 8U);
  ASSERT_TRUE(net_.ChangeSrv(4, 3) && net_.ModifyServer("A", "a2"));
  const std::string without = Describe(net_);
  Progress progress(net_);
  EXPECT_EQ(Describe(net_), without);
  TDBObjId id;
  EXPECT_FALSE(net_.GetServer(4, id)) << "an AP is no server";
  EXPECT_EQ(net_.GetType(4), kTypeAP);
}

TEST_F(Callback, WalksMeetWhatIsAppendedAndSurviveRemovals) {
  TDBObjId id;
  auto revision = net_.GetRevision();
  {
    Progress progress(net_, [this](int call) {
      if (call != 2) return;
      net_.SetCallback(nullptr);
      EXPECT_EQ(net_.AddServer("late", 0, 0), 7U) << net_.LastError();
      net_.SetCallback(&Ignore);
    });
    EXPECT_TRUE(net_.GetServer("late", id));
    EXPECT_EQ(id.number, 7U);
  }
  EXPECT_EQ(net_.GetRevision(), ++revision) << "a look-up whose callback changed something";
  const auto remove_all = [this](int call) {
    if (call != 2) return;
    net_.SetCallback(nullptr);
    EXPECT_TRUE(net_.DeleteServer("A") && net_.DeleteServer("B") && net_.DeleteServer("late"));
    net_.SetCallback(&Ignore);
  };
  Progress progress(net_, remove_all);
  EXPECT_FALSE(net_.GetServer("late", id));
  net_.SetCallback(nullptr);
  EXPECT_EQ(net_.GetRevision(), ++revision) << "three deletions belong to the one operation";
  EXPECT_EQ(ServerIds(net_), (Numbers{3}));
  DropAndReopen();
  EXPECT_EQ(ServerIds(net_), (Numbers{3}));
  {
    Progress adding(net_, [this](int) {
      net_.SetCallback(nullptr);
      EXPECT_TRUE(net_.CreateAB("x") == 8 && net_.CreateAB("y") == 9) << net_.LastError();
    });
    net_.LoadNetInfo();
  }
  EXPECT_EQ(net_.GetRevision(), ++revision) << "so do what is made while the block is loaded";
  EXPECT_EQ(net_.Preferences()->next_id, 10U);
}

// Random operations whose callback does random things at random calls, and whose callbacks in turn
// do.
class Meddling {
 public:
  explicit Meddling(unsigned seed) : random_(seed) {}

  void Run() {
    ASSERT_TRUE(memory_.Create());
    model_ = Model(*net_.Preferences());
    for (int i = 0; i < 60; ++i) {
      const Step step = RandomStep(random_, model_);
      EXPECT_EQ(step.Run(net_), step.Run(model_));
    }
    // From here on the model tells no more than which names and identifiers there have been.
    for (int i = 0; i < 40 && !::testing::Test::HasFailure(); ++i) {
      log_.clear();
      {
        Progress progress(net_, [this](int) { Meddle(); });
        RunStep();
      }
      net_.SaveNetInfo();
      const std::string memory = Describe(net_);
      ASSERT_TRUE(memory_.Open()) << net_.LastError();
      EXPECT_EQ(Describe(net_), memory) << log_;
      EXPECT_EQ(FindFaults(net_), "") << log_;
    }
  }

 private:
  void RunStep() {
    const Step step = RandomStep(random_, model_);
    log_ += std::string(depth_ * 2, ' ') + step.Text() + "\n";
    step.Run(net_);
  }

  void Meddle() {
    if (depth_ == 2 || random_() % 8 != 0) return;
    // Identifiers of what was deleted are taken again.
    const auto id = static_cast<std::uint32_t>(1 + random_() % 80);
    if (random_() % 4 == 0) net_.Preferences()->next_id = id;
    ++depth_;
    RunStep();
    --depth_;
  }

  std::mt19937 random_;
  MemoryNet memory_;
  CNCCNet& net_ = memory_.Net();
  Model model_{CNetPref{}};
  std::size_t depth_ = 0;
  std::string log_;
};

TEST(CallbackMeddling, LeavesMemoryAndFileInAgreement) {
  for (unsigned seed = 1; seed <= 80 && !::testing::Test::HasFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    Meddling(seed).Run();
  }
}

// What the callback says last, counts.
TEST_F(Callback, DoesNotWriteOverWhatACallbackChanged) {
  ASSERT_TRUE(net_.CreateDep("d") == 7 && net_.CreateAB("u") == 8 && net_.CreateNGrp("g") == 9);
  ASSERT_TRUE(net_.LinkNNToNGrp(9, 5) && net_.LinkDepToNGrp(9, 7));
  ASSERT_TRUE(net_.LinkABToDep(7, 8, false) && net_.SetPrimaryCol(8, {0, 0}));
  int calls = 0;
  int wanted = 5 + 6 + 1;  // the first behind those of looking up the Dep and the user
  Progress progress(net_, [&](int) {
    if (++calls != wanted) return;
    net_.SetPrimaryCol(8, {7, 4});
    net_.ModifyAB(8, ("inner" + std::to_string(wanted)).c_str());
  });
  EXPECT_TRUE(net_.LinkABToDep(7, 8, false));
  EXPECT_EQ(net_.GetPrimaryCol(8).node, 4U);
  calls = 0;
  wanted = 6 + 1;
  EXPECT_TRUE(net_.ModifyAB(8, "outer"));
  net_.SetCallback(nullptr);
  CABEntry entry;
  EXPECT_TRUE(net_.GetABInfo("inner7", entry));
  EXPECT_STREQ(entry.name, "inner7");
  EXPECT_EQ(entry.primary.node, 4U);
  EXPECT_EQ(FindFaults(net_), "");
}

TEST_F(Callback, CannotOpenCloseOrBatch) {
  const std::string before = Describe(net_);
  const std::string path = scratch_.Path();
  Progress progress(net_, [&](int) {
    EXPECT_FALSE(net_.Create(path.c_str(), "inner", 1));
    EXPECT_FALSE(net_.Open(folder_.c_str(), "net"));
    EXPECT_FALSE(net_.BeginBatch());
    EXPECT_FALSE(net_.EndBatch(false));
    net_.Close();
  });
  TDBObjId id;
  EXPECT_TRUE(net_.GetServer("A", id));
  ASSERT_TRUE(net_.BeginBatch());
  EXPECT_TRUE(net_.GetServer("A", id));
  EXPECT_TRUE(net_.EndBatch());
  net_.SetCallback(nullptr);
  EXPECT_EQ(Describe(net_), before);
  EXPECT_EQ(ReleaseHeldLevels(net_), 0);
}

struct Refused : std::runtime_error {
  using std::runtime_error::runtime_error;
};

TEST_F(Callback, AnExceptionUndoesTheOperationAndGoesOn) {
  net_.Preferences()->byte_18 = 0x77;  // not stored: must survive as it is
  const std::string before = Describe(net_);
  const auto revision = net_.GetRevision();
  const auto change_and_throw = [this](int call) {
    if (call == 1) {
      net_.SetCallback(nullptr);
      EXPECT_NE(net_.AddServer("inner", 0, 0), 0U);
      EXPECT_TRUE(net_.DeleteServer("B"));
      net_.SetCallback(&Ignore);
      throw Refused("inside");
    }
  };
  const std::vector<Operation> walking = {
      {"GetServer", [](CNCCNet& net) { return net.GetServer("C"); }},
      {"AddAP", [](CNCCNet& net) { return net.AddAP("A", "x", 0); }},
      {"ModifyAP", [](CNCCNet& net) { return net.ModifyAP(4, "x") ? 1UL : 0; }},
      {"DeleteServer", [](CNCCNet& net) { return net.DeleteServer("C") ? 1UL : 0; }},
      {"DeleteAP", [](CNCCNet& net) { return net.DeleteAP("A", "a2") ? 1UL : 0; }},
      {"CheckAPName", [](CNCCNet& net) { return net.CheckAPName("b1") ? 1UL : 0; }},
      {"GetNCC", [](CNCCNet& net) { return net.GetNCC(); }}};
  for (const Operation& walk : walking) {
    {
      Progress progress(net_, change_and_throw);
      EXPECT_THROW(walk.run(net_), Refused) << walk.name;
    }
    EXPECT_EQ(Describe(net_), before) << walk.name;
    EXPECT_EQ(net_.GetRevision(), revision) << walk.name;
    EXPECT_EQ(ReleaseHeldLevels(net_), 0) << walk.name;
  }
  EXPECT_EQ(net_.AddServer("usable", 0, 0), 7U) << net_.LastError();
  DropAndReopen();
  EXPECT_EQ(ServerIds(net_), (Numbers{1, 2, 3, 7}));
}

}  // namespace
