// Compares generating only what changed with generating everything: the full network, 97,536 files,
// stamped under a key, the storage of identical ones shared. Each round makes everything anew and
// then takes the kept folder through one step; TMPDIR should be in memory. Packages apart, of a
// region.

#include "compare.h"
#include "network.h"
#include "scratch.h"

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Writing = CCollectorOptions::Writing;

struct Step {
  CFileCollector::Part part;
  void (*run)(CNCCNet& net);
};
const std::vector<Step> kNodeFiles = {
    {{"apdb", "mode=1"}, [](CNCCNet& net) { net.GenAPDB("./", 1); }},
    {{"routes", ""}, [](CNCCNet& net) { net.GenRoutingTables("./"); }},
    {{"map", "mode=1"}, [](CNCCNet& net) { net.GenMAP("./", 1); }}};
const std::vector<Step> kWithPackages = {
    kNodeFiles[0], kNodeFiles[1], kNodeFiles[2], {{"kc", "packages=full"}, [](CNCCNet& net) {
                                                    net.ExportForKC(true, "./KC/");
                                                  }}};

class Kept {
 public:
  Kept(const NetworkSize& size, const std::vector<Step>& steps) : steps_(steps) {
    CreateDatabase(net_, scratch_.Path("db"));
    BuildNetwork(net_, size);
    std::ofstream(scratch_.Path("key")) << "01234567890123456789012345678901";
    ::chmod(scratch_.Path("key").c_str(), S_IRUSR);
    SetStampProvider(MakeStampProvider(scratch_.Path("key").c_str()));
    fs::create_directory(scratch_.Path("kept"));
    Update(Writing::kChanged);
  }
  ~Kept() {
    fs::current_path("/");
    net_.Close();
  }
  Kept(const Kept&) = delete;
  Kept& operator=(const Kept&) = delete;

  CNCCNet& Net() { return net_; }

  double Full() {
    Enter("full");
    const double time = Seconds([&] {
      for (const Step& step : steps_) step.run(net_);
    });
    fs::current_path("/");
    fs::remove_all(scratch_.Path("full"));
    return time;
  }

  // With reading and writing the manifest and putting the files in place.
  void Update(Writing writing) {
    Enter("staged");
    CCollectorOptions options;
    options.root = scratch_.Path("kept");
    options.folders = {"APDB", "MAP", "KC"};
    options.writing = writing;
    const std::string manifest = options.root + "/.nccadm-manifest";
    options.manifest = manifest;
    CFileCollector collector(net_, std::move(options));
    std::vector<CFileCollector::Part> parts;
    for (const Step& step : steps_) parts.push_back(step.part);
    if (collector.IsUpToDate(parts)) return;
    for (const Step& step : steps_) {
      collector.BeginPart(step.part);
      step.run(net_);
    }
    changes_ = collector.Changes().size();
    if (writing == Writing::kNothing) return;
    for (const auto& entry : fs::recursive_directory_iterator(".")) {
      const fs::path place = fs::path(scratch_.Path("kept")) / entry.path();
      if (entry.is_directory()) {
        fs::create_directories(place);
      } else {
        fs::rename(entry.path(), place);
      }
    }
    collector.WriteManifest(manifest.c_str());
  }

  std::size_t Changes() const { return changes_; }

 private:
  void Enter(const char* folder) {
    fs::remove_all(scratch_.Path(folder));
    fs::create_directory(scratch_.Path(folder));
    fs::current_path(scratch_.Path(folder));
    net_.KCPath("./KC/");
  }

  ScratchFolder scratch_;
  CNCCNet net_;
  const std::vector<Step>& steps_;
  std::size_t changes_ = 0;
};

// prepare(net) changes the network before the step that is measured.
template <class Prepare>
void AgainstFull(benchmark::State& state, Kept& kept, Writing writing, Prepare prepare) {
  Comparison comparison;
  for (auto _ : state) {
    prepare(kept.Net());
    const double full = kept.Full();
    comparison.Add(state, Seconds([&] { kept.Update(writing); }), full);
    if (writing == Writing::kNothing) kept.Update(Writing::kChanged);
  }
  comparison.Report(state);
  state.counters["changes"] = static_cast<double>(kept.Changes());
}

void AddAp(CNCCNet& net) {
  static int number = 0;
  const std::string name = "Another " + std::to_string(++number);
  Expect(net.AddAP(1, name.c_str(), 0) != 0, net, "AddAP");
}

Kept& FullNetwork() {
  static Kept kept(kFull, kNodeFiles);
  return kept;
}
Kept& RegionWithPackages() {
  static Kept kept(kRegion, kWithPackages);
  return kept;
}

void NothingChanged(benchmark::State& state) {
  AgainstFull(state, FullNetwork(), Writing::kChanged, [](CNCCNet&) {});
}
void OneApAdded(benchmark::State& state) {
  AgainstFull(state, FullNetwork(), Writing::kChanged, AddAp);
}
void OneApAddedAsked(benchmark::State& state) {
  AgainstFull(state, FullNetwork(), Writing::kNothing, AddAp);
}
void OneApAddedPackages(benchmark::State& state) {
  AgainstFull(state, RegionWithPackages(), Writing::kChanged, AddAp);
}
BENCHMARK(NothingChanged)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(OneApAdded)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(OneApAddedAsked)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(OneApAddedPackages)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace
