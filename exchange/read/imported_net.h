// One network as its exchange files describe it.
#pragma once

#include "exchange/read/record_table.h"
#include "nccnet/records.h"
#include "platform/sync.h"

#include <array>
#include <cstdint>
#include <list>
#include <map>
#include <string>

namespace ncc {

// Kinds of members in the node-group links.
inline constexpr std::uint8_t kMemberNode = 2;
inline constexpr std::uint8_t kMemberDep = 8;

struct GroupMember {
  std::uint32_t id;
  std::uint8_t kind;
};

struct ImportedGate {
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  std::array<char, kMaxNameLength + 1> name{};
};

struct ImportedNet {
  ImportedGate gate;
  RecordTable<CABEntry> users;
  RecordTable<CNNEntry> nodes;  // servers, then APs, as they were before the application file
  RecordTable<CNNEntry> aps;
  RecordTable<CNNEntry> servers;
  RecordTable<CDepEntry> deps;
  RecordTable<CNGrpEntry> groups;

  std::map<std::uint64_t, std::list<tag_WORD4>> dep_links;         // by PairKey
  std::map<std::uint32_t, std::list<GroupMember>> group_links;     // by node group
  std::map<std::uint32_t, std::list<std::uint32_t>> server_links;  // APs by server
  std::map<std::uint32_t, std::list<CColAb>> user_links;           // memberships by user

  // The same links the other way round, and the Deps by home.
  PairIndex users_of_node;
  PairIndex users_of_dep;
  PairIndex groups_of_node;
  PairIndex groups_of_dep;
  std::multimap<std::uint32_t, std::uint32_t> deps_at_node;  // positions of Deps by home
  std::multimap<std::uint32_t, std::uint32_t> deps_at_group;

  static std::uint64_t PairKey(std::uint64_t net, std::uint32_t id) { return net << 32 | id; }

  void AppendDep(const CDepEntry& dep);
  // Gives each AP the server whose key it names, counts the servers' APs and fills the node list.
  void AttachAps();
  void LinkServers();

  void ClearRecords();
  void ClearUserLinks();
  void ClearGroupLinks();
};

// What a view holds.
struct ImportState : ImportedNet {
  std::uint32_t net = 0;  // 0 while nothing is loaded
  std::int32_t count = 0;
  std::string folder;
  ReentrantLock lock;
};

}  // namespace ncc
