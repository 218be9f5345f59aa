// CRC-32C (Castagnoli), the checksum of stored rows.
#pragma once

#include <cstdint>
#include <string_view>

namespace ncc {

// The checksum of everything that `crc` covers followed by `bytes`; 0 stands for nothing before.
std::uint32_t ExtendCrc32c(std::uint32_t crc, std::string_view bytes);

// The same values without special instructions. For processors that lack them.
std::uint32_t ExtendCrc32cPortable(std::uint32_t crc, std::string_view bytes);

}  // namespace ncc
