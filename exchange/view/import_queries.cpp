// What a view answers.

#include "nccnet/import_net.h"

#include "exchange/read/imported_net.h"

#include <algorithm>
#include <cstring>

using namespace ncc;

namespace {

// Appends a copy, byte for byte.
template <class Entry>
void AppendCopy(const Entry& entry, std::list<Entry>& list) {
  list.emplace_back() = entry;
}

template <class Entry>
int AppendAll(const std::list<Entry>& from, std::list<Entry>& list) {
  for (const Entry& entry : from) AppendCopy(entry, list);
  return 0;
}

template <class Entry, class Which>
int Take(const RecordTable<Entry>& table, Which which, Entry& entry) {
  const Entry* found = table.Find(which);
  if (found == nullptr) return kExchangeNotFound;
  entry = *found;
  return 0;
}

// Appends the records of identifiers, up to the first that is not there.
template <class Entry, class Ids>
int AppendRecords(const RecordTable<Entry>& table, const Ids& ids, std::list<Entry>& list) {
  for (const std::uint32_t id : ids) {
    const Entry* found = table.Find(id);
    if (found == nullptr) return kExchangeDangling;
    AppendCopy(*found, list);
  }
  return 0;
}

// The value of a key; null when there is none.
template <class Value>
const Value* Lookup(const std::map<std::uint32_t, Value>& table, unsigned long key) {
  if (key > UINT32_MAX) return nullptr;
  const auto found = table.find(static_cast<std::uint32_t>(key));
  return found != table.end() ? &found->second : nullptr;
}

// Members of one kind.
std::vector<std::uint32_t> MembersOf(const ImportState& state, unsigned long group,
                                     std::uint8_t kind) {
  std::vector<std::uint32_t> ids;
  if (const auto* members = Lookup(state.group_links, group)) {
    for (const GroupMember& member : *members) {
      if (member.kind == kind) ids.push_back(member.id);
    }
  }
  return ids;
}

// Calls visit(table) for the records of a type; false for a type that has none.
template <class Visit>
bool VisitTable(const ImportState& state, unsigned long kind, Visit visit) {
  switch (kind) {
    case kTypeServer:
      visit(state.servers);
      return true;
    case kTypeAP:
      visit(state.aps);
      return true;
    case kTypeDep:
      visit(state.deps);
      return true;
    case kTypeAB:
      visit(state.users);
      return true;
    case kTypeNGrp:
      visit(state.groups);
      return true;
    default:
      return false;
  }
}

// The record of a type and identifier; null when there is none.
const CNCCEntry* FindRecord(const ImportState& state, unsigned long kind, unsigned long id) {
  const CNCCEntry* found = nullptr;
  VisitTable(state, kind, [&](const auto& table) { found = table.Find(id); });
  return found;
}

// The query by identifier for what has this name among the records of a type.
template <class Query>
int ByName(const CImportNet& net, const char* name, unsigned long kind, Query query) {
  unsigned long id = 0;
  const int result = net.GetIdFromName(name, kind, id);
  return result != 0 ? result : query(id);
}

// The same for a node: a server or, failing that, an AP.
template <class Query>
int ByNodeName(const CImportNet& net, const char* name, Query query) {
  unsigned long id = 0;
  if (net.GetIdFromName(name, kTypeServer, id) == 0) return query(id);
  return ByName(net, name, kTypeAP, query);
}

template <class Keep>
int AppendNodes(const std::list<CNNEntry>& nodes, std::list<CNNEntry>& list, Keep keep) {
  for (const CNNEntry& node : nodes) {
    if (keep(node.flags)) AppendCopy(node, list);
  }
  return 0;
}

auto HasAll(unsigned long mask) {
  return [mask](std::uint32_t flags) { return (flags & mask) == mask; };
}

auto HasAny(unsigned long mask) {
  return [mask](std::uint32_t flags) { return (flags & mask) != 0; };
}

}  // namespace

int _CImportNet::GetNet() const { return static_cast<int>(state_->net); }

const std::list<CABEntry>* _CImportNet::GetListAb() const { return &state_->users.List(); }
const std::list<CNNEntry>* _CImportNet::GetListAp() const { return &state_->aps.List(); }
const std::list<CNNEntry>* _CImportNet::GetListSm() const { return &state_->servers.List(); }
const std::list<CDepEntry>* _CImportNet::GetListDep() const { return &state_->deps.List(); }
const std::list<CNNEntry>* _CImportNet::GetListNN() const { return &state_->nodes.List(); }
const std::list<CNGrpEntry>* _CImportNet::GetListNGrp() const { return &state_->groups.List(); }

int _CImportNet::GetListAb(std::list<CABEntry>& list) const {
  return AppendAll(state_->users.List(), list);
}
int _CImportNet::GetListAp(std::list<CNNEntry>& list) const {
  return AppendAll(state_->aps.List(), list);
}
int _CImportNet::GetListSm(std::list<CNNEntry>& list) const {
  return AppendAll(state_->servers.List(), list);
}
int _CImportNet::GetListDep(std::list<CDepEntry>& list) const {
  return AppendAll(state_->deps.List(), list);
}
int _CImportNet::GetListNN(std::list<CNNEntry>& list) const {
  return AppendAll(state_->nodes.List(), list);
}
int _CImportNet::GetListNGrp(std::list<CNGrpEntry>& list) const {
  return AppendAll(state_->groups.List(), list);
}

