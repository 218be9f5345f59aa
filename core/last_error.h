// The text of the calling thread's last failure.
#pragma once

#include "nccnet/failure.h"

#include <string>
#include <string_view>

namespace ncc {

// Keeps what fits into 511 bytes, its end before its middle; needs no memory.
void SetLastError(std::string_view text, NCCFailure kind = NCCFailure::kOther) noexcept;
void ClearLastError() noexcept;
const char* LastErrorText() noexcept;

}  // namespace ncc
