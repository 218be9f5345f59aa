#include "network/view.h"

#include <iterator>
#include <list>

namespace ncc::tool {
namespace {

// What a list query of the library gives; `query` is called with the list to fill.
template <class Entry, class Query>
std::vector<Object> Collect(Query query) {
  std::list<Entry> entries;
  query(entries);
  return ObjectsFrom(entries);
}

}  // namespace

std::vector<Object> View::ServersAndAps() {
  std::vector<Object> nodes = All(Kind::kServer);
  std::vector<Object> aps = All(Kind::kAp);
  nodes.insert(nodes.end(), std::make_move_iterator(aps.begin()),
               std::make_move_iterator(aps.end()));
  return nodes;
}

std::string View::AddressOf(std::uint32_t id) { return AddressText(Number(), id); }

std::optional<Object> View::NodeById(std::uint32_t id) {
  auto server = ById(Kind::kServer, id);
  return server ? server : ById(Kind::kAp, id);
}

std::optional<Object> View::AnyById(std::uint32_t id) {
  for (const Kind kind : kKinds) {
    if (auto object = ById(kind, id)) return object;
  }
  return std::nullopt;
}

std::uint32_t OwnView::Number() { return net_.Preferences()->net_number; }

std::vector<Object> OwnView::All(Kind kind) {
  switch (kind) {
    case Kind::kServer:
      return Collect<CNNEntry>([this](auto& list) { net_.GetListServer(list); });
    case Kind::kAp:
      return Collect<CNNEntry>([this](auto& list) { net_.GetListAP(list); });
    case Kind::kGroup:
      return Collect<CNGrpEntry>([this](auto& list) { net_.GetListNGrp(list); });
    case Kind::kDep:
      return Collect<CDepEntry>([this](auto& list) { net_.GetListDep(list); });
    case Kind::kUser:
      return Collect<CABEntry>([this](auto& list) { net_.GetListAB(list); });
  }
  return {};
}

std::optional<Object> OwnView::ById(Kind kind, std::uint32_t narrow) {
  // The library's overloads tell an identifier from a name by the wider type.
  const unsigned long id = narrow;
  constexpr std::uint8_t kTypes[] = {kTypeServer, kTypeAP, kTypeNGrp, kTypeDep, kTypeAB};
  if (net_.GetType(id) != kTypes[static_cast<std::size_t>(kind)]) return std::nullopt;
  CNNEntry node;
  CNGrpEntry group;
  CDepEntry dep;
  CABEntry user;
  std::optional<Object> found;
  if (kind == Kind::kGroup) {
    if (net_.GetNGrpInfo(id, group)) found = ObjectFrom(group);
  } else if (kind == Kind::kDep) {
    if (net_.GetDepInfo(id, dep)) found = ObjectFrom(dep);
  } else if (kind == Kind::kUser) {
    if (net_.GetABInfo(id, user)) found = ObjectFrom(user);
  } else if (net_.GetNNInfo(id, node)) {
    found = ObjectFrom(node);
  }
  return found;
}

std::vector<Object> OwnView::Related(Relation relation, std::uint32_t narrow) {
  const unsigned long id = narrow;
  switch (relation) {
    case Relation::kApsOfServer:
      return Collect<CNNEntry>([&](auto& list) { net_.GetListAP(id, list); });
    case Relation::kLinksOfServer:
      return Collect<CNNEntry>([&](auto& list) { net_.GetListLinkedSrv(id, list); });
    case Relation::kGroupsOfNode:
      return Collect<CNGrpEntry>([&](auto& list) { net_.GetListNGrpFromNN(id, list); });
    case Relation::kNodesOfGroup:
      return Collect<CNNEntry>([&](auto& list) { net_.GetListNN(id, list); });
    case Relation::kDepsOfGroup:
      return Collect<CDepEntry>([&](auto& list) { net_.GetListDepFromNGrp(id, list); });
    case Relation::kGroupsOfDep:
      return Collect<CNGrpEntry>([&](auto& list) { net_.GetListNGrpFromDep(id, list); });
    case Relation::kUsersOfDep:
      return Collect<CABEntry>([&](auto& list) { net_.GetListAB(id, list); });
    case Relation::kLinksOfDep:
      return Collect<CDepEntry>([&](auto& list) { net_.GetListLinkedDep(id, list); });
  }
  return {};
}

std::vector<Membership> OwnView::MembershipsOf(std::uint32_t user) {
  std::list<CColAb> stored;
  net_.GetListAvailableColAb(static_cast<unsigned long>(user), stored);
  return MembershipsFrom(stored);
}

}  // namespace ncc::tool
