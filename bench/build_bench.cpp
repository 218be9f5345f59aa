// Compares building the full network in one batch with inserting the same network into SQLite
// tables, one a kind and a relation, in one transaction. Both end on the disk; every round starts
// new processes with new files. The rows lie ready; the library's program makes its names as it
// goes.

#include "child.h"
#include "compare.h"
#include "network.h"
#include "scratch.h"
#include "tables.h"

namespace {

double BuildWithLibrary() {
  const ScratchFolder scratch;
  CNCCNet net;
  CreateDatabase(net, scratch.Path("db"));
  return Seconds([&] { BuildNetwork(net, kFull); });
}

double BuildWithTables(const std::string& database) {
  const ScratchFolder scratch;
  NetworkRows rows;
  {
    CNCCNet net;
    OpenDatabase(net, database);
    rows = ReadRows(net);
  }
  NetworkTables tables(scratch.Path("tables.db"));
  return Seconds([&] { tables.Insert(rows); });
}

void BuildFullNetwork(benchmark::State& state) {
  const ScratchFolder scratch;
  BuildDatabase(scratch.Path("db"), kFull);
  Comparison comparison;
  for (auto _ : state) {
    const double ours = InChild(BuildWithLibrary);
    comparison.Add(state, ours, InChild([&] { return BuildWithTables(scratch.Path("db")); }));
  }
  comparison.Report(state);
}
BENCHMARK(BuildFullNetwork)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);

}  // namespace
