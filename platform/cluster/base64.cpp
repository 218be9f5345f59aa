#include "platform/cluster/base64.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace ncc::etcd {
namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint32_t kNoDigit = 1U << 31;

constexpr std::array<std::uint32_t, 256> MakeValues() {
  std::array<std::uint32_t, 256> values{};
  for (std::uint32_t& value : values) value = kNoDigit;
  for (std::uint32_t i = 0; i < kDigits.size(); ++i)
    values[static_cast<unsigned char>(kDigits[i])] = i;
  return values;
}
constexpr std::array<std::uint32_t, 256> kValues = MakeValues();

std::uint32_t ByteAt(std::string_view bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}
std::uint32_t ValueAt(std::string_view text, std::size_t at) { return kValues[ByteAt(text, at)]; }

}  // namespace

void AppendBase64(std::string& text, std::string_view bytes) {
  const std::size_t begin = text.size();
  text.resize(begin + (bytes.size() + 2) / 3 * 4, '=');
  char* out = text.data() + begin;
  std::size_t at = 0;
  for (; at + 3 <= bytes.size(); at += 3) {
    const std::uint32_t bits =
        ByteAt(bytes, at) << 16 | ByteAt(bytes, at + 1) << 8 | ByteAt(bytes, at + 2);
    for (const int shift : {18, 12, 6, 0}) *out++ = kDigits[bits >> shift & 63];
  }
  const std::size_t rest = bytes.size() - at;
  if (rest == 0) return;
  const std::uint32_t bits = ByteAt(bytes, at) << 16 | (rest > 1 ? ByteAt(bytes, at + 1) << 8 : 0);
  *out++ = kDigits[bits >> 18];
  *out++ = kDigits[bits >> 12 & 63];
  if (rest > 1) *out = kDigits[bits >> 6 & 63];
}

bool DecodeBase64(std::string_view text, std::string& bytes) {
  if (text.size() % 4 != 0) return false;
  std::size_t padding = 0;
  while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=') ++padding;
  const std::size_t digits = text.size() - padding;
  bytes.resize(text.size() / 4 * 3);
  char* out = bytes.data();
  std::uint32_t wrong = 0;
  std::size_t at = 0;
  for (; at + 4 <= digits; at += 4) {
    const std::uint32_t bits = ValueAt(text, at) << 18 | ValueAt(text, at + 1) << 12 |
                               ValueAt(text, at + 2) << 6 | ValueAt(text, at + 3);
    wrong |=
        ValueAt(text, at) | ValueAt(text, at + 1) | ValueAt(text, at + 2) | ValueAt(text, at + 3);
    for (const int shift : {16, 8, 0}) *out++ = static_cast<char>(bits >> shift);
  }
  std::uint32_t bits = 0;
  for (std::size_t i = 0; at + i < digits; ++i) {
    wrong |= ValueAt(text, at + i);
    bits |= ValueAt(text, at + i) << (18 - 6 * i);
  }
  if (padding > 0) *out++ = static_cast<char>(bits >> 16);
  if (padding == 1) *out = static_cast<char>(bits >> 8);
  bytes.resize(bytes.size() - padding);
  return (wrong & kNoDigit) == 0;
}

}  // namespace ncc::etcd
