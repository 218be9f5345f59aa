#include "exchange/read/imported_net.h"

namespace ncc {

void ImportedNet::AppendDep(const CDepEntry& dep) {
  const std::uint32_t home = dep.ngrp_id;
  auto& deps_at = dep.kind == kTypeNGrp ? deps_at_group : deps_at_node;
  deps_at.emplace(home, deps.Append(dep));
}

void ImportedNet::AttachAps() {
  std::map<std::uint32_t, CNNEntry*> by_key;  // the first of several with one key
  for (std::uint32_t i = 0; i < servers.Size(); ++i) {
    by_key.try_emplace(std::uint32_t{servers.At(i).server_id}, &servers.At(i));
  }
  for (std::uint32_t i = 0; i < aps.Size(); ++i) {
    CNNEntry& ap = aps.At(i);
    const std::uint32_t key = ap.server_id;
    const auto found = by_key.find(key);
    if (found == by_key.end()) continue;
    ap.server_id = found->second->id;
    ++found->second->ap_count;
  }
  nodes.Reserve(servers.Size() + aps.Size());
  for (const CNNEntry& server : servers.List()) nodes.Append(server);
  for (const CNNEntry& ap : aps.List()) nodes.Append(ap);
}

void ImportedNet::LinkServers() {
  server_links.clear();
  for (const CNNEntry& ap : aps.List()) {
    const std::uint32_t server = ap.server_id;
    const std::uint32_t id = ap.id;
    if (servers.Find(server) != nullptr) server_links[server].push_back(id);
  }
}

void ImportedNet::ClearRecords() {
  users.Clear();
  nodes.Clear();
  aps.Clear();
  servers.Clear();
  deps.Clear();
  deps_at_node.clear();
  deps_at_group.clear();
  groups.Clear();
}

void ImportedNet::ClearUserLinks() {
  user_links.clear();
  users_of_node.Clear();
  users_of_dep.Clear();
}

void ImportedNet::ClearGroupLinks() {
  group_links.clear();
  groups_of_node.Clear();
  groups_of_dep.Clear();
}

}  // namespace ncc
