// A set of object numbers, walked in ascending order.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <map>

namespace ncc {

// A bit for each number, in pages of 4096 that exist where a number of theirs does: insertion and
// removal do not grow with the numbers already there.
class IdSet {
 public:
  void Insert(std::uint32_t number) {
    Page& page = pages_[number / kPage];
    std::uint64_t& word = page.words[number % kPage / 64];
    const std::uint64_t bit = 1ULL << (number % 64);
    if ((word & bit) != 0) return;
    word |= bit;
    ++page.count;
    ++size_;
  }

  void Remove(std::uint32_t number) {
    auto page = pages_.find(number / kPage);
    if (page == pages_.end()) return;
    std::uint64_t& word = page->second.words[number % kPage / 64];
    const std::uint64_t bit = 1ULL << (number % 64);
    if ((word & bit) == 0) return;
    word &= ~bit;
    --size_;
    if (--page->second.count == 0) pages_.erase(page);
  }

  bool Contains(std::uint32_t number) const {
    const auto page = pages_.find(number / kPage);
    return page != pages_.end() &&
           (page->second.words[number % kPage / 64] >> (number % 64) & 1) != 0;
  }
  std::size_t Size() const { return size_; }

  template <class Visit>
  void ForEach(Visit visit) const {
    for (const auto& [page_number, page] : pages_) {
      for (std::size_t w = 0; w < page.words.size(); ++w) {
        for (std::uint64_t word = page.words[w]; word != 0; word &= word - 1) {
          const auto bit = static_cast<std::uint32_t>(std::countr_zero(word));
          visit(page_number * kPage + static_cast<std::uint32_t>(w) * 64 + bit);
        }
      }
    }
  }

 private:
  static constexpr std::uint32_t kPage = 4096;
  struct Page {
    std::array<std::uint64_t, kPage / 64> words{};
    std::uint32_t count = 0;
  };

  std::map<std::uint32_t, Page> pages_;
  std::size_t size_ = 0;
};

}  // namespace ncc
