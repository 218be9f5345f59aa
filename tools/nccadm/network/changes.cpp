#include "network/changes.h"

#include <list>
#include <utility>

#include <fmt/format.h>

#include "console/failure.h"
#include "nccnet/identity.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

// The library's overloads tell an identifier from a name by the wider type.
unsigned long Wide(std::uint32_t id) { return id; }

unsigned long AddWithId(CNCCNet& net, const Object& object) {
  const char* const name = object.name.c_str();
  const CIdentity as{object.id, object.number};
  switch (object.kind) {
    case Kind::kServer:
      return AddServerAs(net, as, name, object.flags, object.value);
    case Kind::kAp:
      return AddAPAs(net, as, object.server_id, name, object.flags);
    case Kind::kGroup:
      return CreateNGrpAs(net, as, name);
    case Kind::kDep:
      return CreateDepAs(net, as.id, name);
    case Kind::kUser:
      return CreateABAs(net, as.id, name);
  }
  return 0;
}

}  // namespace

unsigned long Add(CNCCNet& net, const Object& object) {
  if (object.id != 0) return AddWithId(net, object);
  const char* const name = object.name.c_str();
  switch (object.kind) {
    case Kind::kServer:
      return net.AddServer(name, object.flags, object.value);
    case Kind::kAp:
      return net.AddAP(Wide(object.server_id), name, object.flags);
    case Kind::kGroup:
      return net.CreateNGrp(name);
    case Kind::kDep:
      return net.CreateDep(name);
    case Kind::kUser:
      return net.CreateAB(name);
  }
  return 0;
}

bool Rename(CNCCNet& net, const Object& object, const std::string& name) {
  const unsigned long id = object.id;
  switch (object.kind) {
    case Kind::kServer:
      return net.ModifyServer(id, name.c_str());
    case Kind::kAp:
      return net.ModifyAP(id, name.c_str());
    case Kind::kGroup:
      return net.ModifyNGrp(id, name.c_str());
    case Kind::kDep:
      return net.ModifyDep(id, name.c_str());
    case Kind::kUser:
      return net.ModifyAB(id, name.c_str());
  }
  return false;
}

std::string RenameAside(Session& session, const Object& object) {
  std::string aside = fmt::format("\x01{}", object.id);
  while (!Rename(session.Net(), object, aside)) {
    if (aside.size() == kMaxNameLength) {
      throw session.Refusal(fmt::format("{} cannot be renamed", Quoted(object)));
    }
    aside += '\x01';
  }
  return aside;
}

bool Delete(Session& session, const Object& object) {
  CNCCNet& net = session.Net();
  const unsigned long id = object.id;
  switch (object.kind) {
    case Kind::kServer:
      return net.DeleteServer(id);
    case Kind::kAp:
      // Deleting goes by name within a server, and another AP there may have the same one.
      return net.DeleteAP(Wide(object.server_id), RenameAside(session, object).c_str());
    case Kind::kGroup:
      return net.DeleteNGrp(id);
    case Kind::kDep:
      return net.DeleteDep(id);
    case Kind::kUser:
      return net.DeleteAB(id);
  }
  return false;
}

bool Register(CNCCNet& net, const Object& node) {
  const unsigned long id = node.id;
  return node.IsServer() ? net.RegSrv(id, node.flags, node.settings)
                         : net.RegAPP(id, node.flags, node.settings);
}

Object Reload(Session& session, Kind kind, unsigned long id) {
  auto object = session.Shown().ById(kind, static_cast<std::uint32_t>(id));
  if (!object) throw session.Refusal("the object cannot be read again");
  return *std::move(object);
}

std::vector<Membership> PossibleMemberships(CNCCNet& net, std::uint32_t user, std::uint32_t dep) {
  std::list<CCol> possible;
  net.GetListColAb(Wide(user), Wide(dep), possible);
  std::vector<Membership> memberships;
  for (const CCol& collective : possible)
    memberships.push_back({collective.id.dep, collective.id.node, 0});
  return memberships;
}

bool SetMemberships(CNCCNet& net, std::uint32_t user, std::uint32_t dep,
                    const std::vector<Membership>& memberships, bool remove) {
  std::list<CColAb> wanted;
  for (const Membership& membership : memberships)
    wanted.push_back({{membership.dep, membership.node}, membership.kind});
  net.SetListAvailableColAb(Wide(user), Wide(dep), std::move(wanted), remove);
  return *net.LastError() == '\0';
}

bool SetPrimary(CNCCNet& net, std::uint32_t user, std::uint32_t dep, std::uint32_t node) {
  return net.SetPrimaryCol(Wide(user), CColId{dep, node});
}

}  // namespace ncc::tool
