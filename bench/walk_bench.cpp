// What walks through a whole network: the search for loose objects, in the full network and in one
// of half the size; and linking every Dep with every other one.

#include "child.h"
#include "compare.h"
#include "network.h"
#include "scratch.h"

#include <stdexcept>

namespace {

// Every list that the checks can give; returns how many objects they hold together.
std::size_t CheckEverything(CNCCNet& net) {
  std::list<CABEntry> users[3];
  std::list<CNNEntry> servers[3];
  std::list<CNNEntry> aps[2];
  std::list<CNGrpEntry> groups[2];
  std::list<CDepEntry> deps[2];
  net.CheckAnomaliesAB(&users[0], &users[1], &users[2]);
  net.CheckAnomaliesSrv(&servers[0], &servers[1], &servers[2]);
  net.ChechAnomaliesAP(&aps[0], &aps[1]);
  net.CheckAnomaliesNGrp(&groups[0], &groups[1]);
  net.CheckAnomaliesDep(&deps[0], &deps[1]);
  std::size_t found = 0;
  for (const auto& list : users) found += list.size();
  for (const auto& list : servers) found += list.size();
  for (const auto& list : aps) found += list.size();
  for (const auto& list : groups) found += list.size();
  for (const auto& list : deps) found += list.size();
  return found;
}

void CheckAnomalies(benchmark::State& state) {
  const ScratchFolder scratch;
  CNCCNet whole;
  CNCCNet half;
  BuildDatabase(scratch.Path("whole"), kFull);
  BuildDatabase(scratch.Path("half"), kFull.ScaledTo(kFull.Objects() / 2));
  OpenDatabase(whole, scratch.Path("whole"));
  OpenDatabase(half, scratch.Path("half"));
  // No server is in a node group or named by a membership.
  if (CheckEverything(whole) < 2 * kFull.servers) throw std::runtime_error("nothing was found");
  Comparison comparison;
  for (auto _ : state) {
    const double of_whole = CpuSeconds([&] { CheckEverything(whole); });
    comparison.Add(state, of_whole, CpuSeconds([&] { CheckEverything(half); }));
  }
  comparison.Report(state);
}
BENCHMARK(CheckAnomalies)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(30);

// Until all of it is on the disk.
double LinkDeps(std::uint32_t count) {
  const ScratchFolder scratch;
  CNCCNet net;
  CreateDatabase(net, scratch.Path("db"));
  Expect(net.BeginBatch(), net, "BeginBatch");
  unsigned long dep = 0;
  for (std::uint32_t n = 0; n < count; ++n) dep = net.CreateDep(ApName(n).c_str());
  Expect(net.EndBatch(), net, "EndBatch");
  const double seconds = Seconds([&] { net.LinkAllDeps(); });
  std::list<CDepEntry> linked;
  Expect(net.GetListLinkedDep(dep, linked) == count - 1, net, "LinkAllDeps");
  return seconds;
}

void LinkAllDeps(benchmark::State& state) {
  const auto count = static_cast<std::uint32_t>(state.range(0));
  Comparison comparison;
  for (auto _ : state) {
    const double whole = InChild([&] { return LinkDeps(count); });
    comparison.Add(state, whole, InChild([&] { return LinkDeps(count / 2); }));
  }
  comparison.Report(state);
}
BENCHMARK(LinkAllDeps)->UseManualTime()->Unit(benchmark::kMillisecond)->Arg(1000)->Iterations(5);

}  // namespace