int _CImportNet::GetGateInfo(unsigned long& second, unsigned long& first, char* name) const {
  const ImportedGate& gate = state_->gate;
  second = gate.second;
  first = gate.first;
  if (name != nullptr) std::memcpy(name, gate.name.data(), gate.name.size());
  return 0;
}

int _CImportNet::GetIdFromName(const char* name, unsigned long kind, unsigned long& id) const {
  const CNCCEntry* found = nullptr;
  VisitTable(*state_, kind, [&](const auto& table) { found = table.Find(name); });
  if (found == nullptr) return kExchangeNotFound;
  id = found->id;
  return 0;
}

int _CImportNet::GetNameFromId(unsigned long id, unsigned long kind, char* name) const {
  const CNCCEntry* found = FindRecord(*state_, kind, id);
  if (found == nullptr) return kExchangeNotFound;
  if (name != nullptr) std::memcpy(name, found->name, sizeof(found->name));
  return 0;
}

int _CImportNet::GetAbInfo(const char* name, CABEntry& entry) const {
  return Take(state_->users, name, entry);
}
int _CImportNet::GetAbInfo(unsigned long id, CABEntry& entry) const {
  return Take(state_->users, id, entry);
}
int _CImportNet::GetApInfo(const char* name, CNNEntry& entry) const {
  return Take(state_->aps, name, entry);
}
int _CImportNet::GetApInfo(unsigned long id, CNNEntry& entry) const {
  return Take(state_->aps, id, entry);
}
int _CImportNet::GetDepInfo(const char* name, CDepEntry& entry) const {
  return Take(state_->deps, name, entry);
}
int _CImportNet::GetDepInfo(unsigned long id, CDepEntry& entry) const {
  return Take(state_->deps, id, entry);
}
int _CImportNet::GetSrvInfo(const char* name, CNNEntry& entry) const {
  return Take(state_->servers, name, entry);
}
int _CImportNet::GetSrvInfo(unsigned long id, CNNEntry& entry) const {
  return Take(state_->servers, id, entry);
}
int _CImportNet::GetNNInfo(const char* name, CNNEntry& entry) const {
  return Take(state_->nodes, name, entry);
}
int _CImportNet::GetNNInfo(unsigned long id, CNNEntry& entry) const {
  return Take(state_->nodes, id, entry);
}
int _CImportNet::GetNGrpInfo(const char* name, CNGrpEntry& entry) const {
  return Take(state_->groups, name, entry);
}
int _CImportNet::GetNGrpInfo(unsigned long id, CNGrpEntry& entry) const {
  return Take(state_->groups, id, entry);
}

int _CImportNet::GetListAbFromNN(const char* node, std::list<CABEntry>& list) const {
  return ByNodeName(*this, node, [&](unsigned long id) { return GetListAbFromNN(id, list); });
}

int _CImportNet::GetListAbFromNN(unsigned long node, std::list<CABEntry>& list) const {
  return AppendRecords(state_->users, state_->users_of_node.ValuesOf(node), list);
}

int _CImportNet::GetListDepFromNN(const char* node, std::list<CDepEntry>& list) const {
  return ByNodeName(*this, node, [&](unsigned long id) { return GetListDepFromNN(id, list); });
}

int _CImportNet::GetListDepFromNN(unsigned long node, std::list<CDepEntry>& list) const {
  const ImportState& state = *state_;
  if (node > UINT32_MAX) return 0;
  std::vector<std::uint32_t> positions;
  const auto add_homed = [&](const auto& deps_at, std::uint32_t home) {
    const auto [first, last] = deps_at.equal_range(home);
    for (auto at = first; at != last; ++at) positions.push_back(at->second);
  };
  add_homed(state.deps_at_node, static_cast<std::uint32_t>(node));
  for (const std::uint32_t group : state.groups_of_node.ValuesOf(node)) {
    add_homed(state.deps_at_group, group);
    for (const std::uint32_t dep : MembersOf(state, group, kMemberDep)) {
      const std::uint32_t position = state.deps.PositionOf(dep);
      if (position == HashIndex::kNone) return kExchangeDangling;
      positions.push_back(position);
    }
  }
  std::sort(positions.begin(), positions.end());
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
  for (const std::uint32_t position : positions) AppendCopy(state.deps.At(position), list);
  return 0;
}

int _CImportNet::GetListNGrpFromNN(const char* node, std::list<CNGrpEntry>& list) const {
  return ByNodeName(*this, node, [&](unsigned long id) { return GetListNGrpFromNN(id, list); });
}

int _CImportNet::GetListNGrpFromNN(unsigned long node, std::list<CNGrpEntry>& list) const {
  return AppendRecords(state_->groups, state_->groups_of_node.ValuesOf(node), list);
}

