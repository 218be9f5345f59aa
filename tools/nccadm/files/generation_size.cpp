#include "files/generation_size.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <system_error>
#include <unordered_set>
#include <utility>

#include "console/text.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

// Sizes of lines and records, with their ends. The formats are in docs/file-formats.md.
constexpr std::uint64_t kNodeLine = 88;
constexpr std::uint64_t kMembershipLine = 31;  // and the name
constexpr std::uint64_t kPlaceLine = 22;       // and the name
constexpr std::uint64_t kLinkLine = 19;
constexpr std::uint64_t kApList = 133;
constexpr std::uint64_t kServerList = 104;  // and twice the digits of the id
constexpr std::uint64_t kRegistration = 106;
constexpr std::uint64_t kTunnelLine = 12;  // and the digits of the value
constexpr std::uint64_t kTunnelStamp = 21;
constexpr std::uint64_t kNameLine = 82;
constexpr std::uint64_t kUserLine = 66;
constexpr std::uint64_t kUserNodeLine = 19;
constexpr std::uint64_t kRolesFile = 22;
constexpr std::uint64_t kUserFile = 70;  // and 9 for a membership
constexpr std::uint64_t kApFile = 81;    // and 4 for a node group
constexpr std::uint64_t kPackageRecord = 17;

constexpr std::uint64_t kBlock = 4096;
constexpr std::uint64_t kSmallestShared = 64U << 10;

std::uint64_t RecordOf(std::uint64_t bytes) { return kPackageRecord + bytes; }

std::uint64_t RecordOfFile(const std::string& folder, const std::string& name) {
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) {
    if (FoldName(entry.path().filename().string()) != FoldName(name)) continue;
    const auto bytes = entry.file_size(error);
    return error ? 0 : RecordOf(bytes);
  }
  return 0;
}

void SortOnce(std::vector<std::uint32_t>& items) {
  std::sort(items.begin(), items.end());
  items.erase(std::unique(items.begin(), items.end()), items.end());
}

}  // namespace

void GenerationSize::Add(const GenerationSize& other) {
  files += other.files;
  bytes += other.bytes;
  disk += other.disk;
}

GenerationSize GenerationSize::Times(std::size_t count) const {
  return {files * count, bytes * count, count == 0 ? 0 : disk};
}

GenerationSizes::GenerationSizes(Network network, const std::string& database_folder, bool share)
    : network_(std::move(network)),
      share_(share),
      keys_size_(RecordOfFile(database_folder, "ipkeladr.doc")),
      external_size_(RecordOfFile(database_folder, "extnet.doc")) {
  for (const ServerView& server : network_.servers) {
    nodes_[server.entry.id] = &server.entry;
    for (const Object& ap : server.aps) nodes_[ap.id] = &ap;
  }
  IndexGroups();
  CountMemberships();
}

void GenerationSizes::IndexGroups() {
  const auto& groups = network_.groups;
  for (std::uint32_t i = 0; i < network_.deps.size(); ++i) {
    dep_index_[network_.deps[i].entry.id] = i;
  }
  groups_of_dep_.resize(network_.deps.size());
  for (std::uint32_t i = 0; i < groups.size(); ++i) {
    for (const std::uint32_t node : groups[i].nodes) groups_of_node_[node].push_back(i);
    for (const std::uint32_t dep : groups[i].deps) groups_of_dep_[dep_index_.at(dep)].push_back(i);
  }
  for (const GroupView& group : groups) {
    Groups& seen = seen_from_.emplace_back();
    const auto add = [&](std::uint32_t dep) {
      const Groups& its = groups_of_dep_[dep_index_.at(dep)];
      seen.insert(seen.end(), its.begin(), its.end());
    };
    for (const std::uint32_t dep : group.deps) {
      add(dep);
      for (const std::uint32_t linked : network_.deps[dep_index_.at(dep)].links) add(linked);
    }
    SortOnce(seen);
  }
}

void GenerationSizes::CountMemberships() {
  for (const UserView& user : network_.users) {
    const std::uint64_t line = kMembershipLine + user.entry.name.size();
    std::set<std::pair<std::uint32_t, std::uint32_t>> places;
    for (const Membership& membership : user.memberships)
      places.insert({membership.dep, membership.node});
    all_memberships_ += line * user.memberships.size();
    for (const auto& [dep, node] : places) memberships_at_[node] += line;
  }
}

