// Collectives: the memberships in a user's record, and its primary one.

#include "structure/collectives.h"

#include "core/entry.h"
#include "core/links.h"
#include "core/operation.h"
#include "core/walk.h"
#include "structure/objects.h"

#include <map>
#include <set>
#include <utility>
#include <vector>

using namespace ncc;

namespace {

using Memberships = std::list<CColAb>;

void AppendMemberships(const CHDBRecord& user, Memberships& list) {
  const PairList& pairs = user.Pairs();
  for (auto at = pairs.First(); at != kNoPosition; at = pairs.Next(at)) {
    const PairValue& value = pairs.At(at);
    list.push_back({{value.first, value.second}, value.kind});
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

unsigned long ListMemberships(NetState& net, const ObjectKey& key, Memberships& list) {
  return RunList(net, list, [&] { AppendMemberships(KnownRecord(net, kTypeAB, key), list); });
}

unsigned long ListMembershipsOf(NetState& net, const ObjectKey& key, unsigned long dep,
                                Memberships& list) {
  ListMemberships(net, key, list);
  list.remove_if([&](const CColAb& membership) { return membership.id.dep != dep; });
  return list.size();
}

void SetMemberships(NetState& net, const ObjectKey& key, unsigned long dep, Memberships wanted,
                    bool remove) {
  Run(net, [&] {
    const Entity user = OpenEntity(net, Known(net, kTypeAB, key));
    Align(*user.record, dep, std::move(wanted), remove);
  });
}

CColId GetPrimary(NetState& net, const ObjectKey& key) {
  return Run(net, CColId{0, 0},
             [&] { return EntryOf<CABEntry>(KnownRecord(net, kTypeAB, key)).primary; });
}

bool SetPrimary(NetState& net, const ObjectKey& key, CColId collective) {
  return Run(net, [&] {
    const Entity user = OpenEntity(net, Known(net, kTypeAB, key));
    auto entry = EntryOf<CABEntry>(*user.record);
    entry.primary = collective;
    ReplaceEntry(*user.record, entry);
  });
}

}  // namespace

std::vector<const CHDBRecord*> ncc::DepsOf(const NetState& net, const TDBObjId& user) {
  std::vector<const CHDBRecord*> deps;
  for (const TDBObjId& parent : net.base->ParentLinkSelect(user)) {
    const CHDBRecord* dep = FindObject(net, parent.number, kTypeDep);
    if (dep != nullptr && dep->Find(user) != kNoPosition) deps.push_back(dep);
  }
  return deps;
}

void ncc::AddMemberships(NetState& net, const CDepEntry& dep, CHDBRecord& user) {
  const TDBObjId user_object = FolderOf(user);
  FindRootItem(net, kTypeNGrp, static_cast<unsigned long>(dep.ngrp_id));  // for its callbacks alone
  // What counts is what its callbacks have left.
  OpenEntity(net, user_object, kTypeAB);
  std::list<CCol> nodes;
  AppendNodes(net, *OpenEntity(net, {kFolderSpace, dep.id}, kTypeDep).record, nodes);
  for (const CCol& node : nodes) user.AppendPair({node.id.dep, node.id.node, 0});
}

void CNCCNet::AddCollective(CDepEntry dep, TRef<CHDBRecord>& user) {
  LockScope lock(state_->lock);
  AddMemberships(*state_, dep, *user);
}

CColId CNCCNet::GetPrimaryCol(const char* user) { return GetPrimary(*state_, user); }
CColId CNCCNet::GetPrimaryCol(unsigned long user) { return GetPrimary(*state_, user); }

bool CNCCNet::SetPrimaryCol(const char* user, CColId collective) {
  return SetPrimary(*state_, user, collective);
}
bool CNCCNet::SetPrimaryCol(unsigned long user, CColId collective) {
  return SetPrimary(*state_, user, collective);
}

unsigned long CNCCNet::GetListAvailableColAb(const char* user, std::list<CColAb>& list) {
  return ListMemberships(*state_, user, list);
}
unsigned long CNCCNet::GetListAvailableColAb(unsigned long user, std::list<CColAb>& list) {
  return ListMemberships(*state_, user, list);
}
unsigned long CNCCNet::GetListAvailableColAb(const char* user, unsigned long dep,
                                             std::list<CColAb>& list) {
  return ListMembershipsOf(*state_, user, dep, list);
}
unsigned long CNCCNet::GetListAvailableColAb(unsigned long user, unsigned long dep,
                                             std::list<CColAb>& list) {
  return ListMembershipsOf(*state_, user, dep, list);
}
unsigned long CNCCNet::GetListAvailableColAb(unsigned long user, std::list<CCol>& list) {
  return RunList(*state_, list, [&] {
    Memberships memberships;
    AppendMemberships(KnownRecord(*state_, kTypeAB, user), memberships);
    for (const CColAb& membership : memberships) list.push_back({membership.id});
  });
}

void CNCCNet::SetListAvailableColAb(const char* user, unsigned long dep, std::list<CColAb> list,
                                    bool remove) {
  SetMemberships(*state_, user, dep, std::move(list), remove);
}
void CNCCNet::SetListAvailableColAb(unsigned long user, unsigned long dep, std::list<CColAb> list,
                                    bool remove) {
  SetMemberships(*state_, user, dep, std::move(list), remove);
}

unsigned long CNCCNet::GetListColAb(unsigned long user, std::list<CCol>& list) {
  return RunList(*state_, list, [&] {
    for (const CHDBRecord* dep : DepsOf(*state_, Known(*state_, kTypeAB, user)))
      AppendNodes(*state_, *dep, list);
  });
}

unsigned long CNCCNet::GetListColAb(unsigned long user, unsigned long dep, std::list<CCol>& list) {
  return RunList(*state_, list, [&] {
    const TDBObjId user_object = Known(*state_, kTypeAB, user);
    const CHDBRecord& record = KnownRecord(*state_, kTypeDep, dep);
    if (OpenFolder(*state_, record.Number())->Find(user_object) != kNoPosition)
      AppendNodes(*state_, record, list);
  });
}
