// What has to be done to a database so that it agrees with a description.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "description.h"
#include "network.h"
#include "session.h"

namespace ncc::tool {

struct Step {
  enum class Kind { kPreferences, kAddServer, kSetServer, kAddAp, kMoveAp, kSetAp, kLink };

  Kind kind;
  std::size_t server = 0;  // position in Plan::servers; the new server of an AP
  std::size_t other = 0;   // of kLink
  std::uint32_t ap = 0;    // id of an AP that exists
  std::string name = {};   // of what it is about; bytes
  std::uint32_t mask = 0;
  std::optional<std::uint8_t> settings = {};
  std::uint16_t value = 0;
};

struct Tally {
  std::size_t added = 0;
  std::size_t changed = 0;
  std::size_t moved = 0;
  std::size_t unchanged = 0;
};

struct Plan {
  std::vector<std::uint32_t> servers;  // ids; 0 for one that a step adds
  Preferences preferences;             // as they will be
  std::vector<Step> steps;
  Tally server_tally;
  Tally ap_tally;
  Tally link_tally;
  std::size_t preferences_changed = 0;
};

// Compares the two. What the description asks for and cannot have becomes a problem.
Plan MakePlan(const Description& description, const Network& network, ProblemList& problems);

// Does the steps inside a batch of the caller. `after_each` is called after each step and may
// throw. Throws Failure at the first step that the library refuses.
void Execute(const Plan& plan, Session& session, const std::function<void()>& after_each);

}  // namespace ncc::tool
