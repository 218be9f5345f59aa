#include "network/objects.h"

#include <list>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "console/nearest.h"
#include "console/text.h"
#include "network/reference.h"

namespace ncc::tool {
namespace {

// The library's overloads tell an identifier from a name by the wider type.
unsigned long Wide(std::uint32_t id) { return id; }

Object HeadFrom(Kind kind, const CNCCEntry& entry) {
  Object object;
  object.kind = kind;
  object.name = entry.name;
  object.id = entry.id;
  return object;
}

// What a list query of the library gives; `query` is called with the list to fill.
template <class Entry, class Query>
std::vector<Object> Collect(Query query) {
  std::list<Entry> entries;
  query(entries);
  std::vector<Object> objects;
  objects.reserve(entries.size());
  for (const Entry& entry : entries) objects.push_back(ObjectFrom(entry));
  return objects;
}

struct Words {
  const char* key;
  const char* keys;
  const char* word;
  const char* words;
};

const Words& WordsOf(Kind kind) {
  static constexpr Words kUser = {"user", "users", "user", "users"};
  static constexpr Words kDep = {"dep", "deps", "Dep", "Deps"};
  static constexpr Words kGroup = {"group", "groups", "node group", "node groups"};
  if (kind == Kind::kUser) return kUser;
  return kind == Kind::kDep ? kDep : kGroup;
}

Failure Unknown(const std::string& text, Kind kind, const std::vector<Object>& candidates) {
  std::vector<std::string> names;
  names.reserve(candidates.size());
  for (const Object& object : candidates) names.push_back(object.name);
  const std::string closest = ClosestMatch(BytesFromUtf8(text).value_or(text), names);
  return Failure(fmt::format("there is no {} named \"{}\"", WordOf(kind), text),
                 closest.empty()
                     ? fmt::format("'nccadm {} list' shows the names that exist.", KeyOf(kind))
                     : fmt::format("Did you mean \"{}\"?", PrintableName(closest)));
}

Failure Ambiguous(const std::string& text, Kind kind, const std::vector<Object>& found) {
  std::vector<std::string> ids;
  ids.reserve(found.size());
  for (const Object& object : found) ids.push_back(fmt::format("id:{}", object.id));
  return Failure(fmt::format("{} are named \"{}\"", CountOf(found.size(), kind), text),
                 fmt::format("Give the id of the one that is meant: {}.", fmt::join(ids, ", ")));
}

std::vector<Object> Named(const std::vector<Object>& objects, const std::string& name) {
  const std::string wanted = FoldName(name);
  std::vector<Object> found;
  for (const Object& object : objects) {
    if (FoldName(object.name) == wanted) found.push_back(object);
  }
  return found;
}

}  // namespace

Object ObjectFrom(const CABEntry& entry) {
  Object user = HeadFrom(Kind::kUser, entry);
  user.primary_dep = entry.primary.dep;
  user.primary_node = entry.primary.node;
  return user;
}

Object ObjectFrom(const CDepEntry& entry) {
  Object dep = HeadFrom(Kind::kDep, entry);
  dep.group = entry.ngrp_id;
  return dep;
}

Object ObjectFrom(const CNGrpEntry& entry) {
  Object group = HeadFrom(Kind::kGroup, entry);
  group.number = entry.number;
  return group;
}

const char* KeyOf(Kind kind) { return WordsOf(kind).key; }
const char* KeyOfAll(Kind kind) { return WordsOf(kind).keys; }
const char* WordOf(Kind kind) { return WordsOf(kind).word; }
const char* WordOfAll(Kind kind) { return WordsOf(kind).words; }

unsigned long Create(CNCCNet& net, Kind kind, const std::string& name) {
  if (kind == Kind::kUser) return net.CreateAB(name.c_str());
  if (kind == Kind::kDep) return net.CreateDep(name.c_str());
  return net.CreateNGrp(name.c_str());
}

bool Rename(CNCCNet& net, const Object& object, const std::string& name) {
  const unsigned long id = object.id;
  if (object.kind == Kind::kUser) return net.ModifyAB(id, name.c_str());
  if (object.kind == Kind::kDep) return net.ModifyDep(id, name.c_str());
  return net.ModifyNGrp(id, name.c_str());
}

bool Delete(CNCCNet& net, const Object& object) {
  const unsigned long id = object.id;
  if (object.kind == Kind::kUser) return net.DeleteAB(id);
  if (object.kind == Kind::kDep) return net.DeleteDep(id);
  return net.DeleteNGrp(id);
}

std::optional<Object> ObjectById(CNCCNet& net, Kind kind, std::uint32_t id) {
  CABEntry user;
  CDepEntry dep;
  CNGrpEntry group;
  if (kind == Kind::kUser && net.GetABInfo(Wide(id), user)) return ObjectFrom(user);
  if (kind == Kind::kDep && net.GetDepInfo(Wide(id), dep)) return ObjectFrom(dep);
  if (kind == Kind::kGroup && net.GetNGrpInfo(Wide(id), group)) return ObjectFrom(group);
  return std::nullopt;
}

Object ReloadObject(CNCCNet& net, Kind kind, unsigned long id) {
  auto object = ObjectById(net, kind, static_cast<std::uint32_t>(id));
  if (!object) throw Failure(std::string("the object cannot be read again: ") + net.LastError());
  return *object;
}

std::vector<Object> ListObjects(CNCCNet& net, Kind kind) {
  if (kind == Kind::kUser) return Collect<CABEntry>([&](auto& list) { net.GetListAB(list); });
  if (kind == Kind::kDep) return Collect<CDepEntry>([&](auto& list) { net.GetListDep(list); });
  return Collect<CNGrpEntry>([&](auto& list) { net.GetListNGrp(list); });
}

std::vector<Object> ListUsersOf(CNCCNet& net, std::uint32_t dep) {
  return Collect<CABEntry>([&](auto& list) { net.GetListAB(Wide(dep), list); });
}

std::vector<Object> ListLinkedDeps(CNCCNet& net, std::uint32_t dep) {
  return Collect<CDepEntry>([&](auto& list) { net.GetListLinkedDep(Wide(dep), list); });
}

std::vector<Object> ListGroupsOfDep(CNCCNet& net, std::uint32_t dep) {
  return Collect<CNGrpEntry>([&](auto& list) { net.GetListNGrpFromDep(Wide(dep), list); });
}

std::vector<Object> ListGroupsOfNode(CNCCNet& net, std::uint32_t node) {
  return Collect<CNGrpEntry>([&](auto& list) { net.GetListNGrpFromNN(Wide(node), list); });
}

std::vector<Object> ListDepsOf(CNCCNet& net, std::uint32_t group) {
  return Collect<CDepEntry>([&](auto& list) { net.GetListDepFromNGrp(Wide(group), list); });
}

std::vector<Node> ListNodesOf(CNCCNet& net, std::uint32_t group) {
  std::list<CNNEntry> entries;
  net.GetListNN(Wide(group), entries);
  std::vector<Node> nodes;
  for (const CNNEntry& entry : entries) nodes.push_back(NodeFrom(entry));
  return nodes;
}

std::vector<Membership> ListMemberships(CNCCNet& net, std::uint32_t user) {
  std::list<CColAb> stored;
  net.GetListAvailableColAb(Wide(user), stored);
  std::vector<Membership> memberships;
  for (const CColAb& one : stored) memberships.push_back({one.id.dep, one.id.node, one.kind});
  return memberships;
}

std::vector<Membership> ListPossible(CNCCNet& net, std::uint32_t user, std::uint32_t dep) {
  std::list<CCol> possible;
  net.GetListColAb(Wide(user), Wide(dep), possible);
  std::vector<Membership> memberships;
  for (const CCol& one : possible) memberships.push_back({one.id.dep, one.id.node, 0});
  return memberships;
}

bool SetMemberships(CNCCNet& net, std::uint32_t user, std::uint32_t dep,
                    const std::vector<Membership>& memberships, bool remove) {
  std::list<CColAb> wanted;
  for (const Membership& one : memberships) wanted.push_back({{one.dep, one.node}, one.kind});
  net.SetListAvailableColAb(Wide(user), Wide(dep), std::move(wanted), remove);
  return *net.LastError() == '\0';
}

bool SetPrimary(CNCCNet& net, std::uint32_t user, std::uint32_t dep, std::uint32_t node) {
  return net.SetPrimaryCol(Wide(user), CColId{dep, node});
}

Object FindObject(Session& session, Kind kind, const std::string& text) {
  const Reference reference = ParseReference(text);
  CNCCNet& net = session.Net();
  if (reference.id) {
    auto object = ObjectById(net, kind, *reference.id);
    if (!object) throw Failure(fmt::format("no {} has the id {}", WordOf(kind), *reference.id));
    return *object;
  }
  const std::vector<Object> candidates = ListObjects(net, kind);
  const std::vector<Object> found = Named(candidates, reference.name);
  if (found.empty()) throw Unknown(text, kind, candidates);
  if (found.size() > 1) throw Ambiguous(text, kind, found);
  return found.front();
}

void RefuseTakenName(CNCCNet& net, Kind kind, const std::string& name, std::uint32_t except) {
  for (const Object& holder : Named(ListObjects(net, kind), name)) {
    if (holder.id == except) continue;
    throw Failure(
        fmt::format("a {} is named {} already (id:{})", WordOf(kind), Quoted(holder), holder.id));
  }
}

std::string Quoted(const Object& object) {
  return fmt::format("\"{}\"", PrintableName(object.name));
}

std::string CountOf(std::size_t count, Kind kind) {
  return fmt::format("{} {}", count, count == 1 ? WordOf(kind) : WordOfAll(kind));
}

}  // namespace ncc::tool
