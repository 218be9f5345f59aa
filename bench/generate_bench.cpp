// Compares generating with writing the same files from memory, by plain writes and renames; and
// generation with itself: with shared storage, with a progress callback, for ten times the APs.
// Every stamp is made under a key. The files go to the disk, without flushing.

#include "compare.h"
#include "file_tree.h"
#include "fresh_folder.h"
#include "network.h"
#include "scratch.h"

#include <sys/stat.h>

#include <fstream>
#include <memory>

namespace {

// A region's network with a stamping key.
class Region {
 public:
  explicit Region(const NetworkSize& size = kRegion) {
    CreateDatabase(net_, scratch_.Path("db"));
    BuildNetwork(net_, size);
    GiveApplications();
    std::ofstream(scratch_.Path("key")) << "01234567890123456789012345678901";
    ::chmod(scratch_.Path("key").c_str(), S_IRUSR);
    SetStampProvider(MakeStampProvider(scratch_.Path("key").c_str()));
  }
  ~Region() {
    net_.Close();
    SetShareIdenticalFiles(true);
  }
  Region(const Region&) = delete;
  Region& operator=(const Region&) = delete;

  CNCCNet& Net() { return net_; }

  // Runs a generator into a new folder and gives the time that it took.
  template <class Generate>
  double Time(Generate generate) {
    const FreshFolder folder;
    return Seconds([&] { generate(net_, folder.Name().c_str()); });
  }

 private:
  // Every server has tunnels, and every fourth AP; the first two APs are the centres.
  void GiveApplications() {
    Expect(net_.BeginBatch(), net_, "BeginBatch");
    std::list<CNNEntry> nodes;
    net_.GetListAP(nodes);
    std::uint32_t centre = 0x4;
    for (const CNNEntry& ap : nodes) {
      net_.RegAPP(ap.id, 0x401 | centre | (ap.id % 4 == 0 ? 0x1000 : 0), 0);
      centre = centre == 0x4 ? 0x40 : 0;
    }
    net_.GetListServer(nodes);
    for (const CNNEntry& server : nodes) net_.RegSrv(server.id, 0x8000, 0);
    Expect(net_.EndBatch(), net_, "EndBatch");
  }

  ScratchFolder scratch_;
  CNCCNet net_;
};

void Directories(CNCCNet& net, const char* folder) { net.GenAPDB(folder, 1); }
void Routing(CNCCNet& net, const char* folder) {
  net.GenMAP(folder, 1);
  net.GenRoutingTables(folder);
}

// Generating against writing what was generated.
template <class Generate>
void AgainstWriting(benchmark::State& state, Generate generate) {
  SetShareIdenticalFiles(false);
  Region region;
  const FreshFolder sample;
  generate(region.Net(), sample.Name().c_str());
  const FileTree tree(sample.Name());
  Comparison comparison;
  for (auto _ : state) {
    const double ours = region.Time(generate);
    const FreshFolder copy;
    comparison.Add(state, ours, Seconds([&] { tree.Write(copy.Name()); }));
  }
  comparison.Report(state);
  state.counters["bytes"] = static_cast<double>(tree.Bytes());
}

void GenerateDirectories(benchmark::State& state) { AgainstWriting(state, Directories); }
BENCHMARK(GenerateDirectories)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);

void GenerateRouting(benchmark::State& state) { AgainstWriting(state, Routing); }
BENCHMARK(GenerateRouting)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);

// Full packages against appending the same files to each other.
void GeneratePackages(benchmark::State& state) {
  SetShareIdenticalFiles(false);
  Region region;
  const FreshFolder generated;
  Directories(region.Net(), generated.Name().c_str());
  Routing(region.Net(), generated.Name().c_str());
  Comparison comparison;
  for (auto _ : state) {
    const auto pack = [&](CNCCNet& net, const char* folder) {
      std::filesystem::create_directory(std::string(folder) + "/AAA");
      net.GenFullDistr(folder);
    };
    const double ours = region.Time(pack);
    const FreshFolder joined;
    comparison.Add(state, ours, Seconds([&] { JoinByNode(generated.Name(), joined.Name()); }));
  }
  comparison.Report(state);
}
BENCHMARK(GeneratePackages)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

// Directories with shared storage against without.
void ShareStorage(benchmark::State& state) {
  Region region;
  Comparison comparison;
  for (auto _ : state) {
    SetShareIdenticalFiles(true);
    const double shared = region.Time(Directories);
    SetShareIdenticalFiles(false);
    comparison.Add(state, shared, region.Time(Directories));
  }
  comparison.Report(state);
}
BENCHMARK(ShareStorage)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

long Count(void* context, void*) { return ++*static_cast<long*>(context); }

// Directories with a progress callback against without.
void GenerateWithCallback(benchmark::State& state) {
  Region region;
  Comparison comparison;
  long calls = 0;
  for (auto _ : state) {
    region.Net().SetCallback(&Count, &calls);
    const double called = region.Time(Directories);
    region.Net().SetCallback(nullptr, nullptr);
    comparison.Add(state, called, region.Time(Directories));
  }
  comparison.Report(state);
  state.counters["calls"] = static_cast<double>(calls) / static_cast<double>(state.iterations());
}
BENCHMARK(GenerateWithCallback)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);

// 10,000 APs against 1,000, an AP's own files having the same size: time of an AP.
void GenerateTenfold(benchmark::State& state) {
  constexpr NetworkSize kSmall{64, 1000, 500, 200, 125, 500};
  constexpr NetworkSize kLarge{64, 10'000, 500, 2000, 1250, 500};
  Comparison comparison;
  for (auto _ : state) {
    const auto time_of = [](const NetworkSize& size) {
      Region region(size);
      return region.Time(Directories) / size.aps;
    };
    const double large = time_of(kLarge);
    comparison.Add(state, large, time_of(kSmall));
  }
  comparison.Report(state);
}
BENCHMARK(GenerateTenfold)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
