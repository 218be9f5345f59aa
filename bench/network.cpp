#include "network.h"

#include "child.h"

#include <algorithm>
#include <array>
#include <list>
#include <stdexcept>

namespace {

constexpr std::uint32_t kLinksPerObject = 4;
constexpr std::uint32_t kNodesPerGroup = 8;

// Code page 1251.
constexpr std::array kPlaces = {"\xD1\xE5\xE2\xE5\xF0\xED\xFB\xE9 \xEF\xEE\xF0\xF2",
                                "Harbour East",
                                "\xC2\xEE\xEA\xE7\xE0\xEB",
                                "Central Exchange",
                                "\xCF\xEB\xEE\xF2\xE8\xED\xE0",
                                "River Crossing 2",
                                "\xD1\xF2\xE0\xED\xF6\xE8\xFF \xC7\xE0\xEF\xE0\xE4\xED\xE0\xFF",
                                "Depot"};

std::string MakeName(const char* kind, std::uint32_t n) {
  return std::string(kind) + " " + kPlaces[n % kPlaces.size()] + " " + std::to_string(n);
}

Ids AddGroups(CNCCNet& net, std::uint32_t count, const Ids& aps) {
  Ids groups;
  for (std::uint32_t n = 0; n < count; ++n) {
    groups.push_back(net.CreateNGrp(MakeName("Group", n).c_str()));
    Expect(groups.back() != 0, net, "CreateNGrp");
    for (std::size_t k = 0; k < kNodesPerGroup; ++k) {
      const unsigned long node = aps[(n * kNodesPerGroup + k) % aps.size()];
      Expect(net.LinkNNToNGrp(groups[n], node), net, "LinkNNToNGrp");
    }
  }
  return groups;
}

Ids AddDeps(CNCCNet& net, std::uint32_t count, const Ids& groups) {
  Ids deps;
  for (std::uint32_t n = 0; n < count; ++n) {
    deps.push_back(net.CreateDep(MakeName("Section", n).c_str()));
    Expect(deps.back() != 0, net, "CreateDep");
    Expect(net.LinkDepToNGrp(groups[n % groups.size()], deps[n]), net, "LinkDepToNGrp");
    for (std::uint32_t back = 1; back <= std::min(n, kLinksPerObject); ++back) {
      Expect(net.LinkDepToDep(deps[n], deps[n - back]), net, "LinkDepToDep");
    }
  }
  return deps;
}

void AddUsers(CNCCNet& net, const NetworkSize& size, const Ids& deps) {
  std::list<CCol> places;
  for (std::uint32_t n = 0; n < size.users; ++n) {
    const unsigned long dep = deps[n % deps.size()];
    const unsigned long user = net.CreateAB(MakeName("User", n).c_str());
    Expect(user != 0 && net.LinkABToDep(dep, user, false), net, "CreateAB, LinkABToDep");
    const auto before =
        static_cast<std::uint32_t>(std::uint64_t{size.memberships} * n / size.users);
    const auto until =
        static_cast<std::uint32_t>(std::uint64_t{size.memberships} * (n + 1) / size.users);
    net.GetListColAb(user, dep, places);
    std::list<CColAb> memberships;
    for (const CCol& place : places) {
      if (memberships.size() < until - before) memberships.push_back({place.id, 1});
    }
    net.SetListAvailableColAb(user, dep, memberships, false);
  }
}

}  // namespace

NetworkSize NetworkSize::ScaledTo(std::uint32_t objects) const {
  const auto part = [&](std::uint32_t whole) {
    return static_cast<std::uint32_t>(std::uint64_t{whole} * objects / Objects());
  };
  NetworkSize scaled{part(servers), part(aps), 0, part(deps), part(groups), part(memberships)};
  scaled.users = objects - scaled.Objects();
  return scaled;
}

std::string ServerName(std::uint32_t n) { return MakeName("Server", n); }
std::string ApName(std::uint32_t n) { return MakeName("AP", n); }

std::vector<std::string> ApNames(std::uint32_t count) {
  std::vector<std::string> names;
  names.reserve(count);
  for (std::uint32_t n = 0; n < count; ++n) names.push_back(ApName(n));
  return names;
}

void Expect(bool done, CNCCNet& net, const char* what) {
  if (!done) throw std::runtime_error(std::string(what) + ": " + net.LastError());
}

void CreateDatabase(CNCCNet& net, const std::string& folder) {
  Expect(net.Create(folder.c_str(), "net", 0x1A), net, "Create");
}

void OpenDatabase(CNCCNet& net, const std::string& folder) {
  Expect(net.Open(folder.c_str(), "net"), net, "Open");
}

std::string DataFile(const std::string& folder) { return folder + "/net.db"; }

Ids AddServers(CNCCNet& net, std::uint32_t count) {
  Ids servers;
  for (std::uint32_t n = 0; n < count; ++n) {
    servers.push_back(net.AddServer(ServerName(n).c_str(), 0, 10));
    Expect(servers.back() != 0, net, "AddServer");
    for (std::uint32_t back = 1; back <= std::min(n, kLinksPerObject); ++back) {
      Expect(net.LinkSrvToSrv(servers[n], servers[n - back]), net, "LinkSrvToSrv");
    }
  }
  return servers;
}

Ids AddAps(CNCCNet& net, const Ids& servers, const std::vector<std::string>& names) {
  Ids aps;
  aps.reserve(names.size());
  for (std::size_t n = 0; n < names.size(); ++n) {
    const unsigned long server = servers[n * servers.size() / names.size()];
    aps.push_back(net.AddAP(server, names[n].c_str(), 0));
    Expect(aps.back() != 0, net, "AddAP");
  }
  return aps;
}

void BuildNetwork(CNCCNet& net, const NetworkSize& size) {
  Expect(net.BeginBatch(), net, "BeginBatch");
  const Ids aps = AddAps(net, AddServers(net, size.servers), ApNames(size.aps));
  AddUsers(net, size, AddDeps(net, size.deps, AddGroups(net, size.groups, aps)));
  Expect(net.EndBatch(), net, "EndBatch");
}

void BuildDatabase(const std::string& folder, const NetworkSize& size) {
  InChild([&] {
    CNCCNet net;
    CreateDatabase(net, folder);
    BuildNetwork(net, size);
    return 0;
  });
}
