#include "cluster/machines.h"

#include <arpa/inet.h>
#include <algorithm>
#include <filesystem>
#include <set>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "console/failure.h"
#include "console/program.h"
#include "console/text.h"
#include "files/files.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOpenssl = "openssl";
constexpr const char* kForms =
    "Give HOST, HOST:PORT or HOST:PORT:PEER_PORT, such as ncc1.example.org.";

bool IsHost(const std::string& text) {
  return !text.empty() && text.front() != '-' && text.front() != '.' &&
         std::all_of(text.begin(), text.end(), [](char c) {
           return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                  c == '.' || c == '-';
         });
}

bool IsAddress(const std::string& host) {
  in_addr address{};
  return inet_pton(AF_INET, host.c_str(), &address) == 1;
}

// No name of a machine ends in a number, and no part of one is longer.
bool IsName(const std::string& host) {
  constexpr std::size_t kLongestPart = 63;
  std::size_t start = 0;
  for (std::size_t end = 0; end != std::string::npos; start = end + 1) {
    end = host.find('.', start);
    const std::size_t length = (end == std::string::npos ? host.size() : end) - start;
    if (length == 0 || length > kLongestPart) return false;
  }
  const std::size_t last = host.rfind('.') + 1;
  return host.find_first_not_of("0123456789", last) != std::string::npos;
}

std::uint16_t ParsePort(const std::string& text, const std::string& machine) {
  const auto port = ParseNumber(text, 65535);
  if (!port || *port == 0)
    throw Failure(fmt::format("\"{}\" in \"{}\" is no port", text, machine), kForms, kExitUsage);
  return static_cast<std::uint16_t>(*port);
}

Machine ParseMachine(const std::string& text) {
  Machine machine;
  std::vector<std::string> parts;
  std::size_t start = 0;
  for (std::size_t end = 0; end != std::string::npos; start = end + 1) {
    end = text.find(':', start);
    parts.push_back(text.substr(start, end == std::string::npos ? end : end - start));
  }
  machine.host = parts[0];
  const bool is_machine = IsHost(machine.host) && (IsAddress(machine.host) || IsName(machine.host));
  if (!is_machine || parts.size() > 3) {
    throw Failure(fmt::format("\"{}\" names no machine", text), kForms, kExitUsage);
  }
  if (parts.size() > 1) machine.port = ParsePort(parts[1], text);
  if (parts.size() > 2) {
    machine.peer_port = ParsePort(parts[2], text);
  } else if (machine.port == 65535) {
    throw Failure(fmt::format("\"{}\" leaves no port for its peers", text), kForms, kExitUsage);
  } else if (parts.size() > 1) {
    machine.peer_port = static_cast<std::uint16_t>(machine.port + 1);
  }
  return machine;
}

// A key and a certificate of whoever `subject` is, "NAME.key" and "NAME.crt" in the folder, signed
// by the authority "ca.crt" of `authority`.
void Certify(const fs::path& authority, const fs::path& folder, const std::string& name,
             const std::string& subject, const std::string& uses, const std::string& host,
             unsigned days) {
  const std::string request = (folder / (name + ".csr")).string();
  std::vector<std::string> ask = {kOpenssl,
                                  "req",
                                  "-newkey",
                                  "ec",
                                  "-pkeyopt",
                                  "ec_paramgen_curve:prime256v1",
                                  "-nodes",
                                  "-subj",
                                  "/CN=" + subject,
                                  "-addext",
                                  "extendedKeyUsage=" + uses,
                                  "-keyout",
                                  (folder / (name + ".key")).string(),
                                  "-out",
                                  request};
  if (!host.empty()) {
    ask.insert(ask.end(), {"-addext", fmt::format("subjectAltName={}:{}",
                                                  IsAddress(host) ? "IP" : "DNS", host)});
  }
  RunProgram(ask, kOpenssl);
  RunProgram(
      {kOpenssl, "x509", "-req", "-in", request, "-CA", (authority / "ca.crt").string(), "-CAkey",
       (authority / "ca.key").string(), "-CAcreateserial", "-days", std::to_string(days),
       "-copy_extensions", "copy", "-out", (folder / (name + ".crt")).string()},
      kOpenssl);
  fs::remove(request);
  fs::copy_file(authority / "ca.crt", folder / "ca.crt", fs::copy_options::overwrite_existing);
}

