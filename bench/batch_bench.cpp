// Compares adding 12,000 APs under 256 servers in one batch with inserting as many rows in one
// transaction into an SQLite table that is indexed by id, name and parent. Both end on the disk;
// the servers are there before; every round starts new processes with new files.

#include "bare_store.h"
#include "child.h"
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

double RunLibrary(const std::vector<std::string>& names) {
  const ScratchFolder scratch;
  CNCCNet net;
  CreateDatabase(net, scratch.Path("db"));
  Expect(net.BeginBatch(), net, "BeginBatch");
  const Ids servers = AddServers(net, kFull.servers);
  Expect(net.EndBatch(), net, "EndBatch");
  return Seconds([&] {
    Expect(net.BeginBatch(), net, "BeginBatch");
    AddAps(net, servers, names);
    Expect(net.EndBatch(), net, "EndBatch");
  });
}

double RunBare(const std::vector<std::string>& names) {
  const ScratchFolder scratch;
  BareTable table(scratch.Path("bare.db"));
  std::uint32_t id = 0;
  table.Execute("BEGIN");
  for (std::uint32_t n = 0; n < kFull.servers; ++n) {
    table.Insert(MakeEntry(++id, kTypeServer, 0, ServerName(n)), 0);
  }
  table.Execute("COMMIT");
  return Seconds([&] {
    table.Execute("BEGIN");
    for (std::size_t n = 0; n < names.size(); ++n) {
      const auto server = static_cast<std::uint32_t>(n * kFull.servers / names.size() + 1);
      table.Insert(MakeEntry(++id, kTypeAP, server, names[n]), server);
    }
    table.Execute("COMMIT");
  });
}

void BatchOfAps(benchmark::State& state) {
  const std::vector<std::string> names = ApNames(kFull.aps);
  Comparison comparison;
  for (auto _ : state) {
    const double ours = InChild([&] { return RunLibrary(names); });
    comparison.Add(state, ours, InChild([&] { return RunBare(names); }));
  }
  comparison.Report(state);
}
BENCHMARK(BatchOfAps)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(25);

}  // namespace
