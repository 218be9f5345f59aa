// Databases whose rows were changed with right checksums and right totals, as no disk and no crash
// does it: one that opens is a whole network, and none crashes anything. NCCNET_TEST_SEED and
// NCCNET_TEST_ROUNDS repeat a run or make it longer.
#include "support/engine_history.h"
#include "support/integrity.h"
#include "support/model.h"
#include "support/network.h"
#include "support/outputs.h"

#include <cstdlib>

namespace {

using ncc::Row;
using ncc::RowKind;

constexpr std::uint32_t kRoot = ncc::kRootNumber;

class Damage : public OutputTest {
 protected:
  // Opens a database of these rows.
  bool Open(const Rows& rows, std::uint64_t revision) {
    const auto store = std::make_shared<ncc::MemoryStore>();
    const ncc::EngineFactory engines = ncc::MemoryEngineFactory(store);
    ListedChanges all{{}, {}, {revision, TotalsOf(rows)}};
    for (const auto& [key, row] : rows) all.put.push_back(row);
    engines("memory", {ncc::OpenMode::kCreate})->Commit(all);
    NetAccess::UseEngines(net_, engines);
    return net_.Open("memory", "net");
  }

  // Everything that can be done with an open database.
  void Use(std::mt19937& random) {
    EXPECT_EQ(FindFaults(net_), "");
    Describe(net_);
    std::list<CNNEntry> nodes;
    std::list<CDepEntry> deps;
    std::list<CABEntry> users;
    std::list<CNGrpEntry> groups;
    net_.CheckAnomaliesAB(&users, &users, &users);
    net_.CheckAnomaliesSrv(&nodes, &nodes, &nodes);
    net_.CheckAnomaliesDep(&deps, &deps);
    net_.CheckAnomaliesNGrp(&groups, &groups);
    net_.ChechAnomaliesAP(&nodes, &nodes);
    if (random() % 8 == 0) {
      net_.GenAPDB("out", 200);
      net_.GenRoutingTables("out\\");
      net_.GenMAP("out/", 200);
      net_.ExportForKC(true, "KC");
    }
    const auto& root = NetAccess::RootFolder(net_)->Entries();
    if (root.At(root.First()).Object().number != kRoot - 1) return;  // saving overwrites an object
    const Model model(*net_.Preferences());
    for (int i = 0; i < 12; ++i) RandomStep(random, model).Run(net_);
    EXPECT_EQ(FindFaults(net_), "");
    net_.SaveNetInfo();
    const std::string after = Describe(net_);
    EXPECT_TRUE(net_.Open("memory", "net")) << net_.LastError();
    EXPECT_EQ(Describe(net_), after);
  }

  const Rows rows_ = memory_.Store().Rows();
};

// Changes one field of one row.
class Change {
 public:
  Change(Rows& rows, std::mt19937& random) : rows_(rows), random_(random) {}

  void Make() {
    const auto at = Any();
    Row row = at->second;
    const bool chunk = row.key.kind >= RowKind::kChunk;
    const bool lists = row.key.kind == RowKind::kObject && random_() % 2 == 0;
    std::string Row::*const field = lists ? &Row::lists : &Row::body;
    std::string& text = row.*field;
    switch (random_() % 12) {
      case 0:
        rows_.erase(at);
        return;
      case 1:
        row.key.number = Number();
        break;
      case 2:
        (chunk ? row.key.chunk : row.type) = Number() % (1U << 26);
        break;
      case 3:
        row.key.list = chunk ? random_() % 8 : 0;
        row.type = chunk ? 0 : static_cast<std::uint32_t>(random_() % 9);
        break;
      case 4:
        if (!chunk) row.name = random_() % 2 == 0 ? Any()->second.name : std::string(60, 'n');
        break;
      case 5:
        text = Any()->second.*field;
        break;
      case 6:
        text.resize(random_() % 90, '1');
        break;
      case 7:
        text.insert(random_() % (text.size() + 1), chunk || lists ? ",null" : "1");
        break;
      default:
        ChangeNumber(text, row.key.kind == RowKind::kObject && !lists);
    }
    rows_.insert_or_assign(row.key, row);
  }

 private:
  Rows::iterator Any() {
    return std::next(rows_.begin(), static_cast<std::ptrdiff_t>(random_() % rows_.size()));
  }
  std::uint32_t Number() {
    static constexpr std::uint32_t kSpecial[] = {0, 1, 2, 100, 200, 0x80000000, kRoot, kRoot - 1};
    return random_() % 2 == 0 ? kSpecial[random_() % 8] : Any()->first.number;
  }
  // Of JSON one that stands there, of an entry one of its fields or a byte.
  void ChangeNumber(std::string& text, bool is_entry) {
    if (text.empty()) return;
    std::size_t from = random_() % text.size();
    if (is_entry) {
      static constexpr std::size_t kFields[] = {52, 56, 57, 61, 66, 70};
      if (random_() % 2 == 0) from = kFields[random_() % 6];
      const std::string bytes = LittleEndian(Number(), random_() % 2 == 0 ? 4 : 1);
      if (from + bytes.size() <= text.size()) text.replace(from, bytes.size(), bytes);
      return;
    }
    from = text.find_first_of("0123456789", from);
    if (from == std::string::npos) return;
    const std::size_t until = text.find_first_not_of("0123456789", from);
    text.replace(from, until - from, std::to_string(Number() % (random_() % 2 == 0 ? 9 : kRoot)));
  }

