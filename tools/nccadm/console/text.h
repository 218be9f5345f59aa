// Names and other text between the terminal (UTF-8) and the library (code page 1251).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "nccnet/text.h"

namespace ncc::tool {

inline std::string Utf8FromBytes(std::string_view bytes) { return Utf8FromCp1251(bytes); }

struct NameBytes {
  std::string bytes;   // code page 1251; meaningful when `reason` is empty
  std::string reason;  // why the text cannot be a name, for a sentence that starts with "the name"
};

// Nothing but blanks, which no one could tell from another such name.
bool IsBlank(std::string_view bytes);

// Tests the text against every rule for names of objects.
NameBytes BytesFromName(std::string_view utf8);

// The same for text that is searched for: no limit of length, any character the code page has.
inline std::optional<std::string> BytesFromUtf8(std::string_view utf8) {
  return Cp1251FromUtf8(utf8);
}

std::string_view WithoutByteOrderMark(std::string_view utf8);

// Reads one character and moves `position` behind it; nothing when the bytes there are not UTF-8.
std::optional<std::uint32_t> NextCharacter(std::string_view utf8, std::size_t& position);

// Control characters and bytes that are not UTF-8 become \xNN or \uNNNN: safe to show on a
// terminal.
std::string Printable(std::string_view utf8);
std::string PrintableName(std::string_view bytes);
bool IsControl(std::uint32_t character);

// How many columns a printable text takes on a terminal.
std::size_t Width(std::string_view utf8);

// ASCII letters to one case, as the library compares names.
std::string FoldName(std::string_view bytes);
// Letters of both alphabets of code page 1251 to one case, for searching.
std::string FoldForSearch(std::string_view bytes);

// Whether `text` has `pattern` as a part or, when it holds * or ?, matches it whole. Both folded
// already.
bool MatchesPattern(std::string_view pattern, std::string_view text);

// A number in decimal or, after 0x, hexadecimal digits; nothing for anything else and above
// `limit`.
std::optional<std::uint64_t> ParseNumber(std::string_view text, std::uint64_t limit);

}  // namespace ncc::tool
