// The history of a database: every state that it had can be shown, every unit taken back.
#include "platform/storage/sqlite_engine.h"
#include "support/integrity.h"
#include "support/memory_net.h"
#include "support/model.h"
#include "support/scratch.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>

namespace {

using ncc::Row;
using ncc::RowKey;
using Rows = std::map<RowKey, Row>;
using Revisions = std::list<std::uint64_t>;

// The rows, the counters apart that never go back.
Rows RowsBesideCounters(const ncc::MemoryStore& store) {
  Rows rows = store.Rows();
  CNetPref preferences;
  std::string& image = rows.at({ncc::RowKind::kObject, ncc::kNetworkNumber}).body;
  std::copy_n(image.data(), sizeof(preferences), reinterpret_cast<char*>(&preferences));
  preferences.next_id = preferences.server_counter = preferences.ngrp_counter = 0;
  image.assign(reinterpret_cast<const char*>(&preferences), sizeof(preferences));
  return rows;
}

// A network that random operations and batches change.
class RandomNet {
 public:
  explicit RandomNet(std::mt19937::result_type seed) : random_(seed) {
    EXPECT_TRUE(memory_.Create());
    model_ = Model(*Net().Preferences());
  }

  CNCCNet& Net() { return memory_.Net(); }
  const ncc::MemoryStore& Store() { return memory_.Store(); }
  std::uint64_t Revision() { return Store().Revision(); }
  std::size_t Random(std::size_t below) { return random_() % below; }

  void Change() {
    const bool is_batch = Random(4) == 0;
    if (is_batch) Net().BeginBatch();
    for (std::size_t left = is_batch ? Random(12) : 1; left > 0; --left) {
      const Step step = RandomStep(random_, model_);
      step.Run(Net());
      step.Run(model_);
    }
    if (is_batch) {
      EXPECT_TRUE(Net().EndBatch()) << Net().LastError();
    }
  }

 private:
  std::mt19937 random_;
  MemoryNet memory_;
  Model model_{CNetPref{}};
};

TEST(History, ShowsEachStateThatTheNetworkHad) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    const ScratchFolder scratch;
    RandomNet random(seed);
    // On a disk, since only a snapshot goes back.
    CNCCNet& net = random.Net();
    NetAccess::UseEngines(net, ncc::OpenSqliteEngine);
    ASSERT_TRUE(net.Create(scratch.Path().c_str(), "net", 7)) << net.LastError();
    std::map<std::uint64_t, std::string> states;
    for (int i = 0; i < 150; ++i) {
      random.Change();
      states[net.GetRevision()] = Describe(net);
    }
    net.Close();
    states[0] = states.begin()->second;
    CNCCNet shown;
    ASSERT_TRUE(shown.OpenSnapshot(scratch.Path().c_str(), "net"));
    std::vector<std::uint64_t> revisions;
    for (const auto& [revision, state] : states) revisions.push_back(revision);
    std::reverse(revisions.begin(), revisions.end());
    revisions.pop_back();
    revisions.push_back(revisions[random.Random(revisions.size())]);  // and forward again
    for (const std::uint64_t revision : revisions) {
      ASSERT_TRUE(shown.ShowRevision(revision)) << shown.LastError();
      ASSERT_EQ(Describe(shown), states[revision]) << "seed " << seed << " revision " << revision;
      ASSERT_EQ(FindFaults(shown), "") << "seed " << seed << " revision " << revision;
    }
    EXPECT_FALSE(shown.ShowRevision(0));
  }
}

// Each newest unit back to the first, and then all of these once more.
TEST(History, TakesTheNewestUnitBackByteForByte) {
  for (unsigned seed = 1; seed <= 12; ++seed) {
    RandomNet random(seed);
    CNCCNet& net = random.Net();
    std::map<std::uint64_t, Rows> states;
    for (int i = 0; i < 60; ++i) {
      states[random.Revision()] = RowsBesideCounters(random.Store());
      random.Change();
    }
    const std::uint64_t last = random.Revision();
    states[last] = RowsBesideCounters(random.Store());
    for (std::uint64_t revision = last; revision > 1; --revision) {
      if (!states.contains(revision - 1)) states[revision - 1] = {};
      ASSERT_TRUE(net.Undo(revision)) << net.LastError() << " seed " << seed << " " << revision;
      ASSERT_EQ(FindFaults(net), "");
      if (states[revision - 1].empty()) continue;
      ASSERT_EQ(RowsBesideCounters(random.Store()), states[revision - 1])
          << "seed " << seed << " revision " << revision;
    }
    const std::uint64_t first_back = last + 1;
    for (std::uint64_t revision = random.Revision(); revision >= first_back; --revision) {
      ASSERT_TRUE(net.Undo(revision)) << net.LastError();
    }
    ASSERT_EQ(RowsBesideCounters(random.Store()), states[last]) << "seed " << seed;
  }
}

