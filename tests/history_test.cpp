// The history of a database: every state that it had can be shown, every unit taken back.
#include "platform/storage/sqlite_engine.h"
#include "platform/text/ascii_fold.h"
#include "support/integrity.h"
#include "support/memory_net.h"
#include "support/model.h"
#include "support/scratch.h"

#include <algorithm>
#include <functional>
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
    CNCCNet shown;
    ASSERT_TRUE(shown.OpenSnapshot(scratch.Path().c_str(), "net"));
    const std::string copy = scratch.Path() + "/copy.db";
    std::vector<std::uint64_t> revisions;
    for (const auto& [revision, state] : states) revisions.push_back(revision);
    std::reverse(revisions.begin(), revisions.end());
    revisions.push_back(revisions[random.Random(revisions.size())]);  // and forward again
    for (const std::uint64_t revision : revisions) {
      ASSERT_TRUE(shown.ShowRevision(revision)) << shown.LastError();
      ASSERT_EQ(Describe(shown), states[revision]) << "seed " << seed << " revision " << revision;
      ASSERT_EQ(FindFaults(shown), "") << "seed " << seed << " revision " << revision;
      ASSERT_EQ(shown.Backup(copy.c_str()), revision == revisions.front()) << shown.LastError();
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
    Revisions wanted;
    Revisions in_the_way;
    for (std::uint64_t revision = last; revision > 1; --revision) {
      if (!states.contains(revision - 1)) states[revision - 1] = {};
      wanted.push_back(revision);
      if (!net.Undo(wanted, in_the_way)) {  // it has raised counters alone, or left holes in lists
        ASSERT_STREQ(net.LastError(), "what was changed is as it was before") << revision;
        continue;  // and goes with the one before
      }
      wanted.clear();
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

// What users name that is not there, and names that two of a kind have.
std::set<std::string> FlawsOf(CNCCNet& net) {
  std::set<unsigned long> deps;
  std::set<unsigned long> nodes;
  std::map<std::string, std::vector<unsigned long>> namesakes;
  for (const unsigned long id : AllObjects(net)) {
    const unsigned char type = net.GetType(id);
    if (type == kTypeDep) deps.insert(id);
    if (type == kTypeServer || type == kTypeAP) nodes.insert(id);
    const CHDBRecord* const record =
        NetAccess::HDBase(net)->FindRecord(static_cast<std::uint32_t>(id));
    std::string name(record->Name());
    std::ranges::transform(name, name.begin(), [](char c) { return ncc::FoldAscii(c); });
    namesakes[std::to_string(type) + name].push_back(id);
  }
  std::set<std::string> flaws;
  for (const auto& [name, ids] : namesakes) {
    for (const unsigned long id : ids) {
      if (ids.size() > 1) flaws.insert("the name of " + std::to_string(id));
    }
  }
  const auto look = [&](const CABEntry& user, const char* what, const CColId& named) {
    const bool is_there = (named.dep == 0 || deps.contains(named.dep)) &&
                          (named.node == 0 || nodes.contains(named.node));
    if (is_there) return;
    flaws.insert(std::to_string(user.id) + what + std::to_string(named.dep) + " at " +
                 std::to_string(named.node));
  };
  std::list<CABEntry> users;
  net.GetListAB(users);
  for (const CABEntry& user : users) {
    std::list<CColAb> memberships;
    net.GetListAvailableColAb(user.id, memberships);
    for (const CColAb& membership : memberships) look(user, " is in ", membership.id);
    look(user, " is first in ", net.GetPrimaryCol(user.id));
  }
  return flaws;
}

// Those that it had before that revision.
std::set<std::string> FlawsBefore(CNCCNet& net, std::uint64_t revision) {
  Revisions all;
  Revisions unused;
  for (std::uint64_t each = revision; each <= net.GetRevision(); ++each) all.push_back(each);
  EXPECT_TRUE(net.BeginBatch() && (net.Undo(all, unused) || unused.empty())) << net.LastError();
  std::set<std::string> flaws = FlawsOf(net);
  net.EndBatch(false);
  return flaws;
}

// Whatever unit is taken back, alone or with those that stand in its way, the rest of the network
// is as sound as it was. What is said to stand in the way can be taken back with it.
TEST(History, TakesAnyUnitBackWithThoseInItsWay) {
  std::size_t alone = 0;
  std::size_t together = 0;
  std::size_t all = 0;
  for (unsigned seed = 1; seed <= 8; ++seed) {
    RandomNet random(seed);
    CNCCNet& net = random.Net();
    for (int i = 0; i < 120; ++i) random.Change();
    for (int i = 0; i < 12; ++i) {
      const std::uint64_t last = random.Revision();
      Revisions wanted = {2 + random.Random(last - 1)};
      Revisions in_the_way;
      const std::string before = Describe(net);
      auto flaws = FlawsOf(net);
      flaws.merge(FlawsBefore(net, wanted.front()));
      const auto what = "seed " + std::to_string(seed) + " revision " +
                        std::to_string(wanted.front()) + " of " + std::to_string(last);
      if (!net.Undo(wanted, in_the_way)) {
        const std::string reason = net.LastError();
        ASSERT_EQ(Describe(net), before) << what;
        if (in_the_way.empty()) {
          ASSERT_EQ(reason, "what was changed is as it was before") << what;
          continue;
        }
        wanted.merge(in_the_way);
        ASSERT_TRUE(net.Undo(wanted, in_the_way)) << net.LastError() << " " << what;
      }
      ASSERT_EQ(FindFaults(net), "") << what;
      ASSERT_EQ(FindDisagreements(net), "") << what;
      const auto flaws_now = FlawsOf(net);
      ASSERT_TRUE(std::ranges::includes(flaws, flaws_now))
          << what << " " << testing::PrintToString(flaws_now);
      const bool are_all = wanted.size() == last + 1 - wanted.front();
      ++(wanted.size() == 1 ? alone : are_all ? all : together);
    }
  }
  EXPECT_GT(alone, 10U);
  EXPECT_GT(together, 10U);
  EXPECT_LT(all, together) << "as few go as have to";
}

// Changes, a unit each, of which the first is to be taken back; those that have to go with it.
struct Undone {
  const char* title;
  std::vector<std::function<bool(CNCCNet&)>> changes;
  std::vector<std::size_t> needed;
};

constexpr unsigned long kD = 7;
constexpr unsigned long kU = 9;
constexpr unsigned long kNew = 77;

Undone ManyNameWhatWouldBeGone() {
  const auto add_node = [](CNCCNet& net) { return AddAPAs(net, {kNew}, 1, "gate", 0) != 0; };
  const auto add_users = [](CNCCNet& net) {
    bool is_made = net.BeginBatch();
    for (int i = 0; i < 64; ++i)
      is_made = net.CreateAB(("u" + std::to_string(i)).c_str()) != 0 && is_made;
    return net.EndBatch() && is_made;
  };
  Undone many = {"many name what would be gone", {add_node, add_users}, {}};
  for (int i = 0; i < 64; ++i) {
    many.needed.push_back(many.changes.size());
    many.changes.emplace_back([name = "u" + std::to_string(i)](CNCCNet& net) {
      return net.SetPrimaryCol(name.c_str(), {kD, kNew});
    });
  }
  return many;
}

TEST(History, TellsWhichLaterUnitsHaveToGoToo) {
  const auto add_late = [](CNCCNet& net) { return net.CreateAB("late") != 0; };
  const auto link = [](CNCCNet& net) { return net.LinkSrvToSrv("A", "B"); };
  const auto make_big_dep = [](CNCCNet& net) {
    bool is_made = net.BeginBatch() && CreateDepAs(net, kNew, "big") != 0;
    for (int i = 0; i < 64; ++i)
      is_made = is_made && net.LinkABToDep("big", ("u" + std::to_string(i)).c_str(), false);
    return net.EndBatch() && is_made;
  };
  const auto unlink = [](CNCCNet& net) { return net.DeleteLink("A", "B"); };
  const Undone cases[] = {
      ManyNameWhatWouldBeGone(),
      {"another has got the name",
       {[](CNCCNet& net) { return net.ModifyAB("u", "other"); }, add_late,
        [](CNCCNet& net) { return net.CreateAB("U") != 0; }},
       {2}},
      {"a Dep lists who would be gone, and its row is another's",
       {[](CNCCNet& net) { return CreateABAs(net, kNew, "new") != 0; }, add_late,
        [](CNCCNet& net) { return net.LinkABToDep(kD, kNew, false); },
        [](CNCCNet& net) { return net.ModifyAB(kNew, "newer"); }},
       {2, 3}},
      {"the same is linked again elsewhere in the list",
       {unlink, [](CNCCNet& net) { return net.AddServer("East", 0, 10) != 0; },
        [](CNCCNet& net) { return net.LinkSrvToSrv("A", "East"); }, link},
       {3}},
      {"a membership would name what is gone since",
       {[](CNCCNet& net) {
          net.SetListAvailableColAb(kU, kD, {}, true);
          return true;
        },
        add_late, [](CNCCNet& net) { return net.DeleteAP("A", "a2"); }},
       {2}},
      {"a primary collective names what would be gone",
       {[](CNCCNet& net) { return AddAPAs(net, {kNew}, 1, "gate", 0) != 0; }, add_late,
        [](CNCCNet& net) {
          return net.SetPrimaryCol("w", {kD, kNew});
        }},
       {2}},
      {"a further chunk of a list that would be gone",
       {make_big_dep, add_late, [](CNCCNet& net) { return net.LinkABToDep("big", "w", false); }},
       {2}},
  };
  for (const Undone& undone : cases) {
    SampleNet sample;
    CNCCNet& net = sample.Net();
    const std::uint64_t first = net.GetRevision() + 1;
    for (const auto& change : undone.changes)
      ASSERT_TRUE(change(net)) << undone.title << ": " << net.LastError();
    ASSERT_EQ(net.GetRevision(), first + undone.changes.size() - 1) << undone.title;
    Revisions needed;
    for (const std::size_t each : undone.needed) needed.push_back(first + each);
    Revisions in_the_way;
    EXPECT_FALSE(net.Undo({first}, in_the_way)) << undone.title;
    EXPECT_EQ(in_the_way, needed) << undone.title << ": " << net.LastError();
    EXPECT_EQ(FindFaults(net), "") << undone.title << " and was tried";
    needed.push_front(first);
    EXPECT_TRUE(net.Undo(needed, in_the_way)) << undone.title << ": " << net.LastError();
    EXPECT_EQ(FindFaults(net), "") << undone.title;
    EXPECT_TRUE(sample.Open()) << undone.title << ": " << net.LastError();
  }
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
  ASSERT_TRUE(net.LinkSrvToSrv("B", "C"));
  const auto unlinked = revision_of([&] { return net.DeleteLink("B", "C"); });
  const auto linked_again = revision_of([&] { return net.LinkSrvToSrv("B", "C"); });
  const auto came = revision_of([&] { return net.CreateAB("short-lived") != 0; });
  const auto gone = revision_of([&] { return net.DeleteAB("short-lived"); });
  for (const std::uint64_t revision : {unlinked, came}) {
    EXPECT_FALSE(net.Undo({revision}, in_the_way));
    EXPECT_STREQ(net.LastError(), "what was changed is as it was before");
  }
  EXPECT_TRUE(net.GetRevision() == gone && in_the_way.empty() && linked_again < came);
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
  EXPECT_EQ(in_the_way, Revisions{third});
  EXPECT_TRUE(net.Undo(second)) << net.LastError();
  EXPECT_EQ(notes(), "k=w ");
  EXPECT_TRUE(net.Undo({third, first}, in_the_way)) << net.LastError();
  EXPECT_EQ(notes(), "");

  const auto set_again = set("k", "v");
  EXPECT_FALSE(net.Undo({created}, in_the_way));
  EXPECT_EQ(in_the_way, Revisions{set_again});
  ASSERT_TRUE(RemoveNote(net, 77, "k"));
  const auto removed = net.GetRevision();
  for (std::size_t i = 0; i < kMaxNotes; ++i) set(std::to_string(i).c_str(), "v");
  EXPECT_FALSE(net.Undo({removed}, in_the_way)) << "an object has no more notes than that";
  EXPECT_EQ(in_the_way.size(), 1U);
  ASSERT_TRUE(net.DeleteAB("noted"));
  const auto deleted = net.GetRevision();
  EXPECT_FALSE(net.Undo({removed}, in_the_way));
  EXPECT_EQ(in_the_way, (Revisions{deleted - 1, deleted}));
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
