// Code page 1251 (the bytes of names), code page 866 and UTF-8.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ncc {

// Every byte has a character (0x98, which the code page leaves open, is U+0098), so no name is
// lost.
std::string Utf8FromCp1251(std::string_view bytes);

// Nothing when the text is not UTF-8 or has a character that the code page lacks.
std::optional<std::string> Cp1251FromUtf8(std::string_view utf8);

// Letters of the Russian alphabet and ASCII; any other byte becomes '?'.
std::string Cp866FromCp1251(std::string_view bytes);

}  // namespace ncc
