#include "files/routing_map.h"

#include <algorithm>

#include <fmt/format.h>

#include "console/failure.h"
#include "files/byte_reader.h"

namespace ncc::tool {
namespace {

constexpr std::string_view kMagic = "NAMS.MAP";
constexpr std::uint32_t kVersion = 0x00010002;
constexpr std::size_t kNameRoom = 50;  // what the next record's kind leaves of a name
constexpr std::size_t kLongestName = 51;
constexpr std::size_t kZerosBehind = 4;

struct MapHead {
  std::uint32_t nodes = 0;  // besides the server itself
  std::uint32_t servers = 0;
};

MapHead ReadHead(const std::string& file, ByteReader& reader) {
  if (reader.Left() < kMagic.size() || reader.Next(kMagic.size()) != kMagic) {
    throw Failure(fmt::format("{} is no routing map: it does not begin with {}", file, kMagic));
  }
  if (const std::uint32_t version = reader.Number(4); version != kVersion) {
    reader.Fail(kMagic.size(), fmt::format("the version is {:08X}, not {:08X}", version, kVersion));
  }
  constexpr std::size_t kUnknown = 20;
  reader.Skip(kUnknown);
  MapHead head;
  head.nodes = reader.Number(2);
  head.servers = reader.Number(2);
  return head;
}

MapNode ReadNode(ByteReader& reader) {
  MapNode node;
  const std::size_t at = reader.At();
  const std::uint32_t kind = reader.Number(2);
  if (kind > 2) reader.Fail(at, fmt::format("there is no kind {} of nodes", kind));
  node.kind = static_cast<MapKind>(kind);
  node.address = reader.Number(4);
  node.network = reader.Number(4);
  node.id = reader.Number(2);
  node.name_length = reader.Number(1);
  if (node.name_length > kLongestName) {
    reader.Fail(at, fmt::format("a name of {} bytes", node.name_length));
  }
  node.name = reader.Next(kNameRoom).substr(0, node.name_length);
  return node;
}

// What follows the records: the overrun of the last name, zeros, each linked server's id twice.
void ReadTail(ByteReader& reader, const MapHead& head, std::vector<MapNode>& nodes) {
  const std::string_view behind = reader.Next(kZerosBehind);
  if (nodes.back().name_length > kNameRoom) nodes.back().name += behind[0];
  reader.Skip(head.servers > 2 ? 4 * std::size_t{head.servers - 2} : 0);
  for (const MapNode& node : nodes) {
    if (node.kind != MapKind::kLinkedServer) continue;
    const std::size_t at = reader.At();
    const std::uint32_t id = reader.Number(2);
    if (reader.Number(2) != id || id != node.id) {
      reader.Fail(at, fmt::format("the id {} of a linked server should stand here twice", node.id));
    }
  }
  if (reader.Left() > 0) reader.Fail(reader.At(), fmt::format("{} bytes too many", reader.Left()));
}

std::vector<MapNode> ReadNodes(const std::string& file, std::string_view bytes, MapHead& head) {
  ByteReader reader(file, bytes);
  head = ReadHead(file, reader);
  std::vector<MapNode> nodes;
  for (std::size_t i = 0; i <= head.nodes; ++i) nodes.push_back(ReadNode(reader));
  ReadTail(reader, head, nodes);
  return nodes;
}

}  // namespace

std::vector<MapNode> ReadMapNodes(const std::string& file, std::string_view bytes) {
  MapHead unused;
  return ReadNodes(file, bytes, unused);
}

RoutingMap ReadRoutingMap(const std::string& file, std::string_view bytes) {
  MapHead head;
  std::vector<MapNode> nodes = ReadNodes(file, bytes, head);
  RoutingMap map;
  map.network_servers = head.servers;
  std::size_t own = 0;
  for (MapNode& node : nodes) {
    switch (node.kind) {
      case MapKind::kLinkedServer:
        map.linked.push_back(std::move(node));
        break;
      case MapKind::kAp:
        map.aps.push_back(std::move(node));
        break;
      case MapKind::kThisServer:
        map.server = std::move(node);
        ++own;
        break;
    }
  }
  if (own != 1) throw Failure(fmt::format("{} is the map of {} servers, not of one", file, own));
  return map;
}

}  // namespace ncc::tool
