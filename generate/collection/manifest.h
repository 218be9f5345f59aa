// The manifest of a folder of generated files.
#pragma once

#include "nccnet/changed_files.h"
#include "platform/stamps/digest.h"

#include <string>

namespace ncc {

// 64 lower-case hexadecimal digits, as sha256sum writes them.
std::string DigestDigits(const Digest& digest);

}  // namespace ncc