// Whatever unit is taken back, with those that stand in its way the rest of the network is sound.
TEST(History, TakesAnyUnitBackWithThoseInItsWay) {
  std::size_t alone = 0;
  std::size_t together = 0;
  for (unsigned seed = 1; seed <= 10; ++seed) {
    RandomNet random(seed);
    CNCCNet& net = random.Net();
    for (int i = 0; i < 120; ++i) random.Change();
    for (int i = 0; i < 25; ++i) {
      Revisions wanted = {2 + random.Random(random.Revision() - 1)};
      Revisions in_the_way;
      const std::string before = Describe(net);
      while (!net.Undo(wanted, in_the_way) && !in_the_way.empty()) {
        ASSERT_EQ(Describe(net), before);
        wanted.splice(wanted.end(), in_the_way);
        wanted.sort();
        wanted.unique();
      }
      ASSERT_EQ(FindFaults(net), "") << "seed " << seed;
      ASSERT_EQ(FindDisagreements(net), "") << "seed " << seed;
      if (*net.LastError() != '\0') {
        ASSERT_EQ(Describe(net), before) << net.LastError();
      }
      ++(wanted.size() == 1 ? alone : together);
    }
  }
  EXPECT_GT(alone, 20U);
  EXPECT_GT(together, 20U);
}

TEST(History, TakesBackWhatLaterUnitsHaveLeftAlone) {
  SampleNet sample;
  CNCCNet& net = sample.Net();
  const auto revision_of = [&](auto change) {
    EXPECT_TRUE(change()) << net.LastError();
    return net.GetRevision();
  };
  const auto deleted = revision_of([&] { return net.DeleteAB("v"); });
  const auto renamed = revision_of([&] { return net.ModifyAB("u", "other"); });
  const auto added = revision_of([&] { return net.CreateAB("late") != 0; });
  const auto linked = revision_of([&] { return net.LinkABToDep("d", "late", true); });
  ASSERT_TRUE(net.Undo(deleted)) << net.LastError();
  CABEntry user;
  EXPECT_TRUE(net.GetABInfo("v", user) && net.GetABInfo("late", user));
  Revisions in_the_way;
  EXPECT_FALSE(net.Undo({added}, in_the_way));
  EXPECT_EQ(in_the_way, Revisions{linked});
  EXPECT_STREQ(net.LastError(),
               ("later changes stand in the way: " + std::to_string(linked)).c_str());
  EXPECT_TRUE(net.Undo({added, linked}, in_the_way)) << net.LastError();
  EXPECT_FALSE(net.GetABInfo("late", user));
  EXPECT_TRUE(net.Undo(renamed) && net.GetABInfo("u", user)) << net.LastError();
  ASSERT_TRUE(net.BeginBatch() && net.DeleteAB("u"));
  ASSERT_EQ(AddServerAs(net, {user.id}, "with an identifier of a user", 0, 0), user.id);
  EXPECT_TRUE(net.EndBatch() && net.Undo(net.GetRevision())) << net.LastError();
  EXPECT_TRUE(net.GetABInfo("u", user));
  for (const std::uint64_t wrong : {std::uint64_t{0}, std::uint64_t{1}, net.GetRevision() + 1})
    EXPECT_FALSE(net.Undo(wrong));
  EXPECT_EQ(FindFaults(net), "");
}