void GenerationSizes::SeeNodesOf(const Groups& groups, Surroundings& found) {
  Groups seen;
  for (const std::uint32_t group : groups) {
    seen.insert(seen.end(), seen_from_[group].begin(), seen_from_[group].end());
  }
  SortOnce(seen);
  std::unordered_set<std::uint32_t> visible;
  for (const std::uint32_t group : seen) {
    for (const std::uint32_t id : network_.groups[group].nodes) {
      if (!visible.insert(id).second) continue;
      const Object& node = *nodes_.at(id);
      if (node.IsServer()) {
        found.servers += (node.flags & 0x8000) != 0 ? 1U : 0U;
      } else {
        found.plain += (node.flags & 0x0001) != 0 ? 1U : 0U;
        found.secure += (node.flags & 0x1000) != 0 ? 1U : 0U;
      }
    }
  }
}

// Each place of a Dep once; linked Deps at the nodes of groups that were not taken before.
void GenerationSizes::SumFilesOf(const Groups& groups, Surroundings& found) const {
  std::unordered_set<std::uint64_t> written;
  std::set<std::uint32_t> expanded;
  const auto place = [&](const DepView& dep, const GroupView& group) {
    for (const std::uint32_t node : group.nodes) {
      if (!written.insert(std::uint64_t{dep.entry.id} << 32 | node).second) continue;
      found.places += kPlaceLine + dep.entry.name.size();
    }
  };
  for (const std::uint32_t index : groups) {
    const GroupView& group = network_.groups[index];
    for (const std::uint32_t id : group.deps) {
      const DepView& dep = network_.deps[dep_index_.at(id)];
      found.links += kLinkLine * dep.links.size();
      place(dep, group);
      for (const std::uint32_t linked : dep.links) {
        const std::uint32_t other = dep_index_.at(linked);
        for (const std::uint32_t its : groups_of_dep_[other]) {
          if (expanded.insert(its).second) place(network_.deps[other], network_.groups[its]);
        }
      }
    }
  }
}

GenerationSizes::Surroundings& GenerationSizes::SurroundingsOf(std::uint32_t node) {
  const Groups& groups = groups_of_node_[node];
  const auto [found, is_new] = surroundings_.try_emplace(groups);
  if (is_new) {
    SeeNodesOf(groups, found->second);
    SumFilesOf(groups, found->second);
  }
  return found->second;
}

GenerationSizes::Directory GenerationSizes::DirectoryOf(const Object& ap) {
  constexpr std::size_t kAlways = 3;  // its server, the NCC, the KC
  const Surroundings& around = SurroundingsOf(ap.id);
  std::size_t lines = kAlways;
  if ((ap.flags & 0x0001) != 0) lines += around.plain;
  if ((ap.flags & 0x0400) != 0) ++lines;
  if ((ap.flags & 0x1000) != 0) lines += around.secure + around.servers;
  return {lines * kNodeLine, all_memberships_, around.places, around.links, kApList};
}

GenerationSizes::Map GenerationSizes::MapOf(const ServerView& server) {
  const Surroundings& around = SurroundingsOf(server.entry.id);
  const bool is_listed = (server.entry.flags & 0x8000) != 0;
  const std::size_t servers = network_.servers.size();
  const std::size_t neighbours = server.aps.size() + server.linked.size();
  const std::uint64_t padding = servers > 2 ? 4 * (servers - 2) : 0;
  return {36 + 63 * (neighbours + 1) + 4 + padding + 4 * server.linked.size(),
          is_listed ? kNodeLine * (around.secure + around.servers) : 0,
          memberships_at_[server.entry.id],
          kServerList + 2 * std::to_string(server.entry.id).size()};
}

// 0 when there are no tunnel files.
std::uint64_t GenerationSizes::Tunnels() const {
  std::uint64_t bytes = 0;
  for (const ServerView& server : network_.servers) {
    if (server.entry.value == 0) continue;
    bytes += kTunnelLine + std::to_string(server.entry.value).size();
  }
  return bytes == 0 ? 0 : bytes + kTunnelStamp;
}

