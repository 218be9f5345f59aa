// Collectives: the memberships in a user's record, and its primary one.

#include "core/entity.h"

#include <set>

using namespace ncc;

namespace {

using Memberships = std::list<CColAb>;

void AppendMemberships(const NetState& net, const TDBObjId& user, Memberships& list) {
  const PairList& pairs = RecordOf(net, user).Pairs();
  for (auto at = pairs.First(); at != kNoPosition; at = pairs.Next(at)) {
    const PairValue& value = pairs.At(at);
    list.push_back({{value.first, value.second}, value.kind});
  }
}

void AppendMemberships(const NetState& net, const TDBObjId& user, unsigned long dep,
                       Memberships& list) {
  AppendMemberships(net, user, list);
  list.remove_if([&](const CColAb& membership) { return membership.id.dep != dep; });
}

// Removes the memberships for which `ended` is true.
template <class Ended>
void RemoveMemberships(CHDBRecord& user, Ended ended) {
  for (auto at = user.Pairs().First(); at != kNoPosition; at = user.Pairs().Next(at)) {
    if (ended(user.Pairs().At(at))) user.RemovePair(at);
  }
}

void AppendNodes(const NetState& net, const CHDBRecord& dep, std::list<CCol>& list) {
  const CDepEntry entry = EntryOf<CDepEntry>(dep);
  const CHDBRecord* group = FindObject(net, entry.ngrp_id, kTypeNGrp);
  if (group == nullptr) return;
  WalkIds(*group, kNodesOfGroup, [&](const TDBObjId& node) {
    list.push_back({{entry.id, node.number}});
  });
}

// The Deps that list the user, ascending.
std::vector<const CHDBRecord*> DepsOf(const NetState& net, const TDBObjId& user) {
  std::vector<const CHDBRecord*> deps;
  for (const TDBObjId& parent : net.base->ParentLinkSelect(user)) {
    const CHDBRecord* dep = FindObject(net, parent.number, kTypeDep);
    if (dep != nullptr && OpenFolder(net, parent.number)->Find(user) != kNoPosition)
      deps.push_back(dep);
  }
  return deps;
}

// Brings the memberships of one Dep into line with `wanted`.
void Align(CHDBRecord& user, unsigned long dep_id, Memberships wanted, bool remove) {
  if (dep_id > 0xFFFFFFFF) return;  // nothing can be of such a Dep
  const auto dep = static_cast<std::uint32_t>(dep_id);
  std::set<std::uint32_t> missing;
  for (auto at = wanted.end(); at != wanted.begin();) {  // from the back: the last of equals counts
    --at;
    if (at->id.dep != dep || !missing.insert(at->id.node).second) at = wanted.erase(at);
  }
  std::map<std::uint32_t, std::uint8_t> kinds;
  for (const CColAb& element : wanted) kinds[element.id.node] = element.kind;
  for (auto at = user.Pairs().First(); at != kNoPosition; at = user.Pairs().Next(at)) {
    const PairValue stored = user.Pairs().At(at);
    if (stored.first != dep) continue;
    const auto found = kinds.find(stored.second);
    if (found != kinds.end()) {
      user.SetPairKind(at, found->second);
      missing.erase(stored.second);
    } else if (remove) {
      user.RemovePair(at);
    }
  }
  for (const CColAb& element : wanted) {
    if (missing.contains(element.id.node)) user.AppendPair({dep, element.id.node, element.kind});
  }
}

CColId PrimaryOf(const NetState& net, const TDBObjId& user) {
  return EntryOf<CABEntry>(RecordOf(net, user)).primary;
}

bool SetPrimary(const NetState& net, const TDBObjId& user, CColId collective) {
  const Entity entity = OpenEntity(net, user);
  CABEntry entry = EntryOf<CABEntry>(*entity.record);
  entry.primary = collective;
  ReplaceEntry(*entity.record, entry);
  return true;
}

}  // namespace

CColId CNCCNet::GetPrimaryCol(const char* user) {
  return Run(*state_, CColId{0, 0}, [&] { return PrimaryOf(*state_, RootObject(user, kTypeAB)); });
}

CColId CNCCNet::GetPrimaryCol(unsigned long user) {
  return Run(*state_, CColId{0, 0}, [&] { return PrimaryOf(*state_, RootObject(user, kTypeAB)); });
}

bool CNCCNet::SetPrimaryCol(const char* user, CColId collective) {
  return Run(*state_, false,
             [&] { return SetPrimary(*state_, RootObject(user, kTypeAB), collective); });
}

