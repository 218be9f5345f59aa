// Compares one change that is on the disk when it returns (AddAP outside a batch) with the least
// that any durable change costs: overwriting 4 KiB of a prepared file and flushing it. One AddAP,
// one write, and so on.

#include "compare.h"
#include "network.h"
#include "prepared_file.h"
#include "scratch.h"

namespace {

void DurableAddAp(benchmark::State& state) {
  const ScratchFolder scratch;
  PreparedFile bare(scratch.Path("bare"));
  CNCCNet net;
  CreateDatabase(net, scratch.Path("db"));
  BuildNetwork(net, kFull);
  const unsigned long server = net.GetServer(ServerName(0).c_str());
  Comparison comparison;
  std::uint32_t n = kFull.aps;
  for (auto _ : state) {
    const std::string name = ApName(n++);
    const double ours =
        Seconds([&] { Expect(net.AddAP(server, name.c_str(), 0) != 0, net, "AddAP"); });
    comparison.Add(state, ours, Seconds([&] { bare.OverwriteBlock(); }));
  }
  comparison.Report(state);
}
BENCHMARK(DurableAddAp)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(3000);

}  // namespace