  Rows& rows_;
  std::mt19937& random_;
};

TEST_F(Damage, OpensAsAWholeNetworkOrNotAtAll) {
  const char* const seed = std::getenv("NCCNET_TEST_SEED");
  const char* const wanted = std::getenv("NCCNET_TEST_ROUNDS");
  const unsigned long first = seed != nullptr ? std::strtoul(seed, nullptr, 0) : 20260101;
  const unsigned long rounds = wanted != nullptr ? std::strtoul(wanted, nullptr, 0) : 1500;
  unsigned long opened = 0;
  for (unsigned long n = first; n < first + rounds && !HasFailure(); ++n) {
    SCOPED_TRACE("seed " + std::to_string(n));
    std::mt19937 random(static_cast<std::mt19937::result_type>(n));
    Rows rows = rows_;
    for (auto changes = 1 + random() % 2; changes > 0; --changes) Change(rows, random).Make();
    if (Open(rows, 1 + random() % 3 * 0x7FFFFFFF)) {
      ++opened;
      Use(random);
    } else {
      EXPECT_EQ(std::string_view(net_.LastError()).find("database is damaged: "), 0U)
          << net_.LastError();
      EXPECT_EQ(ReleaseHeldLevels(net_), 0);
    }
  }
  EXPECT_GE(opened, rounds / 20);
  EXPECT_LE(opened, rounds / 2);
}

// Server 9, AP C under it, Dep 17 and user 19, by their numbers.
TEST_F(Damage, IsNamedWithTheObjectAndTheFault) {
  const auto object = [](Rows& rows, std::uint32_t number) -> Row& {
    return rows.at({RowKind::kObject, number});
  };
  const auto lists = [&](std::uint32_t number, const std::string& text) {
    return [=](Rows& rows) { object(rows, number).lists = text; };
  };
  const auto insert_item = [&](std::uint32_t number, const std::string& item) {
    return [=](Rows& rows) { object(rows, number).lists.insert(2, item + ","); };
  };
  const auto add_chunk = [](std::uint32_t number, std::uint32_t chunk) {
    return [=](Rows& rows) { rows[{RowKind::kChunk, number, 0, chunk}].body = "[[2,12]]"; };
  };
  const auto note = [](std::uint32_t number, const char* text) {
    return [=](Rows& rows) { rows[{RowKind::kNote, number}].body = text; };
  };
  const auto put = [&](std::uint32_t number, std::size_t at, std::string bytes) {
    return [=](Rows& rows) { object(rows, number).body.replace(at, bytes.size(), bytes); };
  };
  const struct {
    const char* fault;
    std::function<void(Rows&)> make;
  } cases[] = {
      {"the root folder: it has values of an object", [&](Rows& r) { object(r, kRoot).type = 4; }},
      {"object 23: its type, 5, is unknown", [&](Rows& r) { object(r, 0x17).type = 5; }},
      {"user 25: its entry is another object's", put(0x19, 52, "\1")},
      {"user 25: the name in its entry does not end", put(0x19, 0, std::string(52, 'x'))},
      {"user 25: its name is not that in its entry", [&](Rows& r) { object(r, 0x19).name = "x"; }},
      {"user 25: its entry is of a wrong size", [&](Rows& r) { object(r, 0x19).body += 'x'; }},
      {"AP 12: it is not under its one server, server 99", put(0xC, 70, "\x63")},
      {"server 9: it has another number of APs", put(9, 66, "\7")},
      {"server 9: it has another number", insert_item(9, "[6,15]")},
      {"Dep 23: it is not in its group, node group 99", put(0x17, 57, "\x63")},
      {"server 9: it cannot be linked to user 25", lists(9, "[null,[25]]")},
      {"server 9: it is linked to what is not there, object 99", lists(9, "[null,[99]]")},
      {"server 9: it is not linked back by server 11", lists(9, "[null,[11]]")},
      {"server 9: it is linked twice to server 10", lists(9, "[null,[10,10]]")},
      {"Dep 23: it cannot hold, as this kind of item, server 9", insert_item(0x17, "[1,9]")},
      {"AP 12: it has memberships and is no user", lists(0xC, "[null,null,null,null,[[1,2,0]]]")},
      {"object 99: it is missing, and a list of it is there", add_chunk(99, 1)},
      {"object 99: it is missing, and notes of it are there", note(99, R"({"k":"v"})")},
      {"the root folder has notes", note(kRoot, R"({"k":"v"})")},
      {"a row cannot be read", note(9, R"({"k":"v" })")},
      {"a row cannot be read", note(9, R"({"k":"v","a":"v"})")},
      {"a row cannot be read", note(9, R"({"k":"\)")},
      {"a row cannot be read", note(9, "{}")},
      {"object 9: the beginning of a list stands beside its row", add_chunk(9, 0)},
      {"a row cannot be read", lists(9, "[[[2,12]],null]")},
      {"a row cannot be read", lists(9, "[null,[null]]")},
      {"a row cannot be read", lists(9, "[null,null,null,null,null,[1]]")},
      {"its definitions are not those of a network", [&](Rows& r) {
         r.erase({RowKind::kDefinition, 5});
       }}};
  for (const auto& [fault, make] : cases) {
    Rows rows = rows_;
    make(rows);
    for (auto& [key, row] : rows) row.key = key;
    EXPECT_FALSE(Open(rows, 1)) << fault;
    EXPECT_NE(std::string(net_.LastError()).find(fault), std::string::npos)
        << net_.LastError() << "\nand not " << fault;
  }
}

}  // namespace
