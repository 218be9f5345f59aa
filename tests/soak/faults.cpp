#include "soak/faults.h"

#include <csignal>
#include <cstdlib>
#include <thread>
#include <utility>

namespace {

using ncc::Network;
using std::chrono::milliseconds;

class OwnerKilled : public Fault {
 public:
  void Strike(Scene& scene) override { scene.owner->Kill(); }
};

// A node that dies or hangs, and comes back with what it had stored and what it believed.
void StrikeNode(Scene& scene, std::size_t node, bool dies) {
  if (dies) {
    scene.nodes.Kill(node);
  } else {
    scene.nodes.Pause(node);
  }
  scene.struck.push_back(node);
}

void BringBack(Scene& scene, bool were_killed) {
  for (const std::size_t node : scene.struck) {
    if (were_killed) {
      scene.nodes.Start(node);
    } else {
      scene.nodes.Wake(node);
    }
  }
  scene.struck.clear();
}

class NodesStruck : public Fault {
 public:
  void Heal(Scene& scene) override { BringBack(scene, dies_); }

 protected:
  void StrikeOne(Scene& scene, std::size_t node) { StrikeNode(scene, node, dies_); }
  void DrawWay(Scene& scene) { dies_ = scene.Draw(3) != 0; }

 private:
  bool dies_ = true;
};

class LeaderKilled : public NodesStruck {
 public:
  void Strike(Scene& scene) override {
    DrawWay(scene);
    is_healed_first_ = scene.Draw(1) == 0;
    StrikeOne(scene, scene.nodes.Leader());
  }
  bool IsSurvived() const override { return true; }
  bool IsHealedFirst() const override { return is_healed_first_; }

 private:
  bool is_healed_first_ = false;
};

class BothKilled : public NodesStruck {
 public:
  void Strike(Scene& scene) override {
    DrawWay(scene);
    const std::size_t leader = scene.nodes.Leader();
    const bool is_owner_first = scene.Draw(1) == 0;
    if (is_owner_first) scene.owner->Kill();
    std::this_thread::sleep_for(milliseconds(scene.Draw(20)));
    StrikeOne(scene, leader);
    scene.owner->Kill();
  }
};

// For a time about that of the lease, so that it wakes in the midst of being relieved as well.
class OwnerPaused : public Fault {
 public:
  void Strike(Scene& scene) override {
    OwnerProcess& owner = *scene.owner;
    owner.Signal(SIGSTOP);
    const auto pause = milliseconds(500) + scene.DrawWait(2500);
    waker_ = std::thread([&owner, pause] {
      std::this_thread::sleep_for(pause);
      owner.Signal(SIGCONT);
    });
  }
  void Heal(Scene&) override { Join(); }
  ~OwnerPaused() override { Join(); }

 private:
  void Join() {
    if (waker_.joinable()) waker_.join();
  }
  std::thread waker_;
};

class MajorityLost : public NodesStruck {
 public:
  void Strike(Scene& scene) override {
    DrawWay(scene);
    const auto spared = static_cast<std::size_t>(scene.Draw(2));
    for (std::size_t node = 0; node < 3; ++node) {
      if (node != spared) StrikeOne(scene, node);
    }
    std::this_thread::sleep_for(scene.DrawWait(3000));
  }
  bool IsSurvived() const override { return true; }
  bool IsHealedFirst() const override { return true; }
};

class Restarted : public NodesStruck {
 public:
  void Strike(Scene& scene) override {
    owner_dies_ = scene.Draw(2) == 0;
    for (std::size_t node = 0; node < 3; ++node) StrikeOne(scene, node);
    if (owner_dies_) scene.owner->Kill();
    std::this_thread::sleep_for(scene.DrawWait(1000));
  }
  bool IsSurvived() const override { return !owner_dies_; }
  bool IsHealedFirst() const override { return true; }

 private:
  bool owner_dies_ = false;
};

// The owner's way to all nodes or to some of them.
class NetworkCut : public Fault {
 public:
  void Strike(Scene& scene) override {
    cuts_all_ = scene.Draw(2) != 0;
    const auto spared = static_cast<std::size_t>(scene.Draw(2));
    for (std::size_t node = 0; node < 3; ++node) {
      if (cuts_all_ || node != spared) Cut(scene, *scene.place.networks[node]);
    }
  }
  // What was held back arrives now.
  void Heal(Scene& scene) override {
    for (const auto& network : scene.place.networks) {
      network->Release();
      std::this_thread::sleep_for(scene.DrawWait(50));
      network->Set(Network::kWorks);
    }
  }
  bool IsSurvived() const override { return !cuts_all_; }

 private:
  static void Cut(Scene& scene, Proxy& network) {
    switch (scene.Draw(3)) {
      case 0:
        network.Set(Network::kIsDown);
        break;
      case 1:
        network.Set(Network::kLosesAnswers);
        break;
      case 2:
        network.Set(Network::kLosesRequests);
        break;
      default:
        network.Hold();
    }
  }

