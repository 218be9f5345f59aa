// A second machine: it shows what the owner stores, refuses changes, and goes on when it has taken
// over.
#include "support/memory_net.h"
#include "support/model.h"

#include <atomic>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using ncc::Network;

class Standby : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(second_.OpenStandby()) << standby.LastError(); }

  void ExpectEqual() {
    EXPECT_EQ(Describe(standby), Describe(owner));
    EXPECT_EQ(standby.GetRevision(), owner.GetRevision());
    EXPECT_EQ(DescribePreferences(*standby.Preferences()),
              DescribePreferences(*owner.Preferences()));
  }
  // Long enough for a busy machine; nothing waits so long.
  static constexpr unsigned long kLong = 60000;

  const std::shared_ptr<ncc::MemoryStore> store_ = std::make_shared<ncc::MemoryStore>();
  SampleNet first_{store_};
  MemoryNet second_{store_};
  CNCCNet& owner = first_.Net();
  CNCCNet& standby = second_.Net();
};

TEST_F(Standby, IsEqualToTheOwnerAfterEachOfManyChanges) {
  for (unsigned seed = 1; seed <= 3; ++seed) {
    const auto store = std::make_shared<ncc::MemoryStore>();
    MemoryNet one(store);
    MemoryNet other(store);
    ASSERT_TRUE(one.Create());
    ASSERT_TRUE(other.OpenStandby());
    std::mt19937 random(seed);
    Model model(*one.Net().Preferences());
    for (int i = 0; i < 150; ++i) {
      const std::uint64_t before = one.Net().GetRevision();
      const bool in_batch = random() % 8 == 0 && one.Net().BeginBatch();
      for (int count = in_batch ? 8 : 1; count > 0; --count) {
        const Step step = RandomStep(random, model);
        EXPECT_EQ(step.Run(one.Net()), step.Run(model));
      }
      if (in_batch) one.Net().EndBatch();
      // One that looks seldom is given commits in a row, and loads again when they are too many.
      if (random() % 3 != 0) continue;
      const bool is_behind = other.Net().GetRevision() != one.Net().GetRevision();
      EXPECT_EQ(other.Net().Follow(0), is_behind) << before;
      while (other.Net().Follow(0)) {
      }
      ASSERT_EQ(Describe(other.Net()), Describe(one.Net())) << "seed " << seed << ", step " << i;
      ASSERT_EQ(FindDisagreements(other.Net()), "");
    }
  }
}

TEST_F(Standby, RefusesChangesAndNamesTheOwner) {
  EXPECT_TRUE(standby.IsStandby());
  EXPECT_FALSE(owner.IsStandby());
  EXPECT_EQ(standby.GetOwner(), owner.GetOwner());
  const std::string before = Describe(standby);
  for (const Operation& change : SampleChanges()) {
    EXPECT_TRUE(IsRefused(standby, change.run(standby))) << change.name;
    if (change.name == "batch") continue;  // its end tells of the end alone
    EXPECT_EQ(LastFailure(), NCCFailure::kNotOwner) << change.name;
    EXPECT_NE(std::string(standby.LastError()).find("the standby of " + owner.GetOwner()),
              std::string::npos);
  }
  EXPECT_FALSE(standby.ShowRevision(2)) << "it would have to come back by itself";
  EXPECT_EQ(Describe(standby), before);
  EXPECT_FALSE(standby.IsOwnerLost());
  owner.Close();
  EXPECT_FALSE(standby.Follow(0));
  EXPECT_EQ(standby.GetOwner(), "");
  EXPECT_FALSE(standby.IsOwnerLost()) << "it has closed it";
  EXPECT_FALSE(standby.DeleteServer("A"));
  EXPECT_NE(std::string(standby.LastError()).find("nobody owns"), std::string::npos);
}

TEST_F(Standby, NeedsADatabaseThatCanBeFollowed) {
  const ScratchFolder scratch;
  CNCCNet net;
  EXPECT_FALSE(net.Follow(0)) << "none is open";
  ASSERT_TRUE(net.Create(scratch.Path("db").c_str(), "net", 1));
  EXPECT_FALSE(net.Follow(0));
  EXPECT_FALSE(net.TakeOver(0, true));
  EXPECT_NE(std::string(net.LastError()).find("no standby"), std::string::npos);
  EXPECT_NE(net.AddServer("A", 0, 0), 0U) << net.LastError();
  net.Close();
  EXPECT_FALSE(net.OpenStandby(scratch.Path("db").c_str(), "net"));
  EXPECT_FALSE(net.IsStandby());
  EXPECT_TRUE(net.Open(scratch.Path("db").c_str(), "net")) << net.LastError();
}

