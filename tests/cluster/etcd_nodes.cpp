#include "cluster/etcd_nodes.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

std::string NameOf(std::size_t node) { return "n" + std::to_string(node); }
std::string Address(const std::string& scheme, const std::string& host, int port) {
  return scheme + "://" + host + ":" + std::to_string(port);
}

}  // namespace

int FreePort() {
  const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  const bool found = ::bind(socket, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                     ::getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) == 0;
  ::close(socket);
  if (!found) throw std::runtime_error("no free port");
  return ntohs(address.sin_port);
}

bool HasEtcd() {
  if (std::system("command -v etcd >/dev/null && command -v etcdctl >/dev/null") == 0) return true;
  std::cerr << "\n*** etcd IS NOT INSTALLED (etcd-server, etcd-client): "
               "NOTHING OF DATABASES IN A CLUSTER IS TESTED ***\n\n";
  return false;
}

std::string OutputOf(const std::string& command) {
  const std::unique_ptr<FILE, decltype(&::pclose)> pipe(::popen(command.c_str(), "r"), &::pclose);
  std::string output;
  char buffer[4096];
  while (const std::size_t got = std::fread(buffer, 1, sizeof buffer, pipe.get()))
    output.append(buffer, got);
  return output;
}

EtcdNodes::EtcdNodes(std::size_t count, std::string tls)
    : EtcdNodes(std::vector<NodePlace>(count), std::move(tls)) {}

EtcdNodes::EtcdNodes(const std::vector<NodePlace>& places, std::string tls) : tls_(std::move(tls)) {
  for (int tries = 0; tries < 3; ++tries) {  // somebody may take a port meanwhile
    nodes_.clear();
    for (const NodePlace& place : places) {
      const int peer_port = place.peer_port != 0 ? place.peer_port : FreePort();
      nodes_.push_back({place, FreePort(), peer_port, 0});
    }
    for (std::size_t i = 0; i < nodes_.size(); ++i) Start(i);
    for (const auto end = Clock::now() + seconds(20); Clock::now() < end;) {
      if (IsUp()) return;
      std::this_thread::sleep_for(milliseconds(100));
    }
    StopAll();
  }
  throw std::runtime_error("etcd does not come up: " +
                           OutputOf("tail -n 5 " + scratch_.Path() + "/*.log"));
}

EtcdNodes::~EtcdNodes() { StopAll(); }

void EtcdNodes::StopAll() {
  for (std::size_t i = 0; i < nodes_.size(); ++i) Kill(i);
}

std::string EtcdNodes::Endpoints() const {
  std::string all;
  for (const Node& node : nodes_) {
    all += (all.empty() ? "" : ",") +
           Address(tls_.empty() ? "http" : "https", node.place.client_host, node.client_port);
  }
  return all;
}

std::string EtcdNodes::PeerAddress(const Node& node) {
  const int port = node.place.seen_as_peer_port;
  return Address("http", node.place.peer_host, port != 0 ? port : node.peer_port);
}

std::string EtcdNodes::Folder(std::size_t node) const { return scratch_.Path(NameOf(node)); }

void EtcdNodes::Start(std::size_t node) {
  const Node& own = nodes_[node];
  std::string cluster;
  for (std::size_t i = 0; i < nodes_.size(); ++i) {
    cluster += (i == 0 ? "" : ",") + NameOf(i) + "=" + PeerAddress(nodes_[i]);
  }
  const std::string client =
      Address(tls_.empty() ? "http" : "https", own.place.client_host, own.client_port);
  const std::string peer = Address("http", own.place.peer_host, own.peer_port);
  std::vector<std::string> words = own.place.through;
  words.insert(words.end(),
               {"etcd", "--name", NameOf(node), "--data-dir", Folder(node), "--logger", "zap",
                "--log-level", "error", "--listen-client-urls", client, "--advertise-client-urls",
                client, "--listen-peer-urls", peer, "--initial-advertise-peer-urls",
                PeerAddress(own), "--initial-cluster", cluster});
  if (!tls_.empty()) {
    for (const char* word : {"--client-cert-auth", "--trusted-ca-file", "ca.pem", "--cert-file",
                             "node.pem", "--key-file", "node.key"})
      words.push_back(word[0] == '-' ? word : tls_ + "/" + word);
  }
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const std::string log = scratch_.Path(NameOf(node) + ".log");
  const pid_t process = ::fork();
  if (process == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const int out = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    ::dup2(out, 1);
    ::dup2(out, 2);
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
  }
  if (process < 0) throw std::runtime_error("no process");
  nodes_[node].process = process;
}

