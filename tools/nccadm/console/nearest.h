// What a mistyped name was probably meant to be.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ncc::tool {

// Looks through candidates, one by one and in any order, all in UTF-8 or all in the library's
// bytes. Most are passed over by their length and letters alone.
class Nearest {
 public:
  explicit Nearest(std::string_view text, std::size_t most = 1);

  void Offer(const std::string& candidate);

  // The nearest first, as many as were wanted at most; none when none is near.
  std::vector<std::string> Found();

 private:
  bool SharesLetters(std::string_view folded) const;
  std::size_t DistanceTo(std::string_view folded);

  std::string wanted_;                      // folded
  std::array<std::size_t, 256> letters_{};  // how often it has each byte
  std::size_t most_;
  std::size_t limit_;                                       // farther is not near
  std::vector<std::pair<std::size_t, std::string>> found_;  // by distance, then by letters
  std::array<std::vector<std::size_t>, 3> rows_;            // of DistanceTo
};

// The candidate that `text` was probably meant to be; empty when none is near.
std::string ClosestMatch(std::string_view text, const std::vector<std::string>& candidates);

}  // namespace ncc::tool
