#include "soak/machines.h"

#include <cstdlib>
#include <stdexcept>

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void Run(const std::string& command) {
  if (std::system(("{ " + command + "; } >&2").c_str()) != 0)
    throw std::runtime_error("fails: " + command);
}

bool Leave() {
  return ::unshare(CLONE_NEWNET | CLONE_NEWNS) == 0 &&
         ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         ::mount("tmpfs", "/run", "tmpfs", 0, nullptr) == 0;
}

// One for the clients of all machines, and one among the machines.
struct Bridge {
  const char* name;
  const char* device;  // of each machine
  const char* network;
};
constexpr Bridge kBridges[] = {{"clients", "c", "10.77.0."}, {"nodes", "n", "10.78.0."}};

}  // namespace

bool Machines::AreAllowed() {
  if (std::system("command -v ip >/dev/null") != 0) return false;
  const pid_t child = ::fork();
  if (child == 0) ::_exit(Leave() ? 0 : 1);
  int status = 1;
  ::waitpid(child, &status, 0);
  return status == 0;
}

Machines::Machines(std::size_t count) {
  if (!Leave()) throw std::runtime_error("no machines of its own");
  Run("ip link set lo up");
  for (const Bridge& bridge : kBridges) {
    const std::string name = bridge.name;
    Run("ip link add " + name + " type bridge && ip addr add " + bridge.network + "254/24 dev " +
        name + " && ip link set " + name + " up");
  }
  for (std::size_t i = 0; i < count; ++i) {
    const std::string machine = "m" + std::to_string(i);
    const std::string number = std::to_string(i + 1);
    Run("ip netns add " + machine + " && ip -n " + machine + " link set lo up");
    for (const Bridge& bridge : kBridges) {
      const std::string device = bridge.device + std::to_string(i);
      Run("ip link add " + device + " type veth peer name inner netns " + machine +
          " && ip link set " + device + " master " + bridge.name + " up && ip -n " + machine +
          " link set inner name " + device + " && ip -n " + machine + " addr add " +
          bridge.network + number + "/24 dev " + device + " && ip -n " + machine + " link set " +
          device + " up");
    }
    places_.push_back({kBridges[0].network + number,
                       kBridges[1].network + number,
                       {"ip", "netns", "exec", machine}});
  }
}

void Machines::Switch(std::size_t machine, Net net, const char* state) {
  const Bridge& bridge = kBridges[net == Net::kOfClients ? 0 : 1];
  Run("ip link set " + (bridge.device + std::to_string(machine)) + " " + state);
}

void MoveToSmallDisk(const std::string& folder) {
  const std::string kept = folder + ".kept";
  Run("mv " + folder + " " + kept + " && mkdir -m 700 " + folder +
      " && mount -t tmpfs -o mode=700,size=600m soak " + folder + " && cp -a --sparse=always " +
      kept + "/. " + folder);
}

void MoveBack(const std::string& folder) {
  Run("rm -rf " + folder + ".kept " + folder + "/filler && cp -a " + folder + " " + folder +
      ".kept && umount " + folder + " && rmdir " + folder + " && mv " + folder + ".kept " + folder);
}

void FillDisk(const std::string& folder) {
  Run("dd if=/dev/zero of=" + folder + "/filler bs=1M status=none 2>/dev/null || true");
}
