#include "platform/code_page.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace ncc {
namespace {

// Unicode of the bytes 0x80 to 0xBF; 0xC0 to 0xFF are U+0410 to U+044F in order.
// Source: the mapping that the Unicode Consortium publishes for windows-1251.
constexpr std::array<char16_t, 64> kUpperHalf = {
    0x0402, 0x0403, 0x201A, 0x0453, 0x201E, 0x2026, 0x2020, 0x2021, 0x20AC, 0x2030, 0x0409,
    0x2039, 0x040A, 0x040C, 0x040B, 0x040F, 0x0452, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x0098, 0x2122, 0x0459, 0x203A, 0x045A, 0x045C, 0x045B, 0x045F, 0x00A0,
    0x040E, 0x045E, 0x0408, 0x00A4, 0x0490, 0x00A6, 0x00A7, 0x0401, 0x00A9, 0x0404, 0x00AB,
    0x00AC, 0x00AD, 0x00AE, 0x0407, 0x00B0, 0x00B1, 0x0406, 0x0456, 0x0491, 0x00B5, 0x00B6,
    0x00B7, 0x0451, 0x2116, 0x0454, 0x00BB, 0x0458, 0x0405, 0x0455, 0x0457};

constexpr unsigned char kFirstCyrillic = 0xC0;

char32_t UnicodeOf(unsigned char byte) {
  if (byte < 0x80) return byte;
  if (byte >= kFirstCyrillic) return 0x0410U + byte - kFirstCyrillic;
  return kUpperHalf[byte - 0x80U];
}

std::optional<unsigned char> ByteOf(char32_t c) {
  if (c < 0x80) return static_cast<unsigned char>(c);
  if (c >= 0x0410 && c <= 0x044F) return static_cast<unsigned char>(c - 0x0410 + kFirstCyrillic);
  for (std::size_t i = 0; i < kUpperHalf.size(); ++i) {
    if (kUpperHalf[i] == c) return static_cast<unsigned char>(0x80 + i);
  }
  return std::nullopt;
}

// Characters of one to three bytes; all that the code page has.
std::optional<char32_t> TakeUtf8(std::string_view& text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const std::size_t length = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : 0;
  if (length == 0 || text.size() < length) return std::nullopt;
  char32_t c = length == 1 ? lead : lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(text[i]);
    if ((next & 0xC0U) != 0x80) return std::nullopt;
    c = (c << 6) | (next & 0x3FU);
  }
  if (c < (length == 3 ? 0x800U : length == 2 ? 0x80U : 0U))
    return std::nullopt;  // too long a form
  text.remove_prefix(length);
  return c;
}

}  // namespace

std::string Utf8FromCp1251(std::string_view bytes) {
  std::string out;
  out.reserve(bytes.size());
  for (char byte : bytes) {
    const char32_t c = UnicodeOf(static_cast<unsigned char>(byte));
    if (c < 0x80) {
      out += byte;
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

std::optional<std::string> Cp1251FromUtf8(std::string_view utf8) {
  std::string out(utf8.size(), '\0');
  std::size_t size = 0;
  while (!utf8.empty()) {
    const auto c = TakeUtf8(utf8);
    const auto byte = c ? ByteOf(*c) : std::nullopt;
    if (!byte) return std::nullopt;
    out[size++] = static_cast<char>(*byte);
  }
  out.resize(size);
  return out;
}

std::string Cp866FromCp1251(std::string_view bytes) {
  std::string out(bytes);
  for (char& c : out) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) continue;
    if (byte >= 0xF0) {
      c = static_cast<char>(byte - 0xF0 + 0xE0);
    } else if (byte >= kFirstCyrillic) {
      c = static_cast<char>(byte - kFirstCyrillic + 0x80);
    } else {
      c = byte == 0xA8 ? '\xF0' : byte == 0xB8 ? '\xF1' : '?';
    }
  }
  return out;
}

}  // namespace ncc
