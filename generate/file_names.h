// Names of the generated files.
#pragma once

#include "platform/text/bytes.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace ncc {

// "apn001B.txt": the node's identifier in hexadecimal.
inline std::string HexName(std::string_view stem, std::uint32_t id, std::string_view extension) {
  return std::string(stem) + Hex4(id) + std::string(extension);
}

// "node27.map": the server's identifier in decimal.
inline std::string ServerName(std::uint32_t id, std::string_view extension) {
  return "node" + std::to_string(id) + std::string(extension);
}

// "001A001B.aaf": network and identifier.
inline std::string AddressName(std::uint32_t network, std::uint32_t id,
                               std::string_view extension) {
  return Hex4(network) + Hex4(id) + std::string(extension);
}

// The name of a kind of file that there is for each node.
struct NodeFileName {
  enum Id { kHex, kDecimal, kAddress };  // as the functions above write it

  const char* folder;  // in that of the generator, with a separator at its end; "" for this itself
  const char* stem;
  Id id;
  const char* extension;

  std::string Of(std::uint32_t network, std::uint32_t node) const {
    std::string name(folder);
    if (id == kAddress) return name.append(AddressName(network, node, extension));
    return name.append(stem)
        .append(id == kHex ? Hex4(node) : std::to_string(node))
        .append(extension);
  }
};

}  // namespace ncc
