// Comparing names without regard to the case of their ASCII letters; all other bytes compare as
// they are.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace ncc {

constexpr char FoldAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }
constexpr char UpperAscii(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c & ~0x20) : c;
}

// Eight characters at once: the top bit of each byte tells whether it is a capital letter.
constexpr std::uint64_t FoldAscii(std::uint64_t eight) {
  constexpr std::uint64_t kEach = 0x0101010101010101ULL;
  const std::uint64_t low = eight & (0x7F * kEach);
  const std::uint64_t capital =
      (low + (0x80 - 'A') * kEach) & ~(low + (0x7F - 'Z') * kEach) & ~eight & (0x80 * kEach);
  return eight | capital >> 2;
}

// The first eight characters of what is left, folded; zeros stand for those behind the end.
inline std::uint64_t TakeFolded(std::string_view& rest) {
  std::uint64_t eight = 0;
  const std::size_t size = std::min(rest.size(), sizeof(eight));
  std::memcpy(&eight, rest.data(), size);
  rest.remove_prefix(size);
  return FoldAscii(eight);
}

inline bool EqualFolded(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  while (!a.empty()) {
    if (TakeFolded(a) != TakeFolded(b)) return false;
  }
  return true;
}

// The low bits choose a slot.
inline std::uint32_t HashFolded(std::string_view text, std::uint32_t seed) {
  std::uint64_t hash = (std::uint64_t{seed} << 32 | text.size()) * 0x9E3779B97F4A7C15ULL;
  while (!text.empty()) {
    hash = (hash ^ TakeFolded(text)) * 0xBF58476D1CE4E5B9ULL;
    hash ^= hash >> 32;
  }
  return static_cast<std::uint32_t>(hash);
}

}  // namespace ncc