bool CNCCNet::SetPrimaryCol(unsigned long user, CColId collective) {
  return Run(*state_, false,
             [&] { return SetPrimary(*state_, RootObject(user, kTypeAB), collective); });
}

unsigned long CNCCNet::GetListAvailableColAb(const char* user, std::list<CColAb>& list) {
  return RunList(*state_, list,
                 [&] { AppendMemberships(*state_, RootObject(user, kTypeAB), list); });
}

unsigned long CNCCNet::GetListAvailableColAb(unsigned long user, std::list<CColAb>& list) {
  return RunList(*state_, list,
                 [&] { AppendMemberships(*state_, RootObject(user, kTypeAB), list); });
}

unsigned long CNCCNet::GetListAvailableColAb(const char* user, unsigned long dep,
                                             std::list<CColAb>& list) {
  return RunList(*state_, list,
                 [&] { AppendMemberships(*state_, RootObject(user, kTypeAB), dep, list); });
}

unsigned long CNCCNet::GetListAvailableColAb(unsigned long user, unsigned long dep,
                                             std::list<CColAb>& list) {
  return RunList(*state_, list,
                 [&] { AppendMemberships(*state_, RootObject(user, kTypeAB), dep, list); });
}

unsigned long CNCCNet::GetListAvailableColAb(unsigned long user, std::list<CCol>& list) {
  return RunList(*state_, list, [&] {
    Memberships memberships;
    AppendMemberships(*state_, RootObject(user, kTypeAB), memberships);
    for (const CColAb& membership : memberships) list.push_back({membership.id});
  });
}

void CNCCNet::SetListAvailableColAb(const char* user, unsigned long dep, std::list<CColAb> list,
                                    bool remove) {
  Run(*state_, false, [&] {
    const Entity entity = OpenEntity(*state_, RootObject(user, kTypeAB));
    Align(*entity.record, dep, std::move(list), remove);
    return true;
  });
}

void CNCCNet::SetListAvailableColAb(unsigned long user, unsigned long dep, std::list<CColAb> list,
                                    bool remove) {
  Run(*state_, false, [&] {
    const Entity entity = OpenEntity(*state_, RootObject(user, kTypeAB));
    Align(*entity.record, dep, std::move(list), remove);
    return true;
  });
}

unsigned long CNCCNet::GetListColAb(unsigned long user, std::list<CCol>& list) {
  return RunList(*state_, list, [&] {
    for (const CHDBRecord* dep : DepsOf(*state_, RootObject(user, kTypeAB))) {
      AppendNodes(*state_, *dep, list);
    }
  });
}

unsigned long CNCCNet::GetListColAb(unsigned long user, unsigned long dep, std::list<CCol>& list) {
  return RunList(*state_, list, [&] {
    const TDBObjId user_object = RootObject(user, kTypeAB);
    const TDBObjId dep_object = RootObject(dep, kTypeDep);
    if (OpenFolder(*state_, dep_object.number)->Find(user_object) == kNoPosition) return;
    AppendNodes(*state_, RecordOf(*state_, dep_object), list);
  });
}

void CNCCNet::AddCollective(CDepEntry dep, TRef<CHDBRecord>& user) {
  NetState& net = *state_;
  LockScope lock(net.lock);
  TDBObjId group;
  GetRootEntry(dep.ngrp_id, kTypeNGrp, group);
  // What counts is what its callbacks have left.
  OpenEntity(net, FolderOf(*user), kTypeAB);
  std::list<CCol> nodes;
  AppendNodes(net, *OpenEntity(net, {kFolderSpace, dep.id}, kTypeDep).record, nodes);
  for (const CCol& node : nodes) user->AppendPair({node.id.dep, node.id.node, 0});
}

void CNCCNet::DeleteCollectiveDep(TRef<CHDBFolder>& dep, TRef<CHDBFolder>& user) {
  LockScope lock(state_->lock);
  const std::uint32_t id = EntryOf<CDepEntry>(RecordOf(*state_, dep->Id())).id;
  RemoveMemberships(*OpenEntity(*state_, user->Id()).record,
                    [&](const PairValue& value) { return value.first == id; });
}

void CNCCNet::DeleteCollectiveNN(TRef<CHDBFolder>& node, TRef<CHDBFolder>& user) {
  LockScope lock(state_->lock);
  const std::uint32_t id = node->Number();
  RemoveMemberships(*OpenEntity(*state_, user->Id()).record,
                    [&](const PairValue& value) { return value.second == id; });
}
