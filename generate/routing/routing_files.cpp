// The binary routing map, the tunnels and the registration of a server N.
//
// "nodeN.map", little-endian; n = its APs + its linked servers, s = servers of the network:
//
//   0        8  "NAMS.MAP"
//   8       12  u32 0x00010002, 1, 1
//   20      12  zeros
//   32       4  u16 n, u16 s
//   36  63(n+1) records: the linked servers (kind 1), the server itself (2), its APs (0)
//           4   zeros
//      4(s-2)   zeros, if s > 2
//          4l   for each linked server u16 its id, twice
//
// A record: u16 kind; u32 address, the server's id << 16 | the AP's id; u32 network (16 bits);
// u16 id; u8 length of the name; 50 bytes name. A name is copied whole with its zero: one of 50 or
// 51 bytes runs into the next record, whose kind then overwrites it, or into the zeros behind.
//
// "nodeN.tun": "%4.4X%4.4X0 %d\n" of network, id and value for each server with a value, then
// "TUNNEL.REG=<stamp>\n" of the lines before.
//
// "nodeN.reg": "TCPIP=1", "CCC=<address of NCC>", "KeyC=<of KC>", "MAPCRC=<stamp>" of the map,
// "XNWCRC=" of "nodeN.xnw", "NODCRC=" of the lines before, "TUNCRC=" of the tunnels.

#include "generate/routing/routing_files.h"

#include "core/entry.h"
#include "core/find.h"
#include "core/last_error.h"
#include "core/links.h"
#include "core/walk.h"
#include "generate/file_names.h"
#include "generate/node_file.h"
#include "generate/output_cache.h"
#include "structure/nodes.h"