// Memory must not change under an operation that has looked at it.
TEST_F(Standby, StaysAsItIsInsideABatchAndAProgressCallback) {
  ASSERT_NE(owner.AddServer("new", 0, 0), 0U);
  const std::string before = Describe(standby);
  ASSERT_TRUE(standby.BeginBatch());
  EXPECT_FALSE(standby.Follow(0));
  EXPECT_FALSE(standby.TakeOver(0, true));
  EXPECT_EQ(Describe(standby), before);
  EXPECT_TRUE(standby.EndBatch());
  static int calls;
  calls = 0;
  standby.SetCallback(
      [](void* net, void*) -> long {
        ++calls;
        EXPECT_FALSE(static_cast<CNCCNet*>(net)->Follow(0));
        EXPECT_FALSE(static_cast<CNCCNet*>(net)->TakeOver(0, true));
        return 0;
      },
      &standby);
  std::list<CNNEntry> list;
  EXPECT_EQ(standby.GetListServer(list), 3U);
  EXPECT_GT(calls, 0);
  standby.SetCallback(nullptr);
  EXPECT_TRUE(standby.Follow(0));
  ExpectEqual();
}

TEST_F(Standby, GoesOnToShowWhatItKnewWhileStorageDoesNotAnswer) {
  ASSERT_NE(owner.AddServer("new", 0, 0), 0U);
  const std::string before = Describe(standby);
  store_->SetNetwork(Network::kIsDown);
  EXPECT_FALSE(standby.Follow(0));
  EXPECT_EQ(LastFailure(), NCCFailure::kUnavailable);
  EXPECT_FALSE(standby.TakeOver(0, true));
  EXPECT_EQ(LastFailure(), NCCFailure::kUnavailable);
  EXPECT_EQ(Describe(standby), before);
  EXPECT_TRUE(standby.IsStandby());
  store_->SetNetwork(Network::kWorks);
  EXPECT_TRUE(standby.Follow(kLong));
  ExpectEqual();
}

TEST_F(Standby, TakesOverWhenTheOwnerHasGoneAndNotBefore) {
  EXPECT_FALSE(standby.TakeOver(50));
  EXPECT_EQ(LastFailure(), NCCFailure::kInUse);
  EXPECT_NE(std::string(standby.LastError()).find(owner.GetOwner()), std::string::npos);
  EXPECT_TRUE(standby.IsStandby());
  ASSERT_TRUE(owner.ModifyServer("A", "renamed"));
  const std::string text = Describe(owner);
  owner.Close();
  EXPECT_TRUE(standby.TakeOver(0)) << standby.LastError();
  EXPECT_FALSE(standby.IsStandby());
  EXPECT_EQ(Describe(standby), text) << "with what it had not followed yet";
  EXPECT_NE(standby.GetOwner(), "");
  EXPECT_FALSE(standby.TakeOver(0)) << "it owns already";
  EXPECT_FALSE(owner.Open("memory", "net"));
  EXPECT_EQ(LastFailure(), NCCFailure::kInUse);
  ASSERT_TRUE(owner.OpenStandby("memory", "net"));
  store_->LoseOwner();
  EXPECT_FALSE(owner.Follow(0));
  EXPECT_TRUE(owner.IsOwnerLost());
}