// Notes are told apart by their keys, and never stay without their object.
TEST(History, TakesNotesBackOneByOne) {
  SampleNet sample;
  CNCCNet& net = sample.Net();
  const auto set = [&](const char* key, const char* value) {
    EXPECT_TRUE(SetNote(net, 77, key, value)) << net.LastError();
    return net.GetRevision();
  };
  const auto notes = [&] {
    std::string text;
    std::list<CNote> list;
    ListNotes(net, 77, list);
    for (const CNote& note : list) text += note.key + "=" + note.value + " ";
    return text;
  };
  ASSERT_NE(CreateABAs(net, 77, "noted"), 0U);
  const auto created = net.GetRevision();
  const auto first = set("k", "v");
  const auto second = set("other", "text");
  const auto third = set("k", "w");
  Revisions in_the_way;
  EXPECT_FALSE(net.Undo({first}, in_the_way));
  EXPECT_EQ(in_the_way, (Revisions{second, third})) << "the one row of notes";
  EXPECT_TRUE(net.Undo(second)) << net.LastError();
  EXPECT_EQ(notes(), "k=w ");
  EXPECT_TRUE(net.Undo({third, first}, in_the_way)) << net.LastError();
  EXPECT_EQ(notes(), "");

  const auto set_again = set("k", "v");
  EXPECT_FALSE(net.Undo({created}, in_the_way));
  EXPECT_EQ(in_the_way.back(), set_again);
  ASSERT_TRUE(RemoveNote(net, 77, "k"));
  const auto removed = net.GetRevision();
  for (std::size_t i = 0; i < kMaxNotes; ++i) set(std::to_string(i).c_str(), "v");
  EXPECT_FALSE(net.Undo({removed}, in_the_way)) << "an object has no more notes than that";
  EXPECT_EQ(in_the_way.size(), kMaxNotes);
  ASSERT_TRUE(net.DeleteAB("noted"));
  const auto deleted = net.GetRevision();
  EXPECT_FALSE(net.Undo({removed}, in_the_way));
  EXPECT_EQ(in_the_way, Revisions{deleted});
  EXPECT_TRUE(net.Undo(deleted)) << net.LastError();
  EXPECT_EQ(notes().substr(0, 4), "0=v ");
  EXPECT_EQ(FindFaults(net), "");
}

TEST(History, TellsWhoDidWhatAndIsCutWhole) {
  SampleNet sample;
  CNCCNet& net = sample.Net();
  const std::uint64_t before = net.GetRevision();
  ASSERT_TRUE(net.SetOrigin("anna", "a text \xFF"));
  unsigned long id = net.CreateAB("new");
  ASSERT_NE(id, 0U);
  ASSERT_TRUE(net.SetOrigin("boris", nullptr) && net.ModifyAB("new", "newer"));
  std::list<CHistoryEntry> entries;
  ASSERT_EQ(net.GetHistory(before + 1, before + 9, entries), 2U) << net.LastError();
  EXPECT_EQ(entries.front().person + entries.front().text, "boris");
  EXPECT_EQ(entries.back().person + ": " + entries.back().text, "anna: a text ?");
  EXPECT_EQ(entries.back().program, "history_test");
  EXPECT_EQ(entries.front().objects, (std::vector<std::uint32_t>{static_cast<std::uint32_t>(id)}));
  EXPECT_LE(entries.back().time, entries.front().time);

  CHistoryRule rule;
  std::uint64_t oldest = 0;
  ASSERT_TRUE(net.SetHistoryRule({CHistoryRule::kUnits, 3}));
  ASSERT_TRUE(net.GetHistoryRule(rule, oldest));
  EXPECT_EQ(oldest, net.GetRevision() - 2);
  EXPECT_EQ(net.GetHistory(0, net.GetRevision(), entries), 3U);
  EXPECT_FALSE(net.Undo(oldest - 1));
  ASSERT_TRUE(net.SetHistoryRule({CHistoryRule::kDays, 1}));
  EXPECT_EQ(net.GetHistory(0, net.GetRevision(), entries), 4U);
  ASSERT_TRUE(net.SetHistoryRule({CHistoryRule::kNone, 0}) && net.CreateAB("unseen") != 0);
  EXPECT_EQ(net.GetHistory(0, net.GetRevision(), entries), 0U);
  ASSERT_TRUE(net.SetHistoryRule({}) && net.CreateAB("seen") != 0);
  EXPECT_EQ(net.GetHistory(0, net.GetRevision(), entries), 2U) << net.LastError();
  EXPECT_FALSE(net.SetHistoryRule({CHistoryRule::kDays, 0}));
}

}  // namespace
