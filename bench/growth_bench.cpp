// Compares networks of 100,000 and 1,000,000 objects with one of 10,000: what an object costs when
// the network is built in one batch, and how much memory it takes. Then changes of a list of
// 100,000 elements with the same changes of a list of 10: the root folder, a server's folder, a
// server's links.

#include "child.h"
#include "compare.h"
#include "network.h"
#include "scratch.h"

#include <malloc.h>

#include <functional>
#include <random>
#include <utility>

namespace {

constexpr std::uint32_t kSmallNetwork = 10'000;

// Seconds an object.
double BuildingTime(std::uint32_t objects) {
  const ScratchFolder scratch;
  CNCCNet net;
  CreateDatabase(net, scratch.Path("db"));
  return Seconds([&] { BuildNetwork(net, kFull.ScaledTo(objects)); }) / objects;
}

void BuildNetworkOf(benchmark::State& state) {
  Comparison comparison;
  const auto objects = static_cast<std::uint32_t>(state.range(0));
  for (auto _ : state) {
    const double large = InChild([&] { return BuildingTime(objects); });
    comparison.Add(state, large, InChild([] { return BuildingTime(kSmallNetwork); }));
  }
  comparison.Report(state);
}
BENCHMARK(BuildNetworkOf)->UseManualTime()->Arg(100'000)->Iterations(5);
BENCHMARK(BuildNetworkOf)->UseManualTime()->Arg(1'000'000)->Iterations(1);

double HeapInUse() {
  const struct mallinfo2 info = ::mallinfo2();
  return static_cast<double>(info.uordblks + info.hblkhd);
}

// Bytes an object, the caches of the storage engine included.
double MemoryAfter(std::uint32_t objects, const std::function<void(CNCCNet&)>& act) {
  return InChild([&] {
    const double before = HeapInUse();
    CNCCNet net;
    act(net);
    return (HeapInUse() - before) / objects;
  });
}

void MemoryOf(benchmark::State& state) {
  const auto objects = static_cast<std::uint32_t>(state.range(0));
  for (auto _ : state) {
    const ScratchFolder scratch;
    const std::string folder = scratch.Path("db");
    state.counters["ours"] = MemoryAfter(objects, [&](CNCCNet& net) {
      CreateDatabase(net, folder);
      BuildNetwork(net, kFull.ScaledTo(objects));
    });
    state.counters["opened"] =
        MemoryAfter(objects, [&](CNCCNet& net) { OpenDatabase(net, folder); });
  }
}
BENCHMARK(MemoryOf)->Arg(10'000)->Arg(100'000)->Arg(1'000'000)->Iterations(1);

// The networks with a list of `length` elements, each change of which is durable. Change adds an
// element and removes one from anywhere.

class ListNetwork {
 protected:
  ListNetwork() { CreateDatabase(net_, scratch_.Path("db")); }

  // Any of the elements, to be removed; `added` takes its place.
  unsigned long Exchange(Ids& ids, unsigned long added) {
    return std::exchange(ids[random_() % ids.size()], added);
  }

  ScratchFolder scratch_;
  CNCCNet net_;
  std::minstd_rand random_{1};
  std::uint32_t next_name_ = 0;
};

class RootFolder : ListNetwork {
 public:
  explicit RootFolder(std::uint32_t length) {
    Expect(net_.BeginBatch(), net_, "BeginBatch");
    servers_ = AddServers(net_, length);
    Expect(net_.EndBatch(), net_, "EndBatch");
    next_name_ = length;
  }
  void Change() {
    const unsigned long added = net_.AddServer(ServerName(next_name_++).c_str(), 0, 10);
    Expect(added != 0, net_, "AddServer");
    Expect(net_.DeleteServer(Exchange(servers_, added)), net_, "DeleteServer");
  }

 private:
  Ids servers_;
};

class ServerFolder : ListNetwork {
 public:
  explicit ServerFolder(std::uint32_t length) {
    server_ = net_.AddServer("Server", 0, 10);
    Expect(net_.BeginBatch(), net_, "BeginBatch");
    AddAps(net_, {server_}, ApNames(length));
    Expect(net_.EndBatch(), net_, "EndBatch");
    for (std::uint32_t n = 0; n < length; ++n) names_.push_back(n);
    next_name_ = length;
  }
  void Change() {
    const std::uint32_t added = next_name_++;
    Expect(net_.AddAP(server_, ApName(added).c_str(), 0) != 0, net_, "AddAP");
    const auto removed = static_cast<std::uint32_t>(Exchange(names_, added));
    Expect(net_.DeleteAP(server_, ApName(removed).c_str()), net_, "DeleteAP");
  }

 private:
  unsigned long server_;
  Ids names_;
};

class LinkList : ListNetwork {
 public:
  explicit LinkList(std::uint32_t length) {
    Expect(net_.BeginBatch(), net_, "BeginBatch");
    servers_ = AddServers(net_, length);
    hub_ = net_.AddServer("Hub", 0, 10);
    for (const unsigned long server : servers_) {
      Expect(net_.LinkSrvToSrv(hub_, server), net_, "LinkSrvToSrv");
    }
    Expect(net_.EndBatch(), net_, "EndBatch");
  }
  void Change() {
    const unsigned long server = servers_[random_() % servers_.size()];
    Expect(net_.DeleteLink(hub_, server), net_, "DeleteLink");
    Expect(net_.LinkSrvToSrv(hub_, server), net_, "LinkSrvToSrv");
  }

 private:
  unsigned long hub_;
  Ids servers_;
};

template <class Network>
void ChangeLongList(benchmark::State& state) {
  Network long_list(100'000);
  Network short_list(10);
  Comparison comparison;
  for (auto _ : state) {
    const double in_long = Seconds([&] { long_list.Change(); });
    comparison.Add(state, in_long, Seconds([&] { short_list.Change(); }));
  }
  comparison.Report(state);
}
BENCHMARK(ChangeLongList<RootFolder>)->Name("ChangeRootFolder")->UseManualTime()->Iterations(1000);
BENCHMARK(ChangeLongList<ServerFolder>)
    ->Name("ChangeServerFolder")
    ->UseManualTime()
    ->Iterations(1000);
BENCHMARK(ChangeLongList<LinkList>)->Name("ChangeLinkList")->UseManualTime()->Iterations(1000);

}  // namespace
