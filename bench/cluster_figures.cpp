// What a database in a cluster costs beside one in a file, and what distance between the machines
// does to it: real nodes on this machine, with a network between them that takes its time.
//
//   cluster_figures [RUNS]
//
// Prints tables; each figure is the median of so many runs (3), and of the operations in each.
#include "child.h"
#include "cluster/etcd_nodes.h"
#include "cluster/proxy.h"
#include "network.h"
#include "prepared_file.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <memory>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;
using Samples = std::vector<double>;  // milliseconds

constexpr std::uint32_t kChanges = 60;
constexpr NetworkSize kSmall{16, 100, 300, 30, 10, 600};

template <class Work>
double Milliseconds(Work work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double Median(Samples samples) {
  std::sort(samples.begin(), samples.end());
  return samples.empty() ? 0 : samples[samples.size() / 2];
}

// Nodes so far from each other; the owner is where the first one is, which leads, and the standby
// where the second one is. With one node the standby is as far from it.
class Sites {
 public:
  Sites(std::size_t count, double round_trip) {
    const std::chrono::microseconds each_way(static_cast<long>(round_trip * 500));
    std::vector<NodePlace> places(count);
    for (NodePlace& place : places) {
      if (each_way.count() == 0) break;
      place.peer_port = FreePort();
      ways_.push_back(std::make_unique<Proxy>(place.peer_port));
      ways_.back()->Delay(each_way);
      place.seen_as_peer_port = ways_.back()->Port();
    }
    nodes_ = std::make_unique<EtcdNodes>(places);
    nodes_->LetLead(0);
    int port = nodes_->Port(count > 1 ? 1 : 0);
    if (count == 1 && each_way.count() != 0) {
      ways_.push_back(std::make_unique<Proxy>(port));
      ways_.back()->Delay(each_way);
      port = ways_.back()->Port();
    }
    Write("owner", nodes_->Port(0));
    Write("standby", port);
  }

  // Of the settings, with the database "net".
  std::string Owner() const { return scratch_.Path("owner"); }
  std::string Standby() const { return scratch_.Path("standby"); }
  const EtcdNodes& Nodes() const { return *nodes_; }

 private:
  void Write(const std::string& who, int port) {
    std::filesystem::create_directory(scratch_.Path(who));
    WriteFile(scratch_.Path(who) + "/net.cluster",
              "engine = etcd\nendpoints = http://127.0.0.1:" + std::to_string(port) + "\n");
  }

  const ScratchFolder scratch_;
  std::vector<std::unique_ptr<Proxy>> ways_;
  std::unique_ptr<EtcdNodes> nodes_;
};

void AddAp(CNCCNet& net, std::uint32_t number) {
  const unsigned long server = net.GetServer(ServerName(0).c_str());
  Expect(net.AddAP(server, ApName(number).c_str(), 0) != 0, net, "AddAP");
}

void Follow(CNCCNet& standby, const std::string& folder) {
  Expect(standby.OpenStandby(folder.c_str(), "net"), standby, "OpenStandby");
}

// When a standby has had each revision.
class Follower {
 public:
  explicit Follower(const std::string& folder) {
    Follow(net_, folder);
    thread_ = std::thread([this] { Run(); });
  }
  ~Follower() {
    if (thread_.joinable()) Stop();
  }
  const std::vector<std::pair<std::uint64_t, Clock::time_point>>& Stop() {
    ends_ = true;
    thread_.join();
    return seen_;
  }

 private:
  void Run() {
    while (!ends_) {
      if (net_.Follow(100)) seen_.emplace_back(net_.GetRevision(), Clock::now());
    }
  }
  CNCCNet net_;
  std::atomic<bool> ends_{false};
  std::vector<std::pair<std::uint64_t, Clock::time_point>> seen_;
  std::thread thread_;
};

struct Changes {
  double cluster, file, flush, behind;
};

// Durable changes in the cluster, in a file and of a bare file by turns, while a standby follows.
Changes MeasureChanges(const Sites& sites) {
  const ScratchFolder scratch;
  PreparedFile bare(scratch.Path("bare"));
  CNCCNet file;
  CNCCNet cluster;
  CreateDatabase(file, scratch.Path());
  CreateDatabase(cluster, sites.Owner());
  for (CNCCNet* net : {&file, &cluster}) BuildNetwork(*net, kSmall);
  Follower follower(sites.Standby());
  Samples of_cluster, of_file, of_flush, behind;
  std::vector<std::pair<std::uint64_t, Clock::time_point>> done;
  for (std::uint32_t n = kSmall.aps; n < kSmall.aps + kChanges; ++n) {
    of_cluster.push_back(Milliseconds([&] { AddAp(cluster, n); }));
    done.emplace_back(cluster.GetRevision(), Clock::now());
    of_file.push_back(Milliseconds([&] { AddAp(file, n); }));
    of_flush.push_back(Milliseconds([&] { bare.OverwriteBlock(); }));
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  for (const auto& had : follower.Stop()) {
    const auto own = std::find_if(done.begin(), done.end(),
                                  [&](const auto& change) { return change.first == had.first; });
    if (own == done.end()) continue;
    behind.push_back(std::chrono::duration<double, std::milli>(had.second - own->second).count());
  }
  return {Median(of_cluster), Median(of_file), Median(of_flush), Median(behind)};
}

// From the death of an owner to the first change of the next one.
double MeasureTakeover(const Sites& sites) {
  const pid_t owner = ::fork();
  if (owner == 0) {
    CNCCNet net;
    OpenDatabase(net, sites.Owner());
    for (std::uint32_t n = 10000;; ++n) AddAp(net, n);
  }
  CNCCNet standby;
  Follow(standby, sites.Standby());
  const auto first = standby.GetRevision();
  while (standby.GetRevision() < first + 5) standby.Follow(1000);
  ::kill(owner, SIGKILL);
  ::waitpid(owner, nullptr, 0);
  return Milliseconds([&] {
    Expect(standby.TakeOver(60000), standby, "TakeOver");
    AddAp(standby, 20000);
  });
}

struct Whole {
  double built_cluster, built_file, opened_cluster, opened_file;
};

// Every time in a process of its own.
Whole MeasureWhole(const Sites& sites) {
  const ScratchFolder scratch;
  const auto build = [](const std::string& folder) {
    return InChild([&] {
      CNCCNet net;
      CreateDatabase(net, folder);
      return Milliseconds([&] { BuildNetwork(net, kFull); });
    });
  };
  const auto open = [](const std::string& folder) {
    return InChild([&] {
      CNCCNet net;
      return Milliseconds([&] { OpenDatabase(net, folder); });
    });
  };
  const double built_file = build(scratch.Path());
  const double built_cluster = build(sites.Owner());
  Samples of_cluster, of_file;
  for (int i = 0; i < 5; ++i) {
    of_cluster.push_back(open(sites.Owner()));
    of_file.push_back(open(scratch.Path()));
  }
  return {built_cluster, built_file, Median(of_cluster), Median(of_file)};
}

// The median of each column over the runs.
template <class Measure>
Samples Repeat(int runs, Measure measure) {
  std::vector<Samples> columns;
  for (int run = 0; run < runs; ++run) {
    const Samples row = measure();
    columns.resize(row.size());
    for (std::size_t i = 0; i < row.size(); ++i) columns[i].push_back(row[i]);
  }
  Samples medians;
  for (const Samples& column : columns) medians.push_back(Median(column));
  return medians;
}

void PrintRow(std::size_t nodes, double round_trip, const Samples& figures) {
  std::printf("| %zu | %g ms |", nodes, round_trip);
  for (const double figure : figures) std::printf(" %.2f |", figure);
  std::printf("\n");
  std::fflush(stdout);
}

void PrintDistances(int runs) {
  std::printf(
      "\n| nodes | round trip | change, ms | in a file | bare flush | standby behind, ms |\n"
      "|---|---|---|---|---|---|\n");
  for (const std::size_t nodes : {1U, 3U, 5U}) {
    for (const double round_trip : {0., 1., 10., 50.}) {
      PrintRow(nodes, round_trip, Repeat(runs, [&] {
                 const Changes now = MeasureChanges(Sites(nodes, round_trip));
                 return Samples{now.cluster, now.file, now.flush, now.behind};
               }));
    }
  }
}

void PrintWhole(int runs) {
  std::printf(
      "\n| nodes | round trip | full network in one unit, ms | in a file | opening it, ms "
      "| from a file | takeover, ms |\n|---|---|---|---|---|---|---|\n");
  for (const double round_trip : {0., 10.}) {
    PrintRow(3, round_trip, Repeat(runs, [&] {
               const Sites sites(3, round_trip);
               const Whole now = MeasureWhole(sites);
               return Samples{now.built_cluster, now.built_file, now.opened_cluster,
                              now.opened_file, MeasureTakeover(sites)};
             }));
  }
}

}  // namespace

int main(int count, char** arguments) {
  const int runs = count > 1 ? std::atoi(arguments[1]) : 3;
  if (!HasEtcd() || runs < 1) return 2;
  PrintWhole(runs);
  PrintDistances(runs);
}
