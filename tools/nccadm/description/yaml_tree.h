// A YAML document as a tree that knows where each node stands, read within fixed bounds.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "console/failure.h"

namespace ncc::tool {

inline constexpr std::size_t kMaxYamlBytes = 64U << 20;
inline constexpr std::size_t kMaxYamlNodes = 2'000'000;
inline constexpr std::size_t kMaxYamlDepth = 8;
inline constexpr std::size_t kMaxProblems = 20;

struct Place {
  int line = 0;    // from 1; 0 means the text as a whole
  int column = 0;  // characters before the place
};

struct YamlNode {
  enum class Kind { kNull, kScalar, kSequence, kMap };

  Kind kind = Kind::kNull;
  Place place;
  std::string text;             // of a scalar
  std::vector<YamlNode> keys;   // of a map, beside its `items`
  std::vector<YamlNode> items;  // of a sequence or map
};

// Collects the faults of one text. Keeps the first of them and counts the rest.
class ProblemList {
 public:
  void Add(Place place, std::string what);
  bool Empty() const { return problems_.empty(); }
  // Whether the next one is only counted, so that its words are not worth any trouble.
  bool IsFull() const { return problems_.size() == kMaxProblems; }

  // In the order of the text, with a last entry when some were left out.
  std::vector<Problem> TakeSorted();

 private:
  std::vector<Problem> problems_;
  std::size_t left_out_ = 0;
};

// Told how many bytes have been read.
using YamlProgress = std::function<void(std::size_t)>;

// Reads the only document of the text. After a fault, which is then in `problems`, the result is
// null. Anchors, aliases and tags are refused.
YamlNode ReadYaml(std::string_view text, ProblemList& problems, const YamlProgress& progress);

}  // namespace ncc::tool
