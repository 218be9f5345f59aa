// What those who compose a file tell of its lines, where they decide about them.
#pragma once

#include "nccnet/explain.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

namespace ncc {

using ReasonList = std::vector<CReason>;

// The reasons of each line of a text. Who composes takes a pointer, which is null in a generation:
// nothing is made for it then.
struct Reasons {
  std::uint32_t reader = 0;  // whose file it is
  std::vector<ReasonList> lines;

  // For the lines that `text` is: several when a name has line ends.
  void Add(std::string_view text, const ReasonList& reasons) {
    lines.insert(lines.end(), static_cast<std::size_t>(std::ranges::count(text, '\n')), reasons);
  }
  void Append(const Reasons& other) {
    lines.insert(lines.end(), other.lines.begin(), other.lines.end());
  }
};

// A way from a node to one that it sees: through a group of its own, a Dep of that, a Dep linked to
// it (0 when there is no need of one), and the group of this one that holds the other node.
struct Way {
  std::uint32_t group = 0;
  std::uint32_t dep = 0;
  std::uint32_t linked = 0;
  std::uint32_t home = 0;
};
void AppendWay(ReasonList& reasons, std::uint32_t from, const Way& way, std::uint32_t to);

}  // namespace ncc
