// Numbers that nobody else draws.
#pragma once

#include <cstdint>

namespace ncc {

// 64 random bits. Throws std::system_error when the system gives none.
std::uint64_t DrawToken();

}  // namespace ncc
