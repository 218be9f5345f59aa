// What a network may have though it is sound, and taking back a change should not bring about: two
// objects of a kind with one name, items with another name than their object, users that name what
// is gone.
#pragma once

#include "platform/hdb/base.h"

#include <compare>
#include <cstdint>
#include <set>
#include <vector>

namespace ncc {

struct Flaw {
  enum class What : std::uint8_t { kSharedName, kItemName, kMembership, kPrimary };

  What what = What::kSharedName;
  std::uint32_t object = 0;  // that has it
  std::uint32_t dep = 0;     // that the user names; kItemName: the item's object
  std::uint32_t node = 0;    // that the user names

  friend auto operator<=>(const Flaw&, const Flaw&) = default;
};
using Flaws = std::set<Flaw>;

Flaws FlawsOf(const CHDBase& base);

// The objects that it is about, those that are gone among them.
std::vector<std::uint32_t> ObjectsOf(const CHDBase& base, const Flaw& flaw);

}  // namespace ncc
