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

// golden/operations.txt states what each operation gives in the sample with its people, and how
// often it calls: for the entries that it passes in the root (the network entry, then objects in
// the order of their identifiers) or in a server (two for an AP), and for what it does itself.
TEST(CallbackCalls, AreAsManyAsStated) {
  std::string counted;
  for (const auto* list : {&SampleChanges(), &SampleQueries()}) {
    for (const auto& [name, run] : *list) {
      SampleNet sample;
      Progress progress(sample.Net());
      counted += name + ": gives " + std::to_string(run(sample.Net())) + ", calls ";
      counted += std::to_string(progress.TakeCalls()) + "\n";
    }
  }
  EXPECT_EQ(counted, ReadFile(NCCNET_GOLDEN "/operations.txt"));
  for (const std::string& name : OperationNames()) {
    EXPECT_NE(("\n" + counted).find("\n" + name + " \""), std::string::npos) << name;
  }
}

TEST_F(Callback, MissesVisitEveryEntry) {
  Progress progress(net_);
  TDBObjId id;
  EXPECT_FALSE(net_.GetServer("a1", id));
  EXPECT_EQ(progress.TakeCalls(), 4);
  EXPECT_FALSE(net_.GetAP("A", id));
  EXPECT_EQ(progress.TakeCalls(), 4);
  EXPECT_EQ(NetAccess::GetRootFldSpc(net_), 200U);
  EXPECT_EQ(progress.TakeCalls(), 2);
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

TEST(CallbackCalls, AreMadeWhereNothingIsToDo) {
  SampleNet sample;
  CNCCNet& net = sample.Net();
  std::list<CABEntry> users;
  Progress progress(net);
  EXPECT_EQ(net.CheckAnomaliesAB(&users, &users, &users), 0);
  EXPECT_EQ(progress.TakeCalls(), 0);
  EXPECT_TRUE(net.DeleteNNFromNGrp(11, 1));
  EXPECT_EQ(progress.TakeCalls(), 28);
  EXPECT_TRUE(net.LinkABToDep(7, 10, true));
  EXPECT_EQ(progress.TakeCalls(), 5 + 8 + 9);
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

TEST_F(Callback, AGeneratorPassesOverAnIdentifierThatAnotherKindHasTakenMeanwhile) {
  Progress progress(net_, [this](int call) {
    if (call != 1) return;
    net_.SetCallback(nullptr);
    EXPECT_TRUE(net_.DeleteAP("A", "a1"));
    net_.Preferences()->next_id = 4;
    EXPECT_EQ(net_.CreateAB("x"), 4U);
    net_.SetCallback(&Ignore);
  });
  const std::string folder = scratch_.Path() + "/";
  EXPECT_TRUE(net_.GenApn(folder.c_str(), 1));
  EXPECT_STREQ(net_.LastError(), "no AP has the identifier 4");
  EXPECT_TRUE(std::filesystem::exists(folder + "apn0006.txt"));
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

TEST(CallbackException, UndoesTheOperationAndGoesOn) {
  std::vector<Operation> operations = SampleChanges();
  operations.pop_back();  // the batch, which the exception would leave open
  operations.insert(operations.end(), SampleQueries().begin(), SampleQueries().end());
  for (const auto& [name, run] : operations) {
    SampleNet sample;
    CNCCNet& net = sample.Net();
    net.Preferences()->byte_18 = 0x77;  // not stored: must survive as it is
    const std::string before = Describe(net);
    const auto revision = net.GetRevision();
    bool is_thrown = false;
    Progress progress(net, [&net](int) {
      net.SetCallback(nullptr);
      EXPECT_NE(net.AddServer("inner", 0, 0), 0U);
      EXPECT_TRUE(net.DeleteServer("C"));
      net.SetCallback(&Ignore);
      throw Refused("inside");
    });
    try {
      run(net);
    } catch (const Refused&) {
      is_thrown = true;
    }
    EXPECT_EQ(is_thrown, progress.TakeCalls() > 0) << name;
    if (!is_thrown) continue;
    EXPECT_EQ(Describe(net), before) << name;
    EXPECT_EQ(net.GetRevision(), revision) << name;
    EXPECT_EQ(ReleaseHeldLevels(net), 0) << name;
    EXPECT_EQ(net.AddServer("usable", 0, 0), 14U) << net.LastError();
    ASSERT_TRUE(sample.Open());
    EXPECT_EQ(ServerIds(net), (Numbers{1, 2, 3, 14})) << name;
  }
}

}  // namespace