namespace ncc {
namespace {

constexpr std::size_t kHeadSize = 36;
constexpr std::size_t kRecordSize = 63;

enum MapKind : std::uint32_t { kAP = 0, kLinkedServer = 1, kThisServer = 2 };

struct MapRecord {
  MapKind kind;
  std::uint32_t address;
  const CHDBRecord* node;
};

void Overwrite(std::string& bytes, std::size_t at, std::string_view with) {
  bytes.replace(at, with.size(), with);
}

void PutRecord(std::string& map, std::size_t at, const MapRecord& record, std::uint32_t network) {
  const CNNEntry node = EntryOf<CNNEntry>(*record.node);
  const std::string_view name(node.name);
  std::string fields;
  AppendU16(fields, record.kind);
  AppendU32(fields, record.address);
  AppendU32(fields, network & 0xFFFF);
  AppendU16(fields, node.id);
  fields += static_cast<char>(name.size());
  fields.append(name);
  fields += '\0';
  Overwrite(map, at, fields);
}

void WriteMap(Generation& run, const std::string& folder, std::uint32_t server);
void WriteTunnelFileAlone(Generation& run, const std::string& folder, std::uint32_t server);
void WriteRegistrationAlone(Generation& run, const std::string& folder, std::uint32_t server);
constexpr NodeFile kMap = {kTypeServer,
                           nullptr,
                           {"", "node", NodeFileName::kDecimal, ".map"},
                           kOfNode | kOfServers,
                           WriteMap};
constexpr NodeFile kTunnels = {kTypeServer,
                               nullptr,
                               {"", "node", NodeFileName::kDecimal, ".tun"},
                               kOfServers,
                               WriteTunnelFileAlone};
constexpr NodeFile kRegistration = {kTypeServer,
                                    nullptr,
                                    {"", "node", NodeFileName::kDecimal, ".reg"},
                                    kOfFiles,
                                    WriteRegistrationAlone};

// Does nothing when a callback has deleted the server.
void WriteMap(Generation& run, const std::string& folder, std::uint32_t server) {
  NetState& net = run.Net();
  if (const CHDBRecord* record = FindObject(net, server, kTypeServer); record != nullptr) {
    for (std::size_t left = record->List(kServerLinks).Size(); left > 0; --left) net.Progress();
  }
  if (FindObject(net, server, kTypeServer) == nullptr) return;
  WriteStamped(net, kMap.Path(net, folder, server), server, ComposeRoutingMap(net, server));
}

// What every server's tunnel file holds. Throws Refusal when no server has a value.
SharedBytes Tunnels(const NetState& net) {
  SharedBytes tunnels;
  tunnels.bytes = WithLineEnds(ComposeTunnels(net));
  return tunnels;
}

// The first file is written to have the stamp of its lines; the stamp ends all the others too.
void WriteTunnelFile(const NetState& net, const std::string& folder, std::uint32_t server,
                     SharedBytes& tunnels, bool& stamped) {
  const std::string path = kTunnels.Path(net, folder, server);
  if (stamped) {
    WriteShared(net, path, server, tunnels);
    return;
  }
  std::string whole;
  WriteFile(net, path, server, [&](ComposedFile& file) {
    file.Append(tunnels.bytes);
    file.AppendText("TUNNEL.REG=" + StampDigits(file.StampSoFar()) + "\n");
    whole = file.Contents();
  });
  tunnels.bytes = std::move(whole);
  stamped = true;
}

// `names` are those of the files beside the registration: it stamps what the generators before it
// wrote, and "nodeN.xnw", which somebody else makes.
void WriteRegistration(Generation& run, const std::string& prefix, std::uint32_t server,
                       const FolderNames& names) {
  NetState& net = run.Net();
  const std::string path = kRegistration.Path(net, prefix, server);
  WriteFile(net, path, server, [&](ComposedFile& file) {
    const auto stamp_of = [&](const char* extension) {
      return StampDigits(file.StampOf(prefix + ServerName(server, extension), &names));
    };
    file.AppendText(ComposeRegistrationHead(net, server, stamp_of));
    const std::string own_stamp = StampDigits(file.StampSoFar());
    file.AppendText(ComposeRegistrationTail(server, own_stamp, stamp_of(".tun")));
  });
  run.EnterIntoJournal(path, server);
}

void WriteTunnelFileAlone(Generation& run, const std::string& folder, std::uint32_t server) {
  SharedBytes tunnels = Tunnels(run.Net());
  bool stamped = false;
  WriteTunnelFile(run.Net(), folder, server, tunnels, stamped);
}

void WriteRegistrationAlone(Generation& run, const std::string& folder, std::uint32_t server) {
  WriteRegistration(run, folder, server, FolderNames(FolderOf(folder)));
}

// Calls write(server) for each server among the items of the root folder, and the progress callback
// before each item, until a stop is requested.
template <class Write>
void ForEachServerItem(NetState& net, Write write) {
  const TRef<CHDBFolder> root = net.root;
  WalkItems(net, *root, [&](const CHDBFolderEntry& entry, std::uint32_t) {
    if (entry.Kind() != kTypeServer) return true;
    write(entry.Object().number);
    return !net.StopRequested();
  });
}

}  // namespace

std::string ComposeRoutingMap(const NetState& net, std::uint32_t server, Reasons* why) {
  const CHDBRecord& own = *FindObject(net, server, kTypeServer);
  std::vector<std::uint32_t> linked;
  WalkIds(own, kServerLinks, [&](const TDBObjId& other) {
    if (FindObject(net, other.number, kTypeServer) != nullptr) linked.push_back(other.number);
  });
  std::vector<MapRecord> records;
  records.reserve(linked.size() + 1 + EntryOf<CNNEntry>(own).ap_count);
  const auto add = [&](const MapRecord& record, const CReason& reason) {
    records.push_back(record);
    if (why != nullptr) why->lines.push_back({reason});
  };
  for (const std::uint32_t other : linked) {
    add({kLinkedServer, other << 16, FindObject(net, other, kTypeServer)},
        {CReason::kServerLink, server, other});
  }
  add({kThisServer, server << 16, &own}, {CReason::kFileOf, server});
  ForEachAP(net, server, [&](const CHDBRecord& ap) {
    add({kAP, server << 16 | (ap.Number() & 0xFFFF), &ap},
        {CReason::kServerOfAP, ap.Number(), server});
    return true;
  });

  const std::size_t servers = net.base->RecSelect(kTypeServer).Size();
  std::string map("NAMS.MAP");
  for (const std::uint32_t value : {0x00010002U, 1U, 1U, 0U, 0U, 0U}) AppendU32(map, value);
  AppendU16(map, static_cast<std::uint32_t>(records.size() - 1));
  AppendU16(map, static_cast<std::uint32_t>(servers));
  map.resize(kHeadSize + kRecordSize * records.size() + 4 + (servers > 2 ? 4 * (servers - 2) : 0));
  for (std::size_t i = 0; i < records.size(); ++i)
    PutRecord(map, kHeadSize + kRecordSize * i, records[i], net.prefs.net_number);
  for (const std::uint32_t other : linked) {
    AppendU16(map, other);
    AppendU16(map, other);
  }
  return map;
}

std::string ComposeTunnels(const NetState& net, Reasons* why) {
  std::string lines;
  for (const std::uint32_t server : RootObjects(net, kTypeServer)) {
    const CNNEntry entry = EntryOf<CNNEntry>(*FindObject(net, server, kTypeServer));
    if (entry.value == 0) continue;
    lines +=
        Hex4(net.prefs.net_number) + Hex4(entry.id) + "0 " + std::to_string(entry.value) + "\n";
    if (why != nullptr) why->lines.push_back({{CReason::kValue, server}});
  }
  if (lines.empty()) throw Refusal("no server has a tunnel value");
  return lines;
}

std::string ComposeRegistrationHead(NetState& net, std::uint32_t server,
                                    const std::function<std::string(const char*)>& stamp_of,
                                    Reasons* why) {
  const std::string network = Hex4(net.prefs.net_number);
  OutputCache& cache = OutputCache::Of(net);
  const std::uint32_t ncc = cache.Role(net, kFlagNCC).id;
  const std::uint32_t kc = cache.Role(net, kFlagKC).id;
  if (why != nullptr) {
    const CReason of_server = {CReason::kFileOf, server};
    for (const CReason& reason :
         {CReason{CReason::kAlways}, CReason{CReason::kRole, ncc, 0, 0, kFlagNCC},
          CReason{CReason::kRole, kc, 0, 0, kFlagKC},
          CReason{CReason::kStampOf, 0, 0, 0, 0, ServerName(server, ".map")},
          CReason{CReason::kStampOf, 0, 0, 0, 0, ServerName(server, ".xnw")}})
      why->lines.push_back({of_server, reason});
  }
  std::string head = "TCPIP=1\nCCC=" + network + Hex4(ncc) + "\nKeyC=" + network + Hex4(kc);
  head.append("\nMAPCRC=").append(stamp_of(".map"));
  head.append("\nXNWCRC=").append(stamp_of(".xnw")).append("\n");
  return head;
}

std::string ComposeRegistrationTail(std::uint32_t server, std::string_view own_stamp,
                                    std::string_view tunnels_stamp, Reasons* why) {
  if (why != nullptr) {
    const CReason of_server = {CReason::kFileOf, server};
    why->lines.push_back({of_server, {CReason::kStampOf}});
    why->lines.push_back({of_server, {CReason::kStampOf, 0, 0, 0, 0, ServerName(server, ".tun")}});
  }
  std::string tail("NODCRC=");
  tail.append(own_stamp).append("\nTUNCRC=").append(tunnels_stamp).append("\n");
  return tail;
}

bool WriteRoutingMaps(Generation& run, const char* folder) {
  const auto servers = run.Obtain([&] { return RootObjects(run.Net(), kTypeServer); });
  auto kept = run.Obtain([&] { return KeptFiles(run.Net(), kMap, Prefix(folder)); });
  if (!servers || !kept) return false;
  for (const std::uint32_t server : *servers) {
    const bool is_written = run.Run([&] {
      run.Net().Progress();
      if (!kept->Keep(server)) WriteMap(run, Prefix(folder), server);
    });
    if (!is_written) return false;
    if (run.Net().StopRequested()) break;
  }
  return true;
}

bool WriteTunnels(Generation& run, const char* folder) {
  return run.Run([&] {
    NetState& net = run.Net();
    KeptFiles kept(net, kTunnels, Prefix(folder));
    SharedBytes tunnels = Tunnels(net);
    const std::size_t servers = net.base->RecSelect(kTypeServer).Size();
    bool stamped = false;
    ForEachServerItem(net, [&](std::uint32_t server) {
      for (std::size_t left = servers; left > 0; --left) net.Progress();
      if (!kept.Keep(server)) WriteTunnelFile(net, Prefix(folder), server, tunnels, stamped);
    });
  });
}

bool WriteRegistrations(Generation& run, const char* folder) {
  return run.Run([&] {
    const std::string prefix = Prefix(folder);
    const FolderNames names(FolderOf(prefix));
    KeptFiles kept(run.Net(), kRegistration, prefix);
    ForEachServerItem(run.Net(), [&](std::uint32_t server) {
      if (!kept.Keep(server)) WriteRegistration(run, prefix, server, names);
    });
  });
}

}  // namespace ncc

