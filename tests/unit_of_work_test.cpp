// Every operation is one unit: stored whole or not at all, and told truly. Batches join several.
#include "support/memory_net.h"
#include "support/network.h"

#include <thread>

namespace {

struct Sample : SampleNet {
  ~Sample() { EXPECT_EQ(ReleaseHeldLevels(Net()), 0); }
  // The description, which must be the same when read again from the store.
  std::string DescribeTwice(const std::string& when) {
    std::string text = Describe(Net());
    EXPECT_TRUE(Open()) << when << ": " << Net().LastError();
    EXPECT_EQ(Describe(Net()), text) << when;
    return text;
  }
};

TEST(UnitOfWork, EachChangeIsOneCommitAndOneRevision) {
  for (const auto& [name, run] : SampleChanges()) {
    for (const bool fails_but_is_kept : {false, true}) {
      SCOPED_TRACE(name + (fails_but_is_kept ? ", kept by a commit that fails" : ""));
      Sample sample, twin;
      const std::string before = Describe(sample.Net());
      const auto commits = sample.Store().CommitCount();
      const auto revision = sample.Net().GetRevision();
      if (fails_but_is_kept) sample.FailNextCommitButKeepIt();
      const unsigned long result = run(sample.Net());
      EXPECT_NE(result, 0U) << sample.Net().LastError();
      EXPECT_STREQ(sample.Net().LastError(), "");
      EXPECT_EQ(sample.Store().CommitCount(), commits + 1);
      EXPECT_EQ(result, run(twin.Net()));
      const std::string after = sample.DescribeTwice(name);
      EXPECT_EQ(sample.Net().GetRevision(), revision + 1);
      EXPECT_NE(after, before);
      EXPECT_EQ(after, Describe(twin.Net()));
      EXPECT_NE(sample.Net().AddServer("usable", 0, 0), 0U) << sample.Net().LastError();
    }
  }
}

TEST(UnitOfWork, WhatChangesNothingCommitsNothing) {
  Sample sample;
  CNCCNet& net = sample.Net();
  const auto commits = sample.Store().CommitCount();
  for (const Operation& query : SampleQueries()) {
    EXPECT_NE(query.run(net), 0U) << query.name;
  }
  net.SaveNetInfo();
  EXPECT_TRUE(net.LinkSrvToSrv("B", "A") && net.DeleteLink("B", "C"));
  EXPECT_TRUE(net.RegAPP(4, 0x1, 2) && net.RegSrv(2, 0x3, 2));
  EXPECT_FALSE(net.ModifyAP("a1", "a1") || net.DeleteAP("B", "a1") || net.RegAPP(77, 1, 1));
  EXPECT_EQ(net.AddServer("a", 0, 0), 0U);
  EXPECT_TRUE(net.BeginBatch());
  EXPECT_TRUE(net.RegAPP(4, 0x77, 2) && net.RegAPP(4, 0x1, 2)) << "there and back";
  EXPECT_TRUE(net.EndBatch());
  net.Close();
  EXPECT_EQ(sample.Store().CommitCount(), commits);
  EXPECT_TRUE(sample.Open());
}

TEST(UnitOfWork, ACommitThatFailsLeavesEverythingAsBefore) {
  for (const Operation& change : SampleChanges()) {
    Sample sample;
    CNCCNet& net = sample.Net();
    net.Preferences()->byte_18 = 0x77;
    CNetPref* const address = net.Preferences();
    const std::string before = Describe(net);
    const auto revision = net.GetRevision();
    sample.FailNextCommit();
    EXPECT_TRUE(IsRefused(net, change.run(net))) << change.name;
    EXPECT_EQ(Describe(net), before) << change.name;
    EXPECT_EQ(net.Preferences(), address) << change.name;
    EXPECT_EQ(net.GetRevision(), revision) << change.name;
    EXPECT_NE(change.run(net), 0U) << change.name << ": " << net.LastError();
    EXPECT_EQ(net.GetRevision(), revision + 1) << change.name;
    net.SaveNetInfo();
    sample.DescribeTwice(change.name);
  }
}

TEST(UnitOfWork, ACommitThatFailsHasNotSucceededForAnothersOfTheSameRevision) {
  Sample sample;
  sample.Store().FailCommitForAnother(sample.Store().CommitCount() + 1);
  EXPECT_TRUE(IsRefused(sample.Net(), sample.Net().AddServer("lost", 0, 0)));
}

TEST(UnitOfWork, SavingPreferencesThatFailsKeepsThemInMemory) {
  Sample sample;
  CNCCNet& net = sample.Net();
  net.Preferences()->value_20 = 5;
  sample.FailNextCommit();
  net.SaveNetInfo();
  EXPECT_STRNE(net.LastError(), "");
  EXPECT_EQ(net.Preferences()->value_20, 5U);
  EXPECT_TRUE(sample.Open());
  EXPECT_EQ(net.Preferences()->value_20, 0U);
}

TEST(UnitOfWork, AFailureWhileCreatingLeavesTheLockEntered) {
  MemoryNet memory;
  memory.FailNextCommit();
  EXPECT_TRUE(IsRefused(memory.Net(), memory.Create()));
  EXPECT_EQ(memory.Net().GetServersCount(), 0U) << "the same thread goes on";
  EXPECT_EQ(ReleaseHeldLevels(memory.Net()), 1);
  EXPECT_FALSE(memory.Open()) << "nothing was committed";
  EXPECT_EQ(ReleaseHeldLevels(memory.Net()), 0);
  EXPECT_TRUE(memory.Create()) << memory.Net().LastError();
  EXPECT_EQ(ReleaseHeldLevels(memory.Net()), 0);

  MemoryNet kept;
  kept.FailNextCommitButKeepIt();
  EXPECT_TRUE(kept.Create()) << kept.Net().LastError();
  EXPECT_EQ(ReleaseHeldLevels(kept.Net()), 0);
  BuildSample(kept.Net());

  auto destroyed = std::make_unique<MemoryNet>();
  destroyed->FailNextCommit();
  EXPECT_FALSE(destroyed->Create());
  destroyed.reset();
}

TEST(UnitOfWork, AStoreThatCannotBeReadRefusesEverything) {
  Sample sample;
  const std::string before = Describe(sample.Net());
  sample.Store().FailLoads(true);
  sample.FailNextCommit();
  EXPECT_EQ(sample.Net().AddServer("x", 0, 0), 0U);
  ExpectEverythingRefused(sample.Net(), "unreadable");
  EXPECT_FALSE(sample.Net().Backup("copy"));
  EXPECT_FALSE(sample.Open());
  sample.Store().FailLoads(false);
  ASSERT_TRUE(sample.Open()) << sample.Net().LastError();
  EXPECT_EQ(Describe(sample.Net()), before);
}

// What each test of batches does first inside one.
void ChangeMuch(CNCCNet& net) {
  EXPECT_EQ(net.AddServer("D", 0, 0), 14U) << net.LastError();
  EXPECT_TRUE(net.DeleteServer("A") && net.RegAPP(6, 0x80, 9) && net.LinkSrvToSrv("D", "B"));
  net.Preferences()->byte_18 = 0x55;
}

TEST(Batch, IsStoredWholeAtItsEnd) {
  Sample sample;
  CNCCNet& net = sample.Net();
  const auto commits = sample.Store().CommitCount();
  const auto revision = net.GetRevision();
  ASSERT_TRUE(net.BeginBatch());
  ChangeMuch(net);
  EXPECT_EQ(ServerIds(net), (Numbers{2, 3, 14})) << "the batch's own view";
  EXPECT_EQ(sample.Store().CommitCount(), commits);
  EXPECT_TRUE(IsRefused(net, net.BeginBatch())) << "not nestable";
  EXPECT_FALSE(net.Backup("copy"));
  EXPECT_EQ(net.AddServer("B", 0, 0), 0U) << "a refusal is no failure";
  EXPECT_TRUE(net.EndBatch()) << net.LastError();
  EXPECT_EQ(sample.Store().CommitCount(), commits + 1);
  EXPECT_EQ(net.GetRevision(), revision + 1);
  EXPECT_TRUE(IsRefused(net, net.EndBatch())) << "ended already";
  net.SaveNetInfo();
  sample.DescribeTwice("kept batch");
  const ScratchFolder scratch;
  EXPECT_TRUE(net.Backup(scratch.Path("copy").c_str())) << net.LastError();
}

TEST(Batch, IsDroppedWholeWithThePreferences) {
  const struct {
    const char* what;
    std::function<void(Sample&)> drop;
  } cases[] = {
      {"EndBatch(false)", [](Sample& s) { EXPECT_TRUE(s.Net().EndBatch(false)); }},
      {"Close", [](Sample& s) { s.Net().Close(); }},
      {"Open", [](Sample& s) { EXPECT_TRUE(s.Open()); }},
      {"failing Open", [](Sample& s) { EXPECT_FALSE(s.Net().Open(nullptr, nullptr)); }},
      {"failing commit",
       [](Sample& s) {
         s.FailNextCommit();
         EXPECT_TRUE(IsRefused(s.Net(), s.Net().EndBatch(true)));
       }},
      {"Create", [](Sample& s) { EXPECT_FALSE(s.Create()); }},
  };
  for (const auto& [what, drop] : cases) {
    Sample sample;
    CNCCNet& net = sample.Net();
    net.Preferences()->byte_19 = 0x66;
    net.SaveNetInfo();
    const std::string before = Describe(net);
    const auto commits = sample.Store().CommitCount();
    ASSERT_TRUE(net.BeginBatch()) << what;
    ChangeMuch(net);
    drop(sample);
    EXPECT_FALSE(net.EndBatch()) << what;
    EXPECT_EQ(net.Preferences()->byte_19, 0x66) << what;
    EXPECT_TRUE(net.GetRevision() != 0 || sample.Open()) << what;
    EXPECT_EQ(sample.DescribeTwice(what), before) << what;
    EXPECT_LE(sample.Store().CommitCount(), commits + 1) << what;
    EXPECT_EQ(net.AddServer("D", 0, 0), 14U) << what << ": " << net.LastError();
  }
}

TEST(Batch, IsDroppedByDestruction) {
  const auto store = std::make_shared<ncc::MemoryStore>();
  {
    SampleNet first(store);
    ASSERT_TRUE(first.Net().BeginBatch());
    ChangeMuch(first.Net());
  }
  MemoryNet second(store);
  ASSERT_TRUE(second.Open());
  EXPECT_EQ(ServerIds(second.Net()), (Numbers{1, 2, 3}));
  EXPECT_EQ(second.Net().Preferences()->byte_18, 0);
}

TEST(Batch, IsDoomedByAFailureInsideIt) {
  Sample sample;
  CNCCNet& net = sample.Net();
  const std::string before = Describe(net);
  ASSERT_TRUE(net.BeginBatch());
  ChangeMuch(net);
  // A folder that stands in the way fails the operation after its first changes.
  ChangeBelow(net, [](CHDBase& base) { CHDBFolderManager(base).FolderCreate(60); });
  net.Preferences()->next_id = 60;
  EXPECT_EQ(net.AddAP("B", "x", 0), 0U);
  const std::string reason = net.LastError();
  EXPECT_NE(reason, "");
  EXPECT_EQ(net.AddServer("later", 0, 0), 0U);
  EXPECT_FALSE(net.RegAPP(6, 1, 1));
  EXPECT_TRUE(IsRefused(net, net.DeleteServer("B")));
  EXPECT_TRUE(IsRefused(net, net.EndBatch(true)));
  EXPECT_EQ(sample.DescribeTwice("doomed"), before);
  ASSERT_TRUE(net.BeginBatch());
  EXPECT_EQ(net.AddServer("D", 0, 0), 14U) << "the next batch starts clean";
  EXPECT_TRUE(net.EndBatch()) << net.LastError();
}

TEST(Batch, AnExceptionOfACallbackLeavesNothingHalfDone) {
  Sample sample;
  CNCCNet& net = sample.Net();
  ASSERT_TRUE(net.BeginBatch());
  ChangeMuch(net);
  const std::string inside = Describe(net);
  net.SetCallback([](void*, void*) -> long { throw 7; });
  EXPECT_THROW(net.DeleteServer("B"), int);
  net.SetCallback(nullptr);
  EXPECT_EQ(Describe(net), inside) << "nothing was changed before the exception";
  EXPECT_TRUE(net.EndBatch()) << net.LastError();

  net.SaveNetInfo();
  const std::string before = Describe(net);
  ASSERT_TRUE(net.BeginBatch());
  EXPECT_TRUE(net.RegAPP(6, 0x1, 1));
  const auto change_and_throw = [](void* context, void*) -> long {
    auto& inner = *static_cast<CNCCNet*>(context);
    inner.SetCallback(nullptr);
    EXPECT_TRUE(inner.DeleteServer("C"));
    throw 7;
  };
  net.SetCallback(change_and_throw, &net);
  EXPECT_THROW(net.DeleteServer("B"), int);
  EXPECT_FALSE(net.EndBatch(true)) << "what the callback changed cannot be kept by halves";
  EXPECT_EQ(sample.DescribeTwice("thrown"), before);
}

TEST(Batch, BelongsToTheThreadThatBeganIt) {
  Sample sample;
  CNCCNet& net = sample.Net();
  ASSERT_TRUE(net.BeginBatch());
  ChangeMuch(net);
  std::thread([&net] {
    EXPECT_TRUE(IsRefused(net, net.EndBatch(false)));
    EXPECT_FALSE(net.EndBatch(true));
  }).join();
  EXPECT_STREQ(net.LastError(), "") << "each thread has its own";
  std::thread waiting([&net] { EXPECT_EQ(ServerIds(net), (Numbers{2, 3, 14})); });
  std::this_thread::sleep_for(std::chrono::milliseconds(20));
  EXPECT_EQ(net.AddServer("E", 0, 0), 15U) << net.LastError();
  EXPECT_TRUE(net.DeleteServer("E"));
  EXPECT_TRUE(net.EndBatch());
  waiting.join();
}

}  // namespace
