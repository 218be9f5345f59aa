// The own network as the exchange files have to tell it.
#pragma once

#include "nccnet/exchange_writer.h"
#include "nccnet/netdb.h"

#include <cstdint>
#include <list>
#include <string_view>
#include <vector>

namespace ncc {

struct OwnUser {
  CABEntry entry;
  std::list<CColAb> memberships;
};

struct OwnDep {
  CDepEntry entry;
  std::list<CDepEntry> linked;
};

struct OwnGroup {
  CNGrpEntry entry;
  std::list<CNNEntry> nodes;
  std::list<CDepEntry> deps;
};

// One state of the network.
struct OwnNetwork {
  std::uint32_t net = 0;
  std::list<CNNEntry> servers;
  std::list<CNNEntry> aps;
  std::vector<OwnUser> users;
  std::vector<OwnDep> deps;
  std::vector<OwnGroup> groups;
  std::uint32_t linked_servers = 0;
};

// Throws std::runtime_error when the network cannot be read.
OwnNetwork ReadOwnNetwork(CNCCNet& net);

// Lists what is in the way of an export and what it leaves out.
// `blank` stands for each blank in names; 0 for none.
void JudgeOwnNetwork(const OwnNetwork& own, char blank, CExchangeReport& report);

// The letter in a node's application lines: nobody looks at it, but that of AP 17 becomes its
// settings byte.
char ApplicationLetter(const CNNEntry& node);

// What keeps a name out of the files; null when nothing does.
const char* NameObstacle(std::string_view name, bool replaces_blanks);

}  // namespace ncc
