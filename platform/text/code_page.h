// Code page 866, code page 1251 where a text goes on (else see nccnet/text.h), and texts that may
// be no text.
#pragma once

#include <string>
#include <string_view>

namespace ncc {

// Letters of the Russian alphabet and ASCII; any other byte becomes '?'.
std::string Cp866FromCp1251(std::string_view bytes);

// Appends text of code page 1251 as UTF-8.
void AppendUtf8(std::string& out, std::string_view bytes);
// The other way. False when not all of it is text of that code page; then some may be appended.
bool AppendCp1251(std::string& out, std::string_view utf8);
// The text with a '?' for each byte that is part of no UTF-8 character.
std::string ValidUtf8(std::string_view text);

}  // namespace ncc
