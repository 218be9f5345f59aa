#include "platform/hdb/notes.h"

#include "nccnet/notes.h"

#include <array>
#include <cstdint>
#include <optional>

namespace ncc {
namespace {

// Takes the next character off a text that is not empty; nothing when that is not UTF-8.
std::optional<std::uint32_t> TakeCharacter(std::string_view& utf8) {
  const auto first = static_cast<unsigned char>(utf8.front());
  const std::size_t length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  static constexpr std::array<std::uint32_t, 5> kLeast = {0, 0, 0x80, 0x800, 0x10000};
  static constexpr std::array<unsigned, 5> kBits = {0, 0x7F, 0x1F, 0x0F, 0x07};
  if (utf8.size() < length || (first >= 0x80 && first < 0xC0) || first >= 0xF8) return std::nullopt;
  std::uint32_t character = first & kBits[length];
  for (std::size_t i = 1; i < length; ++i) {
    const auto next = static_cast<unsigned char>(utf8[i]);
    if ((next & 0xC0U) != 0x80) return std::nullopt;
    character = character << 6 | (next & 0x3FU);
  }
  const bool is_surrogate = character >= 0xD800 && character < 0xE000;
  if (character < kLeast[length] || character > 0x10FFFF || is_surrogate) return std::nullopt;
  utf8.remove_prefix(length);
  return character;
}

// What a line of text has none of: control characters, ends of lines and of paragraphs, marks of
// byte order, and what is no character.
bool IsControl(std::uint32_t character) {
  return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x2028 ||
         character == 0x2029 || character == 0xFEFF || (character & 0xFFFE) == 0xFFFE;
}

std::string FaultOf(std::string_view text, std::size_t most) {
  if (text.empty()) return "is empty";
  if (text.size() > most) return "has more than " + std::to_string(most) + " bytes in UTF-8";
  while (!text.empty()) {
    const auto character = TakeCharacter(text);
    if (!character) return "is not UTF-8 text";
    if (IsControl(*character)) return "has control characters";
  }
  return {};
}

}  // namespace

std::string FaultOfNoteKey(std::string_view key) {
  std::string fault = FaultOf(key, kMaxNoteKey);
  if (fault.empty() && (key.front() == ' ' || key.back() == ' ')) {
    fault = "begins or ends in a blank";
  }
  return fault;
}

std::string FaultOfNoteValue(std::string_view value) { return FaultOf(value, kMaxNoteValue); }

}  // namespace ncc