TEST_F(Standby, GoesOnWithTheHistoryOfTheOwnerBeforeIt) {
  for (const Operation& change : SampleChanges()) {
    const auto store = std::make_shared<ncc::MemoryStore>();
    SampleNet one(store);
    MemoryNet other(store);
    ASSERT_TRUE(other.OpenStandby());
    const std::string before = Describe(one.Net());
    ASSERT_NE(change.run(one.Net()), 0U) << one.Net().LastError();
    const std::uint64_t revision = one.Net().GetRevision();
    EXPECT_EQ(other.Net().Follow(0), revision != other.Net().GetRevision());
    const std::string after = Describe(one.Net());

    ASSERT_TRUE(other.Net().TakeOver(0, true)) << other.Net().LastError();
    EXPECT_EQ(one.Net().AddServer("new", 0, 0), 0U);
    EXPECT_EQ(LastFailure(), NCCFailure::kNotOwner) << one.Net().LastError();
    EXPECT_EQ(Describe(one.Net()), after) << "it still shows what it knew";

    ASSERT_NE(other.Net().AddServer("y", 0, 0), 0U) << other.Net().LastError();
    EXPECT_EQ(one.Net().AddServer("new", 0, 0), 0U) << "from then on";
    EXPECT_EQ(LastFailure(), NCCFailure::kNotOwner);
    std::list<CHistoryEntry> history;
    EXPECT_EQ(other.Net().GetHistory(1, revision + 1, history), revision + 1);
    EXPECT_TRUE(other.Net().Undo(revision + 1)) << other.Net().LastError();
    EXPECT_EQ(other.Net().GetServer("y"), 0U);
    EXPECT_TRUE(other.Net().Undo(revision)) << change.name << ": " << other.Net().LastError();
    const std::string text = Describe(other.Net());
    ASSERT_TRUE(other.Open()) << other.Net().LastError();
    EXPECT_EQ(Describe(other.Net()), text);
  }
}

TEST_F(Standby, AnswersQueriesWhileAThreadWaits) {
  std::atomic<int> ended = 0;
  std::atomic<bool> may_end = false;
  std::thread waiting([&] {
    EXPECT_TRUE(standby.TakeOver(kLong)) << standby.LastError();
    EXPECT_TRUE(may_end);
    ++ended;
  });
  std::thread following([&] {
    while (standby.Follow(kLong)) {
    }
    EXPECT_NE(std::string(standby.LastError()).find("no standby"), std::string::npos);
    ++ended;
  });
  for (int i = 0; i < 20; ++i) {
    ASSERT_NE(owner.AddServer(("n" + std::to_string(i)).c_str(), 0, 0), 0U);
    const auto begun = Clock::now();
    while (standby.GetRevision() != owner.GetRevision() && Clock::now() < begun + 1min) {
      EXPECT_NE(standby.GetServer("B"), 0U) << standby.LastError();
    }
  }
  ExpectEqual();
  EXPECT_EQ(ended, 0);
  may_end = true;
  owner.Close();
  waiting.join();
  EXPECT_NE(standby.AddServer("mine", 0, 0), 0U) << standby.LastError();
  following.join();
  EXPECT_EQ(ended, 2);
}

TEST_F(Standby, MayBeClosedAndOpenedWhileAThreadWaits) {
  std::atomic<bool> done = false;
  std::thread following([&] {
    while (!done) standby.Follow(20);
  });
  std::thread changing([&] {
    for (int i = 0; i < 40; ++i)
      EXPECT_TRUE(owner.LinkSrvToSrv("B", "C") && owner.DeleteLink("B", "C"));
  });
  for (int i = 0; i < 40; ++i) {
    standby.Close();
    EXPECT_TRUE(second_.OpenStandby()) << standby.LastError();
    EXPECT_EQ(standby.GetServersCount(), 3U) << standby.LastError();
    EXPECT_TRUE(standby.GetRevision() <= owner.GetRevision());
  }
  changing.join();
  done = true;
  following.join();
  while (standby.Follow(0)) {
  }
  ExpectEqual();
}

// Whoever wins, the changes of both make one line of revisions.
TEST_F(Standby, OfTwoThatTakeOverEachChangeIsSomebodysAlone) {
  MemoryNet third(store_);
  ASSERT_TRUE(third.OpenStandby());
  const std::uint64_t before = owner.GetRevision();
  std::atomic<std::uint64_t> stored = 0;
  const auto take_turns = [&](CNCCNet& net, const char* name) {
    for (int i = 0; i < 30; ++i) {
      if (!net.IsStandby() && !net.OpenStandby("memory", "net")) continue;
      if (!net.TakeOver(0, true)) continue;
      if (net.AddServer((name + std::to_string(i)).c_str(), 0, 0) != 0) ++stored;
    }
  };
  std::thread other([&] { take_turns(third.Net(), "x"); });
  take_turns(standby, "y");
  other.join();
  EXPECT_GT(stored, 0U);
  ASSERT_TRUE(owner.OpenSnapshot("memory", "net")) << owner.LastError();
  EXPECT_EQ(owner.GetRevision(), before + stored);
  EXPECT_EQ(owner.GetServersCount(), 3U + stored);
}

}  // namespace
