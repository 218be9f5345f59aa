// Numbers as the exchange writes them: upper case, four digits or as many more as it takes.
#pragma once

#include <cstdint>
#include <string>

namespace ncc {

inline void AppendHex(std::string& text, std::uint32_t value) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  int shift = 12;
  while (shift < 28 && value >> (shift + 4) != 0) shift += 4;
  for (; shift >= 0; shift -= 4) text += kDigits[value >> shift & 0xF];
}

inline std::string Hex4(std::uint32_t value) {
  std::string text;
  AppendHex(text, value);
  return text;
}

}  // namespace ncc
