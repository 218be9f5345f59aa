#include "network/values.h"

#include <list>

#include "console/failure.h"

namespace ncc::tool {
namespace {

// Every identifier of the tool has 32 bits; the library's overloads tell it from a name by the
// wider type.
unsigned long Wide(std::uint32_t id) { return id; }

// What a list query of the library gives; `query` is called with the list to fill.
template <class Query>
std::vector<Node> Collect(Query query) {
  std::list<CNNEntry> entries;
  query(entries);
  std::vector<Node> nodes;
  nodes.reserve(entries.size());
  for (const CNNEntry& entry : entries) nodes.push_back(NodeFrom(entry));
  return nodes;
}

}  // namespace

Node NodeFrom(const CNNEntry& entry) {
  Node node;
  node.name = entry.name;
  node.id = entry.id;
  node.number = entry.number;
  node.flags = entry.flags;
  node.ap_count = entry.ap_count;
  node.server_id = entry.server_id;
  node.value = entry.value;
  node.settings = entry.settings;
  node.is_server = entry.type == kTypeServer;
  return node;
}

Preferences ReadPreferences(CNCCNet& net) {
  const CNetPref& block = *net.Preferences();
  Preferences preferences;
  preferences.net_number = block.net_number;
  preferences.next_id = block.next_id;
  preferences.server_counter = block.server_counter;
  preferences.ngrp_counter = block.ngrp_counter;
  preferences.value_14 = block.value_14;
  preferences.value_20 = block.value_20;
  preferences.byte_12 = block.byte_12;
  preferences.node_settings = block.node_settings;
  preferences.byte_18 = block.byte_18;
  preferences.byte_19 = block.byte_19;
  return preferences;
}

void SetPreferences(CNCCNet& net, const Preferences& preferences) {
  CNetPref& block = *net.Preferences();
  block.byte_12 = preferences.byte_12;
  block.node_settings = preferences.node_settings;
  block.value_14 = preferences.value_14;
  block.byte_18 = preferences.byte_18;
  block.byte_19 = preferences.byte_19;
  block.value_20 = preferences.value_20;
}

std::optional<Node> NodeById(CNCCNet& net, std::uint32_t id) {
  CNNEntry entry;
  if (!net.GetNNInfo(id, entry)) return std::nullopt;
  return NodeFrom(entry);
}

Node Reload(CNCCNet& net, unsigned long id) {
  const auto node = NodeById(net, static_cast<std::uint32_t>(id));
  if (!node) throw Failure(std::string("the object cannot be read again: ") + net.LastError());
  return *node;
}

std::optional<Node> ServerByName(CNCCNet& net, const std::string& name) {
  CNNEntry entry;
  if (!net.GetServerInfo(name.c_str(), entry)) return std::nullopt;
  return NodeFrom(entry);
}

std::optional<Node> ApByName(CNCCNet& net, const std::string& name) {
  CNNEntry entry;
  if (!net.GetAPInfo(name.c_str(), entry)) return std::nullopt;
  return NodeFrom(entry);
}

std::vector<Node> ListServers(CNCCNet& net) {
  return Collect([&](auto& list) { net.GetListServer(list); });
}

std::vector<Node> ListLinked(CNCCNet& net, std::uint32_t server) {
  return Collect([&](auto& list) { net.GetListLinkedSrv(Wide(server), list); });
}

std::vector<Node> ListAps(CNCCNet& net) {
  return Collect([&](auto& list) { net.GetListAP(list); });
}

std::vector<Node> ListApsOf(CNCCNet& net, std::uint32_t server) {
  return Collect([&](auto& list) { net.GetListAP(Wide(server), list); });
}

}  // namespace ncc::tool
