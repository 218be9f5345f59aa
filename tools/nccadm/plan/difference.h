// What changed between two states of one network, in the words of plans. Objects are told apart by
// their ids, so that one with another name is one that was renamed.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "network/applications.h"
#include "network/notes.h"
#include "network/preferences.h"
#include "network/view.h"
#include "plan/plan.h"

namespace ncc::tool {

// What objects of an object are, beside what its entry says.
enum class Tie { kServerLink, kNodeOfGroup, kDepOfGroup, kDepLink, kUserOfDep };
inline constexpr std::size_t kTies = 5;

struct ObjectState {
  Object entry;
  std::array<std::vector<std::uint32_t>, kTies> ties;  // ids, in order
  std::vector<Membership> memberships;
  Notes notes;
};

// Some objects of a network.
struct State {
  Preferences preferences;
  std::map<std::uint32_t, ObjectState> objects;
  std::unordered_map<std::uint32_t, std::string> names;  // of all that they refer to; bytes
};

// Those of the ids that are objects.
State TakeState(CNCCNet& net, const std::vector<std::uint32_t>& ids);

// The changes of the objects that either state holds, in the order of plans.
std::vector<Change> Compare(const State& before, const State& after,
                            const Applications& applications);
// What becomes of the notes of one of them.
std::vector<Detail> DetailsOfNotes(const Notes& before, const Notes& after);

}  // namespace ncc::tool
