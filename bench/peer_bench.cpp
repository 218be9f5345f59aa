// Compares what is done most with a network with LMDB and with plain tables in memory: finding any
// of its objects by identifier and by name, listing the users of a Dep, and building it. All kinds
// of objects in random order; in a process that built the network, and in one that opened it.

#include "child.h"
#include "compare.h"
#include "network.h"
#include "peers.h"
#include "scratch.h"

#include <algorithm>
#include <memory>
#include <random>
#include <stdexcept>

namespace {

// The network, and both peers with the same.
class Networks {
 public:
  explicit Networks(bool is_built_here) : lmdb_(scratch_.Path("lmdb")) {
    if (is_built_here) {
      CreateDatabase(net_, scratch_.Path("db"));
      BuildNetwork(net_, kFull);
    } else {
      BuildDatabase(scratch_.Path("db"), kFull);
      OpenDatabase(net_, scratch_.Path("db"));
    }
    const PeerRows rows(ReadRows(net_));
    lmdb_.Insert(rows);
    lmdb_.BeginReading();
    flat_ = std::make_unique<FlatTables>(rows);
    keys_ = rows.entries;
    std::shuffle(keys_.begin(), keys_.end(), std::minstd_rand(1));
  }

  CNCCNet& Net() { return net_; }
  const LmdbStore& Lmdb() const { return lmdb_; }
  const FlatTables& Flat() const { return *flat_; }
  const std::vector<PeerEntry>& Keys() const { return keys_; }

 private:
  ScratchFolder scratch_;
  CNCCNet net_;
  LmdbStore lmdb_;
  std::unique_ptr<FlatTables> flat_;
  std::vector<PeerEntry> keys_;
};

Networks& TheNetworks(bool is_built_here) {
  static std::unique_ptr<Networks> built;
  static std::unique_ptr<Networks> opened;
  std::unique_ptr<Networks>& networks = is_built_here ? built : opened;
  if (!networks) networks = std::make_unique<Networks>(is_built_here);
  return *networks;
}

// One of each kind of entry, to be filled.
struct Entries {
  CNNEntry node;
  CABEntry user;
  CDepEntry dep;
  CNGrpEntry group;
};

template <class Key>
bool FindEntry(CNCCNet& net, std::uint8_t type, Key key, Entries& entries) {
  switch (type) {
    case kTypeServer:
      return net.GetServerInfo(key, entries.node);
    case kTypeAP:
      return net.GetAPInfo(key, entries.node);
    case kTypeAB:
      return net.GetABInfo(key, entries.user);
    case kTypeDep:
      return net.GetDepInfo(key, entries.dep);
    default:
      return net.GetNGrpInfo(key, entries.group);
  }
}

// Both find(key) for all keys.
template <class FindOurs, class FindTheirs>
void CompareKeys(benchmark::State& state, const std::vector<PeerEntry>& keys, FindOurs find_ours,
                 FindTheirs find_theirs) {
  const auto find_all = [&](auto find) {
    for (const PeerEntry& key : keys) {
      if (!find(key)) throw std::runtime_error("an object was not found");
    }
  };
  Comparison comparison;
  for (auto _ : state) {
    // Once without looking at the clock: the other has just filled the processor's caches.
    find_all(find_ours);
    const double ours = CpuSeconds([&] { find_all(find_ours); });
    find_all(find_theirs);
    comparison.Add(state, ours, CpuSeconds([&] { find_all(find_theirs); }));
  }
  comparison.Report(state, static_cast<double>(keys.size()));
}

// name_of(key) is what ours takes, find(key, theirs) looks into the peer.
template <class NameOf, class Find>
void FindBy(benchmark::State& state, Networks& networks, NameOf name_of, Find find) {
  Entries entries;
  CNNEntry theirs;
  CompareKeys(
      state, networks.Keys(),
      [&](const PeerEntry& key) {
        return FindEntry(networks.Net(), key.type, name_of(key), entries);
      },
      [&](const PeerEntry& key) { return find(key, &theirs); });
}

template <class Peer>
void FindById(benchmark::State& state, Networks& networks, const Peer& peer) {
  FindBy(
      state, networks, [](const PeerEntry& key) { return static_cast<unsigned long>(key.id); },
      [&](const PeerEntry& key, auto* theirs) { return peer.FindById(key.id, theirs); });
}

template <class Peer>
void FindByName(benchmark::State& state, Networks& networks, const Peer& peer) {
  FindBy(
      state, networks, [](const PeerEntry& key) { return key.bytes.data(); },
      [&](const PeerEntry& key, auto* theirs) {
        return peer.FindByName(key.type, key.Name(), theirs);
      });
}

template <class Peer>
void ListUsers(benchmark::State& state, Networks& networks, const Peer& peer) {
  std::vector<PeerEntry> deps = networks.Keys();
  std::erase_if(deps, [](const PeerEntry& entry) { return entry.type != kTypeDep; });
  std::list<CABEntry> list;
  CompareKeys(
      state, deps,
      [&](const PeerEntry& dep) {
        return networks.Net().GetListAB(static_cast<unsigned long>(dep.id), list) != 0;
      },
      [&](const PeerEntry& dep) {
        peer.ListUsers(dep.id, list);
        return !list.empty();
      });
}

double BuildWithLibrary() {
  const ScratchFolder scratch;
  CNCCNet net;
  CreateDatabase(net, scratch.Path("db"));
  return Seconds([&] { BuildNetwork(net, kFull); });
}

double BuildWithLmdb(const std::string& database) {
  const ScratchFolder scratch;
  CNCCNet net;
  OpenDatabase(net, database);
  const PeerRows rows(ReadRows(net));
  LmdbStore store(scratch.Path("lmdb"));
  return Seconds([&] { store.Insert(rows); });
}

void BuildBesideLmdb(benchmark::State& state) {
  const ScratchFolder scratch;
  BuildDatabase(scratch.Path("db"), kFull);
  Comparison comparison;
  for (auto _ : state) {
    const double ours = InChild(BuildWithLibrary);
    comparison.Add(state, ours, InChild([&] { return BuildWithLmdb(scratch.Path("db")); }));
  }
  comparison.Report(state);
}
BENCHMARK(BuildBesideLmdb)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(9);

void RegisterAll() {
  const auto add = [](const std::string& name, auto compare) {
    benchmark::RegisterBenchmark(name.c_str(), compare)->UseManualTime()->Iterations(40);
  };
  for (const bool is_built_here : {true, false}) {
    const std::string where = is_built_here ? "Built" : "Opened";
    const auto with = [=](auto compare) {
      return [=](benchmark::State& state) { compare(state, TheNetworks(is_built_here)); };
    };
    add("AllById" + where + "Lmdb", with([](auto& s, auto& n) { FindById(s, n, n.Lmdb()); }));
    add("AllById" + where + "Flat", with([](auto& s, auto& n) { FindById(s, n, n.Flat()); }));
    add("AllByName" + where + "Lmdb", with([](auto& s, auto& n) { FindByName(s, n, n.Lmdb()); }));
    add("AllByName" + where + "Flat", with([](auto& s, auto& n) { FindByName(s, n, n.Flat()); }));
    add("UsersOfDeps" + where + "Lmdb", with([](auto& s, auto& n) { ListUsers(s, n, n.Lmdb()); }));
    add("UsersOfDeps" + where + "Flat", with([](auto& s, auto& n) { ListUsers(s, n, n.Flat()); }));
  }
}
const bool kIsRegistered = (RegisterAll(), true);

}  // namespace