std::uint64_t GenerationSizes::MatrixBytes() const {
  const std::uint64_t nodes = nodes_.size();
  return 20 + 13 * nodes + nodes * ((nodes + 7) / 8);
}

void GenerationSizes::Put(GenerationSize& size, std::uint64_t bytes, bool is_stored) const {
  const bool takes_room = !is_stored || !share_ || bytes < kSmallestShared;
  size.Add({1, bytes, takes_room ? (bytes + kBlock - 1) / kBlock * kBlock : 0});
}

GenerationSize GenerationSizes::Directories(const Choice& is_chosen) {
  GenerationSize size;
  for (const ServerView& server : network_.servers) {
    for (const Object& ap : server.aps) {
      if (!is_chosen(ap.id)) continue;
      const Directory directory = DirectoryOf(ap);
      bool& places_stored = SurroundingsOf(ap.id).places_stored;
      Put(size, directory.users, size.files > 0);
      Put(size, directory.places, std::exchange(places_stored, true));
      for (const std::uint64_t bytes : {directory.nodes, directory.links, directory.list}) {
        Put(size, bytes);
      }
      size.files += 3;  // that are empty
    }
  }
  return size;
}

GenerationSize GenerationSizes::Routes() {
  GenerationSize size;
  const std::uint64_t tunnels = Tunnels();
  for (const ServerView& server : network_.servers) {
    Put(size, MapOf(server).map);
    Put(size, kRegistration);
    if (tunnels != 0) Put(size, tunnels, size.files > 2);
  }
  return size;
}

GenerationSize GenerationSizes::Maps(const Choice& is_chosen) {
  GenerationSize size;
  for (const ServerView& server : network_.servers) {
    if (!is_chosen(server.entry.id)) continue;
    const Map map = MapOf(server);
    for (const std::uint64_t bytes : {map.nodes, map.users, map.list}) Put(size, bytes);
  }
  return size;
}

GenerationSize GenerationSizes::KeyCentre() {
  GenerationSize size;
  std::uint64_t pairs = 0;
  for (const UserView& user : network_.users) {
    std::set<std::uint32_t> nodes;
    for (const Membership& membership : user.memberships) nodes.insert(membership.node);
    pairs += nodes.size();
    Put(size, kUserFile + 9 * user.memberships.size());
  }
  for (const auto& [id, node] : nodes_) {
    if (!node->IsServer()) Put(size, kApFile + 4 * groups_of_node_[id].size());
  }
  const std::uint64_t names = nodes_.size() + network_.groups.size() + 1;
  for (const std::uint64_t bytes : {kUserLine * network_.users.size(), std::uint64_t{0}, kRolesFile,
                                    kUserNodeLine * pairs, kNameLine * names, MatrixBytes()}) {
    Put(size, bytes);
  }
  return size;
}

GenerationSize GenerationSizes::NodeMatrix() const {
  GenerationSize size;
  Put(size, MatrixBytes());
  return size;
}

GenerationSize GenerationSizes::Packages(bool is_short, const Choice& is_chosen) {
  GenerationSize size;
  const std::uint64_t others = keys_size_ + (is_short ? external_size_ : 0);
  const std::uint64_t tunnels = Tunnels();
  for (const ServerView& server : network_.servers) {
    if (is_chosen(server.entry.id)) {
      const Map map = MapOf(server);
      std::uint64_t bytes = others + RecordOf(kRegistration) + RecordOf(MatrixBytes());
      for (const std::uint64_t file : {map.map, map.nodes, map.users, map.list}) {
        bytes += RecordOf(file);
      }
      Put(size, bytes + (tunnels == 0 ? 0 : RecordOf(tunnels)));
    }
    for (const Object& ap : server.aps) {
      if (!is_chosen(ap.id)) continue;
      const Directory directory = DirectoryOf(ap);
      std::uint64_t bytes = others + RecordOf(0);
      for (const std::uint64_t file :
           {directory.nodes, directory.users, directory.places, directory.list}) {
        bytes += RecordOf(file);
      }
      if (!is_short) bytes += RecordOf(directory.links) + 2 * RecordOf(0);
      Put(size, bytes);
    }
  }
  return size;
}

}  // namespace ncc::tool
