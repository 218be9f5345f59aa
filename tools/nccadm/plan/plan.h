// What has to be done to a database so that it agrees with a description.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "description/description.h"
#include "network/network.h"
#include "network/notes.h"
#include "network/session.h"

namespace ncc::tool {

// The id of an object; from kFirstNew on, one that a step adds.
using Ref = std::uint64_t;
inline constexpr Ref kFirstNew = Ref{1} << 32;

// What a network consists of: objects in the order of their kinds, then relations.
enum class Item {
  kServer,
  kAp,
  kGroup,
  kDep,
  kUser,
  kLink,
  kGroupNode,
  kGroupDep,
  kDepLink,
  kUserDep,
  kMembership
};
inline constexpr std::size_t kItems = 11;

const char* KeyOf(Item item);      // "aps", "group_nodes": documents
Kind KindOf(Item item);            // of an object
const char* WordOf(Item item);     // "AP", "node in a group": sentences
const char* WordOfAll(Item item);  // "APs", "nodes in groups"
std::string CountOf(std::size_t count, Item item);

struct PlannedMembership {
  Ref dep = 0;
  Ref node = 0;
  std::uint8_t kind = 0;
};

struct Step {
  enum class Kind {
    kPreferences,
    kAdd,
    kSet,
    kMove,
    kDelete,
    kLink,
    kUnlink,
    kClearGroup,
    kPrimary,
    kMemberships,
    kRename,
    kSetAside,  // gives it a name that is in nobody's way
    kNotes
  };

  Kind kind;
  Item item;
  Ref object = 0;
  Ref other = 0;          // the server of an AP, the other end of a relation
  std::string name = {};  // of what is added or renamed; bytes
  std::uint32_t id = 0;   // of what is added; 0 for the next one
  std::uint32_t number = 0;
  std::uint32_t mask = 0;
  std::optional<std::uint8_t> settings = {};
  std::uint16_t value = 0;
  // All that the user has in the end; for kPrimary the only one.
  std::vector<PlannedMembership> memberships = {};
  Notes notes = {};  // all that the object has in the end
};

// One line about an object: '+' (to), '-' (from) or '~' (from, to). Texts are UTF-8.
struct Detail {
  char sign;
  std::string field;
  std::string from;
  std::string to;
  bool are_quoted = false;  // names of one object each, empty for none, or texts of people
};

struct Change {
  char sign;                 // '+', '-', '~'
  std::optional<Item> item;  // nothing for the preferences
  std::string name;          // bytes
  std::vector<Detail> details = {};
};

struct Tally {
  std::size_t before = 0;
  std::size_t added = 0;
  std::size_t changed = 0;
  std::size_t moved = 0;
  std::size_t removed = 0;
  std::size_t unchanged = 0;
  std::size_t kept = 0;  // not in the file and left alone
};

struct Plan {
  std::uint32_t network = 0;
  std::uint64_t revision = 0;  // of the database that it was made for
  Preferences preferences;     // as they will be
  std::size_t preferences_changed = 0;
  std::vector<Step> steps;
  std::vector<Change> changes;
  std::array<Tally, kItems> tallies;

  Tally& Of(Item item) { return tallies[static_cast<std::size_t>(item)]; }
  const Tally& Of(Item item) const { return tallies[static_cast<std::size_t>(item)]; }
};

// Compares the two. What the description asks for and cannot have becomes a problem. With `prune`
// the plan removes what the description lacks.
Plan MakePlan(const Description& description, const Network& network,
              const Applications& applications, bool prune, ProblemList& problems);

// Does the steps inside a batch of the caller. `after_each` is called after each step and may
// throw. Throws Failure at the first step that the library refuses.
void Execute(const Plan& plan, Session& session, const std::function<void()>& after_each);

}  // namespace ncc::tool
