// A table from 32-bit numbers to values that costs three loads to look up and no memory for absent
// ranges.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace ncc {

// Numbers are dense as a rule, so nearly all look-ups end in one leaf of the table that is in the
// cache; a sparse number costs one middle node and one leaf. T is default-constructible and false
// when absent.
template <class T>
class PagedTable {
 public:
  // Null when nothing was ever put near this number.
  const T* Find(std::uint32_t number) const {
    const auto& middle = top_[number >> (kMiddleBits + kLeafBits)];
    if (!middle) return nullptr;
    const auto& leaf = (*middle)[(number >> kLeafBits) % kMiddle];
    return leaf ? &(*leaf)[number % kLeaf] : nullptr;
  }

  T& At(std::uint32_t number) {
    auto& middle = top_[number >> (kMiddleBits + kLeafBits)];
    if (!middle) middle = std::make_unique<Middle>();
    auto& leaf = (*middle)[(number >> kLeafBits) % kMiddle];
    if (!leaf) leaf = std::make_unique<Leaf>();
    return (*leaf)[number % kLeaf];
  }

  template <class Visit>
  void ForEach(Visit visit) const {
    for (const auto& middle : top_) {
      if (!middle) continue;
      for (const auto& leaf : *middle) {
        if (!leaf) continue;
        for (const T& value : *leaf) {
          if (value) visit(value);
        }
      }
    }
  }

  void Clear() {
    for (auto& middle : top_) middle.reset();
  }

 private:
  static constexpr unsigned kLeafBits = 10;
  static constexpr unsigned kMiddleBits = 11;
  static constexpr std::size_t kLeaf = 1U << kLeafBits;
  static constexpr std::size_t kMiddle = 1U << kMiddleBits;
  using Leaf = std::array<T, kLeaf>;
  using Middle = std::array<std::unique_ptr<Leaf>, kMiddle>;

  std::array<std::unique_ptr<Middle>, 1U << (32 - kMiddleBits - kLeafBits)> top_;
};

}  // namespace ncc