int _CImportNet::GetListApFromSrv(const char* server, std::list<CNNEntry>& list) const {
  return ByName(*this, server, kTypeServer,
                [&](unsigned long id) { return GetListApFromSrv(id, list); });
}

int _CImportNet::GetListApFromSrv(unsigned long server, std::list<CNNEntry>& list) const {
  const auto* ids = Lookup(state_->server_links, server);
  return ids != nullptr ? AppendRecords(state_->aps, *ids, list) : 0;
}

int _CImportNet::GetListNNFromNGrp(const char* group, std::list<CNNEntry>& list) const {
  return ByName(*this, group, kTypeNGrp,
                [&](unsigned long id) { return GetListNNFromNGrp(id, list); });
}

int _CImportNet::GetListNNFromNGrp(unsigned long group, std::list<CNNEntry>& list) const {
  return AppendRecords(state_->aps, MembersOf(*state_, group, kMemberNode), list);
}

int _CImportNet::GetListDepFromNGrp(const char* group, std::list<CDepEntry>& list) const {
  return ByName(*this, group, kTypeNGrp,
                [&](unsigned long id) { return GetListDepFromNGrp(id, list); });
}

int _CImportNet::GetListDepFromNGrp(unsigned long group, std::list<CDepEntry>& list) const {
  return AppendRecords(state_->deps, MembersOf(*state_, group, kMemberDep), list);
}

int _CImportNet::GetListNOFromDep(const char* dep, std::list<CNCCEntry>& list) const {
  return ByName(*this, dep, kTypeDep, [&](unsigned long id) { return GetListNOFromDep(id, list); });
}

int _CImportNet::GetListNOFromDep(unsigned long dep, std::list<CNCCEntry>& list) const {
  const ImportState& state = *state_;
  const CNCCEntry* home = nullptr;
  if (const CDepEntry* found = state.deps.Find(dep)) {
    home = FindRecord(state, found->kind, found->ngrp_id);
    if (home == nullptr) return kExchangeDangling;
    AppendCopy(*home, list);
  }
  for (const std::uint32_t id : state.groups_of_dep.ValuesOf(dep)) {
    const CNCCEntry* group = state.groups.Find(id);
    if (group == nullptr) return kExchangeDangling;
    if (group != home) AppendCopy(*group, list);
  }
  return 0;
}

int _CImportNet::GetListDepInLinks(std::list<tag_WORD4>& list) const {
  for (const auto& [key, linked] : state_->dep_links) {
    list.push_back({static_cast<std::uint32_t>(key >> 32), static_cast<std::uint32_t>(key)});
  }
  return 0;
}

int _CImportNet::GetListLinkedDep(const char* dep, std::list<tag_WORD4>& list) const {
  return ByName(*this, dep, kTypeDep, [&](unsigned long id) {
    return GetListLinkedDep(tag_WORD4{state_->net, static_cast<std::uint32_t>(id)}, list);
  });
}

const std::list<tag_WORD4>* _CImportNet::GetListLinkedDep(tag_WORD4 dep) const {
  const auto found = state_->dep_links.find(ImportedNet::PairKey(dep.first, dep.second));
  return found != state_->dep_links.end() ? &found->second : nullptr;
}

int _CImportNet::GetListLinkedDep(tag_WORD4 dep, std::list<tag_WORD4>& list) const {
  if (const auto* linked = GetListLinkedDep(dep)) {
    list.insert(list.end(), linked->begin(), linked->end());
  }
  return 0;
}

const std::list<CColAb>* _CImportNet::GetListColAb(unsigned long user) const {
  return Lookup(state_->user_links, user);
}

int _CImportNet::GetListColAb(const char* user, std::list<CColAb>& list) const {
  return ByName(*this, user, kTypeAB, [&](unsigned long id) { return GetListColAb(id, list); });
}

int _CImportNet::GetListColAb(unsigned long user, std::list<CColAb>& list) const {
  if (const auto* memberships = GetListColAb(user)) {
    list.insert(list.end(), memberships->begin(), memberships->end());
  }
  return 0;
}

int _CImportNet::GetListAbFromDep(const char* dep, std::list<CABEntry>& list) const {
  return ByName(*this, dep, kTypeDep, [&](unsigned long id) { return GetListAbFromDep(id, list); });
}

int _CImportNet::GetListAbFromDep(unsigned long dep, std::list<CABEntry>& list) const {
  return AppendRecords(state_->users, state_->users_of_dep.ValuesOf(dep), list);
}

int _CImportNet::GetListSrvInApp(unsigned long mask, std::list<CNNEntry>& list) const {
  return AppendNodes(state_->servers.List(), list, HasAll(mask));
}

int _CImportNet::GetListSrvInApp1(unsigned long mask, std::list<CNNEntry>& list) const {
  return AppendNodes(state_->servers.List(), list, HasAny(mask));
}

int _CImportNet::GetListApInApp(unsigned long mask, std::list<CNNEntry>& list) const {
  return AppendNodes(state_->aps.List(), list, HasAll(mask));
}

int _CImportNet::GetListApInApp1(unsigned long mask, std::list<CNNEntry>& list) const {
  return AppendNodes(state_->aps.List(), list, HasAny(mask));
}
