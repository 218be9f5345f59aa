// Pieces of the generated texts.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ncc {

// "%4.4X": at least four upper-case hexadecimal digits.
void AppendHex4(std::string& text, std::uint32_t value);
std::string Hex4(std::uint32_t value);

// "%-<width>.<width>s".
void AppendColumn(std::string& text, std::string_view name, std::size_t width);

// Little-endian numbers of the binary files.
void AppendU16(std::string& bytes, std::uint32_t value);
void AppendU32(std::string& bytes, std::uint32_t value);

}  // namespace ncc
