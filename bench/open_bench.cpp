// Compares opening the full network of 61,756 objects, every check included, with reading the same
// network, stored with a row per object and a row per list element, from an SQLite file into plain
// structures and unchecked.

#include "bare_store.h"
#include "compare.h"
#include "network.h"
#include "scratch.h"

#include <stdexcept>

namespace {

void OpenNetwork(benchmark::State& state) {
  const ScratchFolder scratch;
  const std::string folder = scratch.Path("db");
  const std::string file = scratch.Path("bare.db");
  {
    CNCCNet net;
    CreateDatabase(net, folder);
    BuildNetwork(net, kFull);
  }
  StorePlain(DataFile(folder), file);
  Comparison comparison;
  std::size_t elements = 0;
  for (auto _ : state) {
    CNCCNet net;
    PlainNetwork plain;
    comparison.Round(
        state, [&] { OpenDatabase(net, folder); }, [&] { plain = ScanPlain(file); });
    std::list<CABEntry> users;
    Expect(net.GetListAB(users) == kFull.users, net, "GetListAB");
    if (plain.objects.size() < kFull.Objects()) throw std::runtime_error("objects are missing");
    elements = plain.elements.size();
  }
  comparison.Report(state);
  state.counters["elements"] = static_cast<double>(elements);
}
BENCHMARK(OpenNetwork)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(25);

}  // namespace
