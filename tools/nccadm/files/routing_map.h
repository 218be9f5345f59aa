// The binary routing map of a server.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ncc::tool {

enum class MapKind : std::uint32_t { kAp = 0, kLinkedServer = 1, kThisServer = 2 };

struct MapNode {
  MapKind kind = MapKind::kAp;
  std::uint32_t address = 0;
  std::uint32_t network = 0;
  std::uint32_t id = 0;
  std::string name;             // bytes, as many as the map has
  std::size_t name_length = 0;  // that the record states; one of 51 bytes may lose its last
};

struct RoutingMap {
  std::uint32_t network_servers = 0;
  MapNode server;
  std::vector<MapNode> linked;
  std::vector<MapNode> aps;
};

// What the records of a map say, in their order. Throws Failure for bytes that are no map.
std::vector<MapNode> ReadMapNodes(const std::string& file, std::string_view bytes);
// The same by kinds.
RoutingMap ReadRoutingMap(const std::string& file, std::string_view bytes);

}  // namespace ncc::tool