// The settings of one machine's service, as its environment takes them.
std::string SettingsOf(const ClusterPlan& plan, const Machine& machine) {
  std::vector<std::string> peers;
  for (const Machine& one : plan.machines) {
    peers.push_back(fmt::format("{}={}", one.name, one.PeerUrl()));
  }
  const std::string listen = IsAddress(machine.host) ? machine.host : "0.0.0.0";
  return fmt::format(
      "ETCD_NAME={0}\n"
      "ETCD_DATA_DIR=/var/lib/etcd/nccnet-{7}\n"
      "ETCD_LISTEN_PEER_URLS=https://{1}:{2}\n"
      "ETCD_LISTEN_CLIENT_URLS=https://{1}:{3}\n"
      "ETCD_INITIAL_ADVERTISE_PEER_URLS={4}\n"
      "ETCD_ADVERTISE_CLIENT_URLS={5}\n"
      "ETCD_INITIAL_CLUSTER={6}\n"
      "ETCD_INITIAL_CLUSTER_STATE=new\n"
      "ETCD_INITIAL_CLUSTER_TOKEN=nccnet-{7}\n"
      "ETCD_CERT_FILE={8}/server.crt\n"
      "ETCD_KEY_FILE={8}/server.key\n"
      "ETCD_TRUSTED_CA_FILE={8}/ca.crt\n"
      "ETCD_CLIENT_CERT_AUTH=true\n"
      "ETCD_PEER_CERT_FILE={8}/server.crt\n"
      "ETCD_PEER_KEY_FILE={8}/server.key\n"
      "ETCD_PEER_TRUSTED_CA_FILE={8}/ca.crt\n"
      "ETCD_PEER_CLIENT_CERT_AUTH=true\n",
      machine.name, listen, machine.peer_port, machine.port, machine.PeerUrl(), machine.ClientUrl(),
      fmt::join(peers, ","), plan.name, plan.etc);
}

// The file that stands where the database's own would.
std::string ClusterFileOf(const ClusterPlan& plan) {
  std::vector<std::string> endpoints;
  for (const Machine& machine : plan.machines) endpoints.push_back(machine.ClientUrl());
  return fmt::format(
      "engine = etcd\n"
      "endpoints = {}\n"
      "ca = ca.crt\n"
      "certificate = client.crt\n"
      "key = client.key\n"
      "lease = {}\n",
      fmt::join(endpoints, " "), plan.lease);
}

}  // namespace

std::string Machine::ClientUrl() const { return fmt::format("https://{}:{}", host, port); }
std::string Machine::PeerUrl() const { return fmt::format("https://{}:{}", host, peer_port); }

std::vector<Machine> ParseMachines(const std::vector<std::string>& texts) {
  std::vector<Machine> machines;
  std::set<std::string> names = {"authority", "centre"};  // folders beside theirs
  std::set<std::string> places;
  for (const std::string& text : texts) {
    Machine machine = ParseMachine(text);
    machine.name = machine.host;
    if (!names.insert(machine.name).second) {
      machine.name = fmt::format("{}-{}", machine.host, machine.port);
      names.insert(machine.name);
    }
    for (const std::uint16_t port : {machine.port, machine.peer_port}) {
      if (!places.insert(fmt::format("{}:{}", machine.host, port)).second) {
        throw Failure(fmt::format("port {} of {} is given twice", port, machine.host), kForms,
                      kExitUsage);
      }
    }
    machines.push_back(std::move(machine));
  }
  if (machines.size() % 2 == 0 || machines.size() > 7) {
    throw Failure(
        fmt::format("{} machines are no good number", machines.size()),
        "Three go on when one fails, five when two do; of an even number no more may fail than of "
        "one less. One is for trying.",
        kExitUsage);
  }
  return machines;
}

namespace {

void WriteFolders(const ClusterPlan& plan, const fs::path& root) {
  const fs::path authority = root / "authority";
  MakePrivateFolder(authority.string());
  RunProgram({kOpenssl, "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
              "-nodes", "-days", std::to_string(plan.days), "-subj", "/CN=nccnet authority",
              "-keyout", (authority / "ca.key").string(), "-out", (authority / "ca.crt").string()},
             kOpenssl);
  for (const Machine& machine : plan.machines) {
    const fs::path own = root / machine.name;
    MakePrivateFolder(own.string());
    Certify(authority, own, "server", "nccnet server", "serverAuth,clientAuth", machine.host,
            plan.days);
    WriteFile((own / "etcd").string(), SettingsOf(plan, machine));
  }
  const fs::path centre = root / "centre";
  MakePrivateFolder(centre.string());
  Certify(authority, centre, "client", "nccadm", "clientAuth", {}, plan.days);
  WriteFile((centre / (plan.name + ".cluster")).string(), ClusterFileOf(plan));
}

}  // namespace

void WriteCluster(const ClusterPlan& plan, const std::string& folder) {
  const fs::path root = folder;
  if (fs::exists(root))
    throw Failure(fmt::format("{} is there already", Printable(folder)),
                  "Keys in it may be in use. Give another folder with --out.");
  try {
    WriteFolders(plan, root);
  } catch (...) {
    std::error_code error;
    fs::remove_all(root, error);
    throw;
  }
}

}  // namespace ncc::tool