void EtcdNodes::Kill(std::size_t node) {
  const pid_t process = std::exchange(nodes_[node].process, 0);
  if (process == 0) return;  // it would be everybody
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
}

bool EtcdNodes::IsAlive(std::size_t node) const {
  siginfo_t ended{};
  const pid_t process = nodes_[node].process;
  if (process == 0) return false;
  ::waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT);
  return ended.si_pid == 0;
}

void EtcdNodes::Pause(std::size_t node) { ::kill(nodes_[node].process, SIGSTOP); }
void EtcdNodes::Wake(std::size_t node) { ::kill(nodes_[node].process, SIGCONT); }

std::string EtcdNodes::Control(const std::string& arguments) const {
  std::string command = "ETCDCTL_API=3 etcdctl --command-timeout=2s --endpoints=" + Endpoints();
  if (!tls_.empty()) {
    command += " --cacert=" + tls_ + "/ca.pem --cert=" + tls_ + "/client.pem --key=" + tls_ +
               "/client.key";
  }
  return OutputOf(command + " " + arguments + " 2>&1");
}

bool EtcdNodes::IsUp() const {
  const std::string health = Control("endpoint health");
  std::size_t healthy = 0;
  for (auto at = health.find("is healthy"); at != health.npos;
       at = health.find("is healthy", at + 1))
    ++healthy;
  return healthy == nodes_.size();
}

std::size_t EtcdNodes::Leader() const {
  for (const auto end = Clock::now() + seconds(20); Clock::now() < end;) {
    const std::string status = Control("endpoint status --write-out=simple");
    // "ENDPOINT, ID, VERSION, SIZE, IS LEADER, ..."
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
      const auto line = status.find(":" + std::to_string(nodes_[i].client_port) + ", ");
      if (line == status.npos) continue;
      if (status.substr(line, status.find('\n', line) - line).find(", true, false") != status.npos)
        return i;
    }
    std::this_thread::sleep_for(milliseconds(100));
  }
  throw std::runtime_error("no node leads");
}

void EtcdNodes::LetLead(std::size_t node) const {
  for (const auto end = Clock::now() + seconds(20); Leader() != node;) {
    if (Clock::now() > end) throw std::runtime_error("a node does not take the lead");
    const std::string status = Control("endpoint status --write-out=simple");
    const auto line = status.find(":" + std::to_string(nodes_[node].client_port) + ", ");
    if (line == status.npos) continue;
    const auto id = status.find(", ", line) + 2;
    Control("move-leader " + status.substr(id, status.find(',', id) - id));
  }
}

void MakeCertificates(const std::string& folder) {
  const std::string made = OutputOf(
      "cd " + folder +
      " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2"
      " -subj /CN=authority -keyout ca.key -out ca.pem 2>&1"
      " && printf 'subjectAltName=IP:127.0.0.1' >san"
      " && for who in node client; do"
      "   openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes"
      "     -subj /CN=$who -keyout $who.key -out $who.csr 2>&1"
      "   && openssl x509 -req -in $who.csr -CA ca.pem -CAkey ca.key -CAcreateserial -days 2"
      "     -extfile san -out $who.pem 2>&1 || exit 1; done; echo done");
  if (!made.ends_with("done\n")) throw std::runtime_error("openssl fails: " + made);
}
