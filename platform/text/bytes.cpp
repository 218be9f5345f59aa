#include "platform/text/bytes.h"

namespace ncc {
namespace {

std::uint32_t ByteAt(std::string_view bytes, std::size_t offset) {
  return static_cast<unsigned char>(bytes[offset]);
}

void AppendNumber(std::string& bytes, std::uint32_t value, std::size_t size) {
  char image[sizeof value];
  PutNumber(image, value, size);
  bytes.append(image, size);
}

}  // namespace

void AppendHex(std::string& text, std::uint32_t value, int digits) {
  constexpr int kTopShift = 28;
  int shift = 4 * (digits - 1);
  while (shift < kTopShift && value >> (shift + 4) != 0) shift += 4;
  for (; shift >= 0; shift -= 4) text += "0123456789ABCDEF"[value >> shift & 0xF];
}

std::string Hex4(std::uint32_t value) {
  std::string text;
  AppendHex4(text, value);
  return text;
}

void AppendColumn(std::string& text, std::string_view name, std::size_t width) {
  text.append(name, 0, width);
  if (name.size() < width) text.append(width - name.size(), ' ');
}

void AppendU16(std::string& bytes, std::uint32_t value) { AppendNumber(bytes, value, 2); }
void AppendU32(std::string& bytes, std::uint32_t value) { AppendNumber(bytes, value, 4); }

std::uint32_t U32At(std::string_view bytes, std::size_t offset) {
  return ByteAt(bytes, offset) | ByteAt(bytes, offset + 1) << 8 | ByteAt(bytes, offset + 2) << 16 |
         ByteAt(bytes, offset + 3) << 24;
}

std::uint32_t BigEndianU32At(std::string_view bytes, std::size_t offset) {
  return __builtin_bswap32(U32At(bytes, offset));
}

}  // namespace ncc
