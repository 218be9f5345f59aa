// Which generated files can be others than they were, by what changed in the network.
#pragma once

#include "core/net_state.h"
#include "platform/hdb/history_codec.h"

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace ncc {

// What a file is made of, beside what all are made of (see SettingsOf) and the generator's
// arguments; any of these together.
enum MadeOf : unsigned {
  kOfNothing = 0,       // its node is there
  kOfNode = 1,          // what its node, or user, is, belongs to and sees
  kOfUsers = 2,         // all users and their memberships
  kOfServers = 4,       // all servers and the order of the root folder
  kOfStructure = 8,     // all servers, APs, node groups and Deps, and what joins them
  kOfFiles = 16,        // other files of its node: not a matter of the network
  kOfAnything = 0xFFFF  // of files that others make, too; or nobody knows
};

// The network's number and its two centres, as words: where one is another, so may all files be.
std::string SettingsOf(const NetState& net);

// Tells more rather than less. It rests on what generators read: they go from a node by the id
// lists and folders of one object to the next. On such a way, as it was or as it is, take the first
// object of which something changed: all before it are as they were, so the way up to it is there
// now. So going back from each object that changed, in the network as it is, meets every node
// whose files can have changed; what an object was linked with need not be known.
class AffectedNodes {
 public:
  // By rows that differ; without them anything can be affected.
  AffectedNodes(const NetState& net, const std::optional<std::vector<RowDifference>>& rows);

  bool Touches(unsigned made_of, std::uint32_t node) const {
    return changed_ == kOfAnything || (made_of & changed_) != 0 ||
           ((made_of & kOfNode) != 0 && nodes_.contains(node));
  }

 private:
  void Note(const RowDifference& row);
  void NoteObject(const RowDifference& row, std::uint32_t type);
  void NoteNode(const RowDifference& row, std::uint32_t type);
  void AddNodesOf(std::uint32_t group);
  void AddNodesOfGroupsOf(std::uint32_t dep);
  void AddReadersOfDep(std::uint32_t dep);
  void AddReadersOfGroup(std::uint32_t group);
  void AddReadersOfNode(std::uint32_t node);

  const NetState& net_;
  unsigned changed_ = 0;                       // but for kOfNode and kOfFiles; or kOfAnything
  std::unordered_set<std::uint32_t> nodes_;    // and users
  std::unordered_set<std::uint32_t> visited_;  // groups and Deps whose readers are in it
};

}  // namespace ncc
