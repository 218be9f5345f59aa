// Compares finding a node's entry with SQLite's prepared select on a table of the same nodes,
// indexed by id and by name, cached whole and read within one transaction. The same keys in the
// same random order.

#include "bare_store.h"
#include "compare.h"
#include "network.h"
#include "scratch.h"

#include <stdexcept>

#include <algorithm>
#include <random>

namespace {

struct Key {
  unsigned long id;
  std::string name;
};

// The full network, as it is after opening, and its nodes in a table.
class Networks {
 public:
  Networks() : table_(scratch_.Path("bare.db")) {
    BuildDatabase(scratch_.Path("db"), kFull);
    OpenDatabase(net_, scratch_.Path("db"));
    table_.Execute("BEGIN");
    std::list<CNNEntry> aps;
    net_.GetListAP(aps);
    for (const CNNEntry& ap : aps) {
      table_.Insert(ap, ap.server_id);
      keys_.push_back({ap.id, ap.name});
    }
    table_.Execute("COMMIT");
    table_.BeginReading();
    std::shuffle(keys_.begin(), keys_.end(), std::minstd_rand(1));
  }

  // find_ours(net, key, entry) and find_bare(table, key, entry), all keys by each in turn.
  template <class FindOurs, class FindBare>
  void Compare(benchmark::State& state, FindOurs find_ours, FindBare find_bare) {
    const auto find_all_ours = [&] {
      FindAll([&](const Key& key) { return find_ours(net_, key, entry_); });
    };
    const auto find_all_bare = [&] {
      FindAll([&](const Key& key) { return find_bare(table_, key, entry_); });
    };
    Comparison comparison;
    for (auto _ : state) {
      // Once without looking at the clock: the other has just filled the processor's caches.
      find_all_ours();
      const double ours = CpuSeconds(find_all_ours);
      find_all_bare();
      comparison.Add(state, ours, CpuSeconds(find_all_bare));
    }
    comparison.Report(state, static_cast<double>(keys_.size()));
  }

 private:
  template <class Find>
  void FindAll(Find find) {
    for (const Key& key : keys_) {
      if (!find(key) || entry_.id != key.id) throw std::runtime_error("an AP was not found");
    }
  }

  ScratchFolder scratch_;
  CNCCNet net_;
  BareTable table_;
  std::vector<Key> keys_;
  CNNEntry entry_;
};

// Both benchmarks use the same ones, so that no heap is used twice.
Networks& TheNetworks() {
  static Networks networks;
  return networks;
}

void LookUpById(benchmark::State& state) {
  TheNetworks().Compare(
      state,
      [](CNCCNet& net, const Key& key, CNNEntry& entry) { return net.GetAPInfo(key.id, entry); },
      [](BareTable& table, const Key& key, CNNEntry& entry) {
        return table.FindById(key.id, entry);
      });
}
BENCHMARK(LookUpById)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(60);

void LookUpByName(benchmark::State& state) {
  TheNetworks().Compare(
      state,
      [](CNCCNet& net, const Key& key, CNNEntry& entry) {
        return net.GetAPInfo(key.name.c_str(), entry);
      },
      [](BareTable& table, const Key& key, CNNEntry& entry) {
        return table.FindByName(key.name, kTypeAP, entry);
      });
}
BENCHMARK(LookUpByName)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(60);

}  // namespace
