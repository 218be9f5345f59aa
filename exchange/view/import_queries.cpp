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
int CopyFound(const RecordTable<Entry>& table, Which which, Entry& entry) {
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

// The query by identifier for what has this name among the records of a type; kTypeNone for a node:
// a server or, failing that, an AP.
template <class Query>
int ByName(const CImportNet& net, const char* name, unsigned long kind, Query query) {
  unsigned long id = 0;
  int result = net.GetIdFromName(name, kind == kTypeNone ? kTypeServer : kind, id);
  if (result != 0 && kind == kTypeNone) result = net.GetIdFromName(name, kTypeAP, id);
  return result != 0 ? result : query(id);
}

// Appends the nodes with all the flags of a mask, or with any of them.
int AppendNodesWith(unsigned long mask, bool all, const RecordTable<CNNEntry>& nodes,
                    std::list<CNNEntry>& list) {
  for (const CNNEntry& node : nodes.List()) {
    const unsigned long common = node.flags & mask;
    if (all ? common == mask : common != 0) AppendCopy(node, list);
  }
  return 0;
}

}  // namespace

int _CImportNet::GetNet() const { return static_cast<int>(state_->net); }

// What there is to ask of each kind of records.
#define RECORD_QUERIES(LIST, INFO, ENTRY, TABLE)                                      \
  const std::list<ENTRY>* _CImportNet::LIST() const { return &state_->TABLE.List(); } \
  int _CImportNet::LIST(std::list<ENTRY>& list) const {                               \
    return AppendAll(state_->TABLE.List(), list);                                     \
  }                                                                                   \
  int _CImportNet::INFO(const char* name, std::list<ENTRY>::reference entry) const {  \
    return CopyFound(state_->TABLE, name, entry);                                     \
  }                                                                                   \
  int _CImportNet::INFO(unsigned long id, std::list<ENTRY>::reference entry) const {  \
    return CopyFound(state_->TABLE, id, entry);                                       \
  }

RECORD_QUERIES(GetListAb, GetAbInfo, CABEntry, users)
RECORD_QUERIES(GetListAp, GetApInfo, CNNEntry, aps)
RECORD_QUERIES(GetListSm, GetSrvInfo, CNNEntry, servers)
RECORD_QUERIES(GetListDep, GetDepInfo, CDepEntry, deps)
RECORD_QUERIES(GetListNN, GetNNInfo, CNNEntry, nodes)
RECORD_QUERIES(GetListNGrp, GetNGrpInfo, CNGrpEntry, groups)
#undef RECORD_QUERIES

// The queries by name; those by identifier follow.
#define QUERY_BY_NAME(QUERY, KIND, ELEMENT)                                              \
  int _CImportNet::QUERY(const char* name, std::list<ELEMENT>& list) const {             \
    return ByName(*this, name, KIND, [&](unsigned long id) { return QUERY(id, list); }); \
  }

QUERY_BY_NAME(GetListAbFromNN, kTypeNone, CABEntry)
QUERY_BY_NAME(GetListDepFromNN, kTypeNone, CDepEntry)
QUERY_BY_NAME(GetListNGrpFromNN, kTypeNone, CNGrpEntry)
QUERY_BY_NAME(GetListApFromSrv, kTypeServer, CNNEntry)
QUERY_BY_NAME(GetListNNFromNGrp, kTypeNGrp, CNNEntry)
QUERY_BY_NAME(GetListDepFromNGrp, kTypeNGrp, CDepEntry)
QUERY_BY_NAME(GetListNOFromDep, kTypeDep, CNCCEntry)
QUERY_BY_NAME(GetListAbFromDep, kTypeDep, CABEntry)
QUERY_BY_NAME(GetListColAb, kTypeAB, CColAb)
#undef QUERY_BY_NAME

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

int _CImportNet::GetListAbFromNN(unsigned long node, std::list<CABEntry>& list) const {
  return AppendRecords(state_->users, state_->users_of_node.ValuesOf(node), list);
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
      if (position == RecordTable<CDepEntry>::kNone) return kExchangeDangling;
      positions.push_back(position);
    }
  }
  std::sort(positions.begin(), positions.end());
  positions.erase(std::unique(positions.begin(), positions.end()), positions.end());
  for (const std::uint32_t position : positions) AppendCopy(state.deps.At(position), list);
  return 0;
}

int _CImportNet::GetListNGrpFromNN(unsigned long node, std::list<CNGrpEntry>& list) const {
  return AppendRecords(state_->groups, state_->groups_of_node.ValuesOf(node), list);
}

int _CImportNet::GetListApFromSrv(unsigned long server, std::list<CNNEntry>& list) const {
  const auto* ids = Lookup(state_->server_links, server);
  return ids != nullptr ? AppendRecords(state_->aps, *ids, list) : 0;
}

int _CImportNet::GetListNNFromNGrp(unsigned long group, std::list<CNNEntry>& list) const {
  return AppendRecords(state_->aps, MembersOf(*state_, group, kMemberNode), list);
}

int _CImportNet::GetListDepFromNGrp(unsigned long group, std::list<CDepEntry>& list) const {
  return AppendRecords(state_->deps, MembersOf(*state_, group, kMemberDep), list);
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

int _CImportNet::GetListColAb(unsigned long user, std::list<CColAb>& list) const {
  if (const auto* memberships = GetListColAb(user)) {
    list.insert(list.end(), memberships->begin(), memberships->end());
  }
  return 0;
}

int _CImportNet::GetListAbFromDep(unsigned long dep, std::list<CABEntry>& list) const {
  return AppendRecords(state_->users, state_->users_of_dep.ValuesOf(dep), list);
}

int _CImportNet::GetListSrvInApp(unsigned long mask, std::list<CNNEntry>& list) const {
  return AppendNodesWith(mask, true, state_->servers, list);
}

int _CImportNet::GetListSrvInApp1(unsigned long mask, std::list<CNNEntry>& list) const {
  return AppendNodesWith(mask, false, state_->servers, list);
}

int _CImportNet::GetListApInApp(unsigned long mask, std::list<CNNEntry>& list) const {
  return AppendNodesWith(mask, true, state_->aps, list);
}

int _CImportNet::GetListApInApp1(unsigned long mask, std::list<CNNEntry>& list) const {
  return AppendNodesWith(mask, false, state_->aps, list);
}
