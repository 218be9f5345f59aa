// How the user names an object.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ncc::tool {

struct Reference {
  std::optional<std::uint32_t> id;
  std::string name;  // bytes; meaningful when there is no id
};

// Reads "id:NUMBER", "name:TEXT" or a name; the second form reaches a name that begins like one of
// the first two. Throws Failure for what can be none of them.
Reference ParseReference(const std::string& text);

}  // namespace ncc::tool
