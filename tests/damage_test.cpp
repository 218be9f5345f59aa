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
    const bool chunk = row.key.kind == RowKind::kChunk;
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
        row.body = Any()->second.body;
        break;
      case 6:
        row.body.resize(random_() % 90, '1');
        break;
      case 7:
        row.body.insert(random_() % (row.body.size() + 1), chunk ? ",null" : "1");
        break;
      default:
        ChangeNumber(row);
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
  // Of text one that stands there, of an entry one of its fields or a byte.
  void ChangeNumber(Row& row) {
    if (row.body.empty()) return;
    std::size_t from = random_() % row.body.size();
    if (row.key.kind == RowKind::kObject) {
      static constexpr std::size_t kFields[] = {52, 56, 57, 61, 66, 70};
      if (random_() % 2 == 0) from = kFields[random_() % 6];
      const std::string bytes = LittleEndian(Number(), random_() % 2 == 0 ? 4 : 1);
      if (from + bytes.size() <= row.body.size()) row.body.replace(from, bytes.size(), bytes);
      return;
    }
    from = row.body.find_first_of("0123456789", from);
    if (from == std::string::npos) return;
    const std::size_t until = row.body.find_first_not_of("0123456789", from);
    row.body.replace(from, until - from,
                     std::to_string(Number() % (random_() % 2 == 0 ? 9 : kRoot)));
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
  const auto chunk = [](Rows& rows, std::uint32_t number, std::uint8_t list) -> std::string& {
    return rows[{RowKind::kChunk, number, list, 0}].body;
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
      {"server 9: it has another number", [&](Rows& r) { chunk(r, 9, 0).insert(1, "[6,15],"); }},
      {"Dep 23: it is not in its group, node group 99", put(0x17, 57, "\x63")},
      {"server 9: it cannot be linked to user 25", [&](Rows& r) { chunk(r, 9, 1) = "[25]"; }},
      {"server 9: it is linked to what is not there, object 99",
       [&](Rows& r) { chunk(r, 9, 1) = "[99]"; }},
      {"server 9: it is not linked back by server 11", [&](Rows& r) { chunk(r, 9, 1) = "[11]"; }},
      {"server 9: it is linked twice to server 10", [&](Rows& r) { chunk(r, 9, 1) = "[10,10]"; }},
      {"Dep 23: it cannot hold, as this kind of item, server 9",
       [&](Rows& r) { chunk(r, 0x17, 0) = "[[1,9]]"; }},
      {"AP 12: it has memberships and is no user",
       [&](Rows& r) { chunk(r, 0xC, 4) = "[[1,2,0]]"; }},
      {"object 99: it is missing, and a list of it is there",
       [&](Rows& r) { chunk(r, 99, 0) = "[[2,12]]"; }},
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
