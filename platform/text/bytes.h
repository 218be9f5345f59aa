// Numbers and columns as files have them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ncc {

// At least so many upper-case hexadecimal digits, at most eight.
void AppendHex(std::string& text, std::uint32_t value, int digits);
inline void AppendHex4(std::string& text, std::uint32_t value) { AppendHex(text, value, 4); }
std::string Hex4(std::uint32_t value);

// "%-<width>.<width>s".
void AppendColumn(std::string& text, std::string_view name, std::size_t width);

// Least significant byte first; gives the place behind the number.
inline char* PutNumber(char* at, std::uint64_t value, std::size_t bytes) {
  for (; bytes > 0; --bytes, value >>= 8) *at++ = static_cast<char>(value & 0xFF);
  return at;
}
void AppendU16(std::string& bytes, std::uint32_t value);
void AppendU32(std::string& bytes, std::uint32_t value);

// The number of four bytes at the offset: least significant byte first, or last.
std::uint32_t U32At(std::string_view bytes, std::size_t offset);
std::uint32_t BigEndianU32At(std::string_view bytes, std::size_t offset);

}  // namespace ncc
