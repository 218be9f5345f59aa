// Comparing names without regard to the case of their ASCII letters; all other bytes compare as
// they are.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ncc {

constexpr char FoldAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }
constexpr char UpperAscii(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c & ~0x20) : c;
}

constexpr bool EqualFolded(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
  }
  return true;
}

// FNV-1a over the folded bytes, started from `seed`, with a finishing mix: the low bits choose a
// slot.
constexpr std::uint32_t HashFolded(std::string_view text, std::uint32_t seed) {
  std::uint32_t hash = 2166136261U ^ seed;
  for (char c : text) {
    hash = (hash ^ static_cast<unsigned char>(FoldAscii(c))) * 16777619U;
  }
  hash ^= hash >> 16;
  hash *= 0x85EBCA6BU;
  return hash ^ (hash >> 13);
}

}  // namespace ncc
