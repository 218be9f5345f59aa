// The applications of exchange files: their codes and the bits of a node's flags.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ncc {

// The code of bit k stands at k.
inline constexpr std::array<std::uint32_t, 17> kApplicationCodes = {
    0x00, 0x02, 0x04, 0x05, 0x06, 0x07, 0x08, 0x0A, 0x0B,
    0x14, 0x15, 0x16, 0x17, 0x18, 0x19, 0x1A, 0x1B};

// The bits that have a code.
inline constexpr std::uint32_t kApplicationBits = (1U << kApplicationCodes.size()) - 1;

// 0 for a code that is none.
constexpr std::uint32_t ApplicationBit(std::uint32_t code) {
  for (std::size_t k = 0; k < kApplicationCodes.size(); ++k) {
    if (kApplicationCodes[k] == code) return 1U << k;
  }
  return 0;
}

}  // namespace ncc