using namespace ncc;

namespace {

// The form for all servers of what writes their files.
bool GenerateForServers(NetState& net, bool (*write)(Generation&, const char*),
                        const char* folder) {
  Generation run(net);
  const bool is_written = write(run, folder);
  return run.Finish() && is_written;
}

}  // namespace

bool CNCCNet::GenMAPNodeMap(const char* folder) {
  return GenerateForServers(*state_, WriteRoutingMaps, folder);
}
bool CNCCNet::GenMAPNodeMap(const char* folder, unsigned long id) {
  return GenerateOne(*state_, kMap, folder, id);
}
bool CNCCNet::GenMAPNodeTun(const char* folder) {
  return GenerateForServers(*state_, WriteTunnels, folder);
}
bool CNCCNet::GenMAPNodeTun(const char* folder, unsigned long id) {
  NetState& net = *state_;
  Generation run(net);
  const bool has_tunnels = run.Run([&] {
    if (FindObject(net, id, kTypeServer) == nullptr) RefuseUnknown(kTypeServer, id);
    static_cast<void>(Tunnels(net));
  });
  if (has_tunnels) {
    run.Run([&] { kTunnels.write(run, Prefix(folder), static_cast<std::uint32_t>(id)); });
  }
  return run.Finish() && has_tunnels;
}
bool CNCCNet::GenMAPNodeReg(const char* folder) {
  return GenerateForServers(*state_, WriteRegistrations, folder);
}
bool CNCCNet::GenMAPNodeReg(const char* folder, unsigned long id) {
  return GenerateOne(*state_, kRegistration, folder, id);
}
