#include "network/reference.h"

#include <limits>

#include <fmt/format.h>

#include "console/failure.h"
#include "console/text.h"

namespace ncc::tool {

Reference ParseReference(const std::string& text) {
  if (text.starts_with("id:")) {
    const auto id = ParseNumber(text.substr(3), std::numeric_limits<std::uint32_t>::max());
    if (!id) {
      throw Failure(fmt::format("\"{}\" is not an id", text),
                    "An id is written id:12 or id:0x000C; a name that begins so, name:id:12.");
    }
    return {static_cast<std::uint32_t>(*id), {}};
  }
  const NameBytes name = BytesFromName(text.starts_with("name:") ? text.substr(5) : text);
  if (!name.reason.empty()) {
    throw Failure(fmt::format("\"{}\" cannot be the name of an object: it {}", text, name.reason));
  }
  return {std::nullopt, name.bytes};
}

}  // namespace ncc::tool
