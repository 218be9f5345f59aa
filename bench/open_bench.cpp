// Compares opening the full network of 61,756 objects, every check included, with reading the same
// network, stored with a row per object and a row per list element, from an SQLite file into plain
// structures and unchecked.

#include "bare_store.h"
#include "child.h"
#include "compare.h"
#include "network.h"
#include "scratch.h"

#include <stdexcept>

namespace {

double OpenLibrary(const std::string& folder) {
  CNCCNet net;
  const double seconds = Seconds([&] { OpenDatabase(net, folder); });
  std::list<CABEntry> users;
  Expect(net.GetListAB(users) == kFull.users, net, "GetListAB");
  return seconds;
}

double OpenBare(const std::string& file) {
  PlainNetwork network;
  const double seconds = Seconds([&] { network = ScanPlain(file); });
  if (network.objects.size() < kFull.Objects() || network.elements.size() < 4 * kFull.Objects()) {
    throw std::runtime_error("a part of the network is missing");
  }
  return seconds;
}

void OpenNetwork(benchmark::State& state) {
  const ScratchFolder scratch;
  const std::string folder = scratch.Path("db");
  const std::string file = scratch.Path("bare.db");
  BuildDatabase(folder, kFull);
  StorePlain(DataFile(folder), file);
  Comparison comparison;
  for (auto _ : state) {
    const double ours = InChild([&] { return OpenLibrary(folder); });
    comparison.Add(state, ours, InChild([&] { return OpenBare(file); }));
  }
  comparison.Report(state);
}
BENCHMARK(OpenNetwork)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(25);

}  // namespace
