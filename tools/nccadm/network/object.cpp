#include "network/object.h"

#include <array>

#include <fmt/format.h>

#include "console/text.h"

namespace ncc::tool {
namespace {

struct Words {
  const char* key;
  const char* keys;
  const char* word;
  const char* words;
};

const Words& WordsOf(Kind kind) {
  static constexpr std::array<Words, 5> kWords = {{{"server", "servers", "server", "servers"},
                                                   {"ap", "aps", "AP", "APs"},
                                                   {"group", "groups", "node group", "node groups"},
                                                   {"dep", "deps", "Dep", "Deps"},
                                                   {"user", "users", "user", "users"}}};
  return kWords[static_cast<std::size_t>(kind)];
}

Object HeadFrom(Kind kind, const CNCCEntry& entry) {
  Object object;
  object.kind = kind;
  object.name = entry.name;
  object.id = entry.id;
  return object;
}

}  // namespace

const char* KeyOf(Kind kind) { return WordsOf(kind).key; }
const char* KeyOfAll(Kind kind) { return WordsOf(kind).keys; }
const char* WordOf(Kind kind) { return WordsOf(kind).word; }
const char* WordOfAll(Kind kind) { return WordsOf(kind).words; }
const char* ArticleOf(Kind kind) { return kind == Kind::kAp ? "an" : "a"; }

Object ObjectFrom(const CNNEntry& entry) {
  Object node = HeadFrom(entry.type == kTypeServer ? Kind::kServer : Kind::kAp, entry);
  node.number = entry.number;
  node.flags = entry.flags;
  node.ap_count = entry.ap_count;
  node.server_id = entry.server_id;
  node.value = entry.value;
  node.settings = entry.settings;
  return node;
}

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

std::string Quoted(const Object& object) {
  return fmt::format("\"{}\"", PrintableName(object.name));
}

std::string CountOf(std::size_t count, Kind kind) {
  return fmt::format("{} {}", count, count == 1 ? WordOf(kind) : WordOfAll(kind));
}

std::string CountText(std::size_t count, const char* word) {
  return fmt::format("{} {}{}", count, word, count == 1 ? "" : "s");
}

std::string AddressText(std::uint32_t network, std::uint32_t id) {
  return fmt::format("{:04X}{:04X}", network, id);
}

std::vector<Membership> MembershipsFrom(const std::list<CColAb>& stored) {
  std::vector<Membership> memberships;
  memberships.reserve(stored.size());
  for (const CColAb& membership : stored)
    memberships.push_back({membership.id.dep, membership.id.node, membership.kind});
  return memberships;
}

}  // namespace ncc::tool
