#include "text.h"

#include <algorithm>
#include <array>
#include <charconv>

#include <fmt/format.h>

#include "nccnet/records.h"

namespace ncc::tool {
namespace {

// Code page 1251 from 0x80 to 0xBF; the alphabet from 0xC0 on is regular.
constexpr std::array<std::uint16_t, 64> kUpperHalf = {
    0x0402, 0x0403, 0x201A, 0x0453, 0x201E, 0x2026, 0x2020, 0x2021, 0x20AC, 0x2030, 0x0409,
    0x2039, 0x040A, 0x040C, 0x040B, 0x040F, 0x0452, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x0098, 0x2122, 0x0459, 0x203A, 0x045A, 0x045C, 0x045B, 0x045F, 0x00A0,
    0x040E, 0x045E, 0x0408, 0x00A4, 0x0490, 0x00A6, 0x00A7, 0x0401, 0x00A9, 0x0404, 0x00AB,
    0x00AC, 0x00AD, 0x00AE, 0x0407, 0x00B0, 0x00B1, 0x0406, 0x0456, 0x0491, 0x00B5, 0x00B6,
    0x00B7, 0x0451, 0x2116, 0x0454, 0x00BB, 0x0458, 0x0405, 0x0455, 0x0457};

std::uint32_t CharacterOf(unsigned char byte) {
  if (byte < 0x80) return byte;
  if (byte < 0xC0) return kUpperHalf[byte - 0x80U];
  return 0x0410U + (byte - 0xC0U);
}

std::optional<unsigned char> ByteOf(std::uint32_t character) {
  if (character < 0x80) return static_cast<unsigned char>(character);
  if (character >= 0x0410 && character <= 0x044F) {
    return static_cast<unsigned char>(0xC0U + (character - 0x0410U));
  }
  const auto found = std::find(kUpperHalf.begin(), kUpperHalf.end(), character);
  if (found == kUpperHalf.end()) return std::nullopt;
  return static_cast<unsigned char>(0x80 + (found - kUpperHalf.begin()));
}

// The code page reaches three bytes of UTF-8 at most.
void AppendUtf8(std::string& out, std::uint32_t character) {
  if (character < 0x80) {
    out += static_cast<char>(character);
  } else if (character < 0x800) {
    out += static_cast<char>(0xC0U | (character >> 6));
    out += static_cast<char>(0x80U | (character & 0x3FU));
  } else {
    out += static_cast<char>(0xE0U | (character >> 12));
    out += static_cast<char>(0x80U | ((character >> 6) & 0x3FU));
    out += static_cast<char>(0x80U | (character & 0x3FU));
  }
}

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

std::string Utf8FromBytes(std::string_view bytes) {
  std::string utf8;
  utf8.reserve(bytes.size() * 2);
  for (const char c : bytes) AppendUtf8(utf8, CharacterOf(static_cast<unsigned char>(c)));
  return utf8;
}

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
    const auto byte = ByteOf(*character);
    if (!byte) {
      return {{},
              fmt::format("holds \"{}\" (U+{:04X}), which code page 1251 lacks",
                          utf8.substr(start, position - start), *character)};
    }
    name.bytes += static_cast<char>(*byte);
  }
  if (name.bytes.size() > kMaxNameLength) {
    return {{},
            fmt::format("has {} characters; the limit is {}", name.bytes.size(), kMaxNameLength)};
  }
  return name;
}

std::optional<std::string> BytesFromUtf8(std::string_view utf8) {
  std::string bytes;
  for (std::size_t position = 0; position < utf8.size();) {
    const auto character = NextCharacter(utf8, position);
    const auto byte = character ? ByteOf(*character) : std::nullopt;
    if (!byte) return std::nullopt;
    bytes += static_cast<char>(*byte);
  }
  return bytes;
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

std::string PrintableName(std::string_view bytes) { return Printable(Utf8FromBytes(bytes)); }

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
