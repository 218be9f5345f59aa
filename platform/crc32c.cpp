#include "platform/crc32c.h"

#include <array>
#include <bit>
#include <cstddef>
#include <cstring>

#if defined(__x86_64__)
#include <nmmintrin.h>
#endif

namespace ncc {
namespace {

constexpr std::uint32_t kPolynomial = 0x82F63B78;  // bits reversed
constexpr std::size_t kStride = 8;

using Tables = std::array<std::array<std::uint32_t, 256>, kStride>;

// tables[k][b] is the effect of byte b with k bytes behind it, so that eight bytes take one step.
constexpr Tables MakeTables() {
  Tables tables{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ ((crc & 1) != 0 ? kPolynomial : 0);
    tables[0][byte] = crc;
  }
  for (std::size_t k = 1; k < kStride; ++k) {
    for (std::size_t byte = 0; byte < 256; ++byte) {
      const std::uint32_t before = tables[k - 1][byte];
      tables[k][byte] = (before >> 8) ^ tables[0][before & 0xFF];
    }
  }
  return tables;
}

constexpr Tables kTables = MakeTables();

std::uint64_t LoadWord(const char* from) {
  std::uint64_t word = 0;
  std::memcpy(&word, from, sizeof word);
  return word;
}

std::uint32_t StepByte(std::uint32_t crc, char byte) {
  return (crc >> 8) ^ kTables[0][(crc ^ static_cast<unsigned char>(byte)) & 0xFF];
}

#if defined(__x86_64__)
__attribute__((target("sse4.2"))) std::uint32_t ExtendByInstruction(std::uint32_t crc,
                                                                    std::string_view bytes) {
  std::uint64_t state = ~crc;
  const char* at = bytes.data();
  std::size_t left = bytes.size();
  for (; left >= kStride; at += kStride, left -= kStride)
    state = _mm_crc32_u64(state, LoadWord(at));
  auto tail = static_cast<std::uint32_t>(state);
  for (; left > 0; ++at, --left) tail = _mm_crc32_u8(tail, static_cast<unsigned char>(*at));
  return ~tail;
}
#endif

using Extend = std::uint32_t (*)(std::uint32_t, std::string_view);

Extend ChooseExtend() {
#if defined(__x86_64__)
  if (__builtin_cpu_supports("sse4.2") != 0) return ExtendByInstruction;
#endif
  return ExtendCrc32cPortable;
}

}  // namespace

std::uint32_t ExtendCrc32cPortable(std::uint32_t crc, std::string_view bytes) {
  std::uint32_t state = ~crc;
  const char* at = bytes.data();
  std::size_t left = bytes.size();
  if constexpr (std::endian::native == std::endian::little) {
    for (; left >= kStride; at += kStride, left -= kStride) {
      const std::uint64_t word = LoadWord(at) ^ state;
      state = 0;
      for (std::size_t k = 0; k < kStride; ++k) {
        state ^= kTables[kStride - 1 - k][(word >> (8 * k)) & 0xFF];
      }
    }
  }
  for (; left > 0; ++at, --left) state = StepByte(state, *at);
  return ~state;
}

std::uint32_t ExtendCrc32c(std::uint32_t crc, std::string_view bytes) {
  static const Extend kChosen = ChooseExtend();
  return kChosen(crc, bytes);
}

}  // namespace ncc
