// What a network consists of, as ordinary values: fields of the library's packed records can be
// bound to no reference.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "nccnet/records.h"

namespace ncc::tool {

enum class Kind { kServer, kAp, kGroup, kDep, kUser };
// In the order in which they are searched and shown.
inline constexpr Kind kKinds[] = {Kind::kServer, Kind::kAp, Kind::kUser, Kind::kDep, Kind::kGroup};

const char* KeyOf(Kind kind);      // "ap", "group": commands and documents
const char* KeyOfAll(Kind kind);   // "aps", "groups"
const char* WordOf(Kind kind);     // "AP", "node group": sentences
const char* WordOfAll(Kind kind);  // "APs", "node groups"
const char* ArticleOf(Kind kind);  // "a", "an"

struct Object {
  Kind kind = Kind::kServer;
  std::string name;  // bytes of code page 1251
  std::uint32_t id = 0;
  std::uint32_t number = 0;  // of a server, an AP or a node group
  // Of a server or an AP.
  std::uint32_t flags = 0;
  std::uint32_t ap_count = 0;
  std::uint32_t server_id = 0;
  std::uint16_t value = 0;
  std::uint8_t settings = 0;
  // Of a user.
  std::uint32_t primary_dep = 0;
  std::uint32_t primary_node = 0;
  // Of a Dep.
  std::uint32_t group = 0;      // where its users can be members
  std::uint32_t home_node = 0;  // a neighbour's that has no group for its home
  std::uint32_t network = 0;    // that a neighbour's one is linked to elsewhere

  bool IsServer() const { return kind == Kind::kServer; }
  bool IsNode() const { return kind == Kind::kServer || kind == Kind::kAp; }
};

struct Membership {
  std::uint32_t dep = 0;
  std::uint32_t node = 0;
  std::uint8_t kind = 0;
};

Object ObjectFrom(const CNNEntry& entry);
Object ObjectFrom(const CABEntry& entry);
Object ObjectFrom(const CDepEntry& entry);
Object ObjectFrom(const CNGrpEntry& entry);

// The name of an object as text to show, in quotes.
std::string Quoted(const Object& object);

// "1 Dep", "3 Deps".
std::string CountOf(std::size_t count, Kind kind);
// "1 file", "3 files".
std::string CountText(std::size_t count, const char* word);

// "001A0007".
std::string AddressText(std::uint32_t network, std::uint32_t id);

std::vector<Membership> MembershipsFrom(const std::list<CColAb>& stored);

template <class Items>
bool HasId(const Items& items, std::uint32_t id) {
  return std::any_of(items.begin(), items.end(), [id](const auto& item) { return item.id == id; });
}

}  // namespace ncc::tool
