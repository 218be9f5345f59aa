#include "console/text.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include <fmt/format.h>

#include "nccnet/records.h"

namespace ncc::tool {
namespace {

std::string Fold(std::string_view bytes, bool both_alphabets) {
  std::string folded(bytes);
  for (char& c : folded) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 'A' && byte <= 'Z') c = static_cast<char>(byte + 0x20);
    if (both_alphabets && byte >= 0xC0 && byte <= 0xDF) c = static_cast<char>(byte + 0x20);
    if (both_alphabets && byte == 0xA8) c = static_cast<char>(0xB8);
  }
  return folded;
}

// Characters that show nothing or turn the direction of what follows.
bool IsInvisible(std::uint32_t character) {
  return (character >= 0x200B && character <= 0x200F) ||
         (character >= 0x2028 && character <= 0x202E) ||
         (character >= 0x2060 && character <= 0x206F) || character == 0xFEFF;
}

bool MatchesGlob(std::string_view pattern, std::string_view text) {
  std::size_t p = 0;
  std::size_t t = 0;
  std::size_t star = std::string_view::npos;
  std::size_t resume = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

}  // namespace

std::optional<std::uint32_t> NextCharacter(std::string_view utf8, std::size_t& position) {
  const auto lead = static_cast<unsigned char>(utf8[position]);
  const std::size_t length = lead < 0x80                   ? 1
                             : lead >= 0xC2 && lead < 0xE0 ? 2
                             : lead >= 0xE0 && lead < 0xF0 ? 3
                             : lead >= 0xF0 && lead < 0xF5 ? 4
                                                           : 0;
  if (length == 0 || position + length > utf8.size()) return std::nullopt;
  std::uint32_t character = length == 1 ? lead : lead & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(utf8[position + i]);
    if ((byte & 0xC0U) != 0x80U) return std::nullopt;
    character = (character << 6) | (byte & 0x3FU);
  }
  const bool overlong = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
  const bool surrogate = character >= 0xD800 && character < 0xE000;
  if (overlong || surrogate || character > 0x10FFFF) return std::nullopt;
  position += length;
  return character;
}

bool IsControl(std::uint32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

bool IsBlank(std::string_view bytes) {
  return bytes.find_first_not_of(" \xA0") == std::string_view::npos;
}

NameBytes BytesFromName(std::string_view utf8) {
  if (utf8.empty()) return {{}, "is empty"};
  NameBytes name;
  for (std::size_t position = 0; position < utf8.size();) {
    const std::size_t start = position;
    const auto character = NextCharacter(utf8, position);
    if (!character) return {{}, fmt::format("is not UTF-8 text (byte {})", start + 1)};
    if (IsControl(*character)) {
      return {{}, fmt::format("holds a control character (U+{:04X})", *character)};
    }
    const std::string_view shown = utf8.substr(start, position - start);
    const auto byte = Cp1251FromUtf8(shown);
    if (!byte) {
      return {
          {},
          fmt::format("holds \"{}\" (U+{:04X}), which code page 1251 lacks", shown, *character)};
    }
    name.bytes += *byte;
  }
  if (name.bytes.size() > kMaxNameLength) {
    return {{},
            fmt::format("has {} characters; the limit is {}", name.bytes.size(), kMaxNameLength)};
  }
  return name;
}

std::string_view WithoutByteOrderMark(std::string_view utf8) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  return utf8.starts_with(kMark) ? utf8.substr(kMark.size()) : utf8;
}

std::string Printable(std::string_view utf8) {
  std::string shown;
  for (std::size_t position = 0; position < utf8.size();) {
    const std::size_t start = position;
    const auto character = NextCharacter(utf8, position);
    if (!character) {
      shown += fmt::format("\\x{:02X}", static_cast<unsigned char>(utf8[position++]));
    } else if (IsControl(*character)) {
      shown += fmt::format("\\x{:02X}", *character);
    } else if (IsInvisible(*character)) {
      shown += fmt::format("\\u{:04X}", *character);
    } else {
      shown += utf8.substr(start, position - start);
    }
  }
  return shown;
}

std::string PrintableName(std::string_view bytes) { return Printable(Utf8FromCp1251(bytes)); }

std::size_t Width(std::string_view utf8) {
  return static_cast<std::size_t>(std::count_if(utf8.begin(), utf8.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
  }));
}

std::string FoldName(std::string_view bytes) { return Fold(bytes, false); }
std::string FoldForSearch(std::string_view bytes) { return Fold(bytes, true); }

bool MatchesPattern(std::string_view pattern, std::string_view text) {
  if (pattern.find_first_of("*?") == std::string_view::npos) {
    return text.find(pattern) != std::string_view::npos;
  }
  return MatchesGlob(pattern, text);
}

std::optional<std::uint64_t> ParseNumber(std::string_view text, std::uint64_t limit) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const std::string_view digits = hexadecimal ? text.substr(2) : text;
  std::uint64_t value = 0;
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, value, hexadecimal ? 16 : 10);
  if (digits.empty() || result.ec != std::errc() || result.ptr != end || value > limit) {
    return std::nullopt;
  }
  return value;
}

}  // namespace ncc::tool
