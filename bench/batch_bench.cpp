// Compares adding 12,000 APs under 256 servers in one batch with inserting as many rows in one
// transaction into an SQLite table that is indexed by id, name and parent. Both end on the disk;
// the servers are there before; every round starts with new files.

#include "bare_store.h"
#include "compare.h"
#include "network.h"
#include "scratch.h"

namespace {

CNNEntry MakeEntry(std::uint32_t id, std::uint8_t type, std::uint32_t server,
                   const std::string& name) {
  CNNEntry entry;
  name.copy(entry.name, kMaxNameLength);
  entry.id = id;
  entry.type = type;
  entry.server_id = server;
  return entry;
}

// Builds up to the moment from which time counts.
class LibraryBatch {
 public:
  explicit LibraryBatch(const std::string& folder) {
    CreateDatabase(net_, folder);
    Expect(net_.BeginBatch(), net_, "BeginBatch");
    servers_ = AddServers(net_, kFull.servers);
    Expect(net_.EndBatch(), net_, "EndBatch");
  }

  void Run(const std::vector<std::string>& names) {
    Expect(net_.BeginBatch(), net_, "BeginBatch");
    AddAps(net_, servers_, names);
    Expect(net_.EndBatch(), net_, "EndBatch");
  }

 private:
  CNCCNet net_;
  Ids servers_;
};

class BareBatch {
 public:
  explicit BareBatch(const std::string& file) : table_(file) {
    table_.Execute("BEGIN");
    for (std::uint32_t n = 0; n < kFull.servers; ++n)
      table_.Insert(MakeEntry(++id_, kTypeServer, 0, ServerName(n)), 0);
    table_.Execute("COMMIT");
  }

  void Run(const std::vector<std::string>& names) {
    table_.Execute("BEGIN");
    for (std::size_t n = 0; n < names.size(); ++n) {
      const auto server = static_cast<std::uint32_t>(n * kFull.servers / names.size() + 1);
      table_.Insert(MakeEntry(++id_, kTypeAP, server, names[n]), server);
    }
    table_.Execute("COMMIT");
  }

 private:
  BareTable table_;
  std::uint32_t id_ = 0;
};

void BatchOfAps(benchmark::State& state) {
  const std::vector<std::string> names = ApNames(kFull.aps);
  Comparison comparison;
  for (auto _ : state) {
    const ScratchFolder scratch;
    LibraryBatch ours(scratch.Path("db"));
    BareBatch bare(scratch.Path("bare.db"));
    comparison.Round(
        state, [&] { ours.Run(names); }, [&] { bare.Run(names); });
  }
  comparison.Report(state);
}
BENCHMARK(BatchOfAps)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(25);

}  // namespace