  bool cuts_all_ = false;
};

class ClockJumps : public Fault {
 public:
  void Strike(Scene& scene) override {
    for (int jumps = 1 + scene.Draw(2); jumps > 0; --jumps) {
      scene.owner->Signal(SIGUSR1);
      std::this_thread::sleep_for(milliseconds(50) + scene.DrawWait(700));
    }
  }
  bool IsSurvived() const override { return true; }
  void Check(Scene&, const std::vector<ncc::HistoryEntry>& history) override {
    constexpr std::int64_t kHour = 3600'000'000;
    for (std::size_t i = 1; i < history.size(); ++i) {
      if (std::abs(history[i].time - history[i - 1].time) > kHour) return;
    }
    throw Violation("the clock has not jumped: this round proves nothing");
  }
};

// Nodes that others of them, or clients, or both do not reach.
class NodesApart : public Fault {
 public:
  void Strike(Scene& scene) override {
    is_healed_first_ = scene.Draw(1) == 0;
    const std::size_t leader = scene.nodes.Leader();
    const int all = scene.Draw(4);
    for (std::size_t node = 0; node < 3; ++node) {
      if (all == 0 || node == leader) Cut(scene, node);
    }
    if (all == 0) is_healed_first_ = true;
    std::this_thread::sleep_for(scene.DrawWait(2500));
  }
  void Heal(Scene& scene) override {
    for (const auto& [node, net] : cut_) scene.place.machines->Join(node, net);
    cut_.clear();
  }
  bool IsSurvived() const override { return true; }
  bool IsHealedFirst() const override { return is_healed_first_; }

 private:
  void Cut(Scene& scene, std::size_t node) {
    const int which = scene.Draw(2);
    for (const auto net : {Machines::Net::kOfClients, Machines::Net::kOfNodes}) {
      if (which == (net == Machines::Net::kOfClients ? 0 : 1)) continue;
      scene.place.machines->Cut(node, net);
      cut_.emplace_back(node, net);
    }
  }

  std::vector<std::pair<std::size_t, Machines::Net>> cut_;
  bool is_healed_first_ = false;
};

// Of one node, which dies of it.
class DiskFull : public Fault {
 public:
  void Strike(Scene& scene) override {
    EtcdNodes& nodes = scene.nodes;
    node_ = scene.Draw(2) != 0 ? nodes.Leader() : static_cast<std::size_t>(scene.Draw(2));
    nodes.Kill(node_);
    MoveToSmallDisk(nodes.Folder(node_));
    nodes.Start(node_);
    std::this_thread::sleep_for(milliseconds(500) + scene.DrawWait(1000));
    FillDisk(nodes.Folder(node_));
    for (int i = 0; i < 100 && nodes.IsAlive(node_); ++i) {
      scene.owner->Reports();
      std::this_thread::sleep_for(milliseconds(100));
    }
    if (nodes.IsAlive(node_)) throw Violation("a full disk does nothing: this proves nothing");
  }
  void Heal(Scene& scene) override {
    scene.nodes.Kill(node_);
    MoveBack(scene.nodes.Folder(node_));
    scene.nodes.Start(node_);
  }
  bool IsSurvived() const override { return true; }

 private:
  std::size_t node_ = 0;
};

// One node allows less than it has: all refuse to store until an administrator has made room.
class QuotaReached : public Fault {
 public:
  void Strike(Scene& scene) override {
    node_ = static_cast<std::size_t>(scene.Draw(2));
    scene.nodes.Kill(node_);
    ::setenv("ETCD_QUOTA_BACKEND_BYTES", "1000", 1);
    scene.nodes.Start(node_);
    ::unsetenv("ETCD_QUOTA_BACKEND_BYTES");
    for (int i = 0; i < 100; ++i) {
      scene.owner->Reports();
      if (scene.nodes.Control("alarm list").find("NOSPACE") != std::string::npos) {
        std::this_thread::sleep_for(scene.DrawWait(1000));
        return;
      }
      std::this_thread::sleep_for(milliseconds(100));
    }
    throw Violation("the quota does nothing: this proves nothing");
  }
  void Heal(Scene& scene) override {
    scene.nodes.Kill(node_);
    scene.nodes.Start(node_);
    while (!scene.nodes.IsUp()) {
    }
    do {
      scene.nodes.Control("alarm disarm");
    } while (scene.nodes.Control("alarm list").find("NOSPACE") != std::string::npos);
  }
  bool IsSurvived() const override { return true; }
  bool IsHealedFirst() const override { return true; }

 private:
  std::size_t node_ = 0;
};

template <class Kind>
std::unique_ptr<Fault> Make() {
  return std::make_unique<Kind>();
}

}  // namespace

const std::vector<FaultKind>& FaultKinds() {
  static const std::vector<FaultKind> kinds{
      {"owner_killed", &Make<OwnerKilled>},     {"leader_killed", &Make<LeaderKilled>},
      {"both_killed", &Make<BothKilled>},       {"owner_paused", &Make<OwnerPaused>},
      {"majority_lost", &Make<MajorityLost>},   {"network_cut", &Make<NetworkCut>},
      {"restarted", &Make<Restarted>},          {"clock_jumps", &Make<ClockJumps>},
      {"nodes_apart", &Make<NodesApart>, true}, {"disk_full", &Make<DiskFull>, true},
      {"quota_reached", &Make<QuotaReached>},
  };
  return kinds;
}
