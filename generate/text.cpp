#include "generate/text.h"

namespace ncc {

void AppendHex4(std::string& text, std::uint32_t value) {
  int shift = 12;
  while (shift < 28 && value >> (shift + 4) != 0) shift += 4;
  for (; shift >= 0; shift -= 4) text += "0123456789ABCDEF"[value >> shift & 0xF];
}

std::string Hex4(std::uint32_t value) {
  std::string text;
  AppendHex4(text, value);
  return text;
}

void AppendColumn(std::string& text, std::string_view name, std::size_t width) {
  text.append(name, 0, width);
  if (name.size() < width) text.append(width - name.size(), ' ');
}

void AppendU16(std::string& bytes, std::uint32_t value) {
  bytes += static_cast<char>(value & 0xFF);
  bytes += static_cast<char>(value >> 8 & 0xFF);
}

void AppendU32(std::string& bytes, std::uint32_t value) {
  AppendU16(bytes, value);
  AppendU16(bytes, value >> 16);
}

}  // namespace ncc
