// Whole files in and out.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ncc::tool {

// The bytes of a file, or of standard input for "-". Throws Failure when it cannot be read or is
// longer.
std::string ReadFile(const std::string& file, std::size_t limit);

// The file appears whole or stays as it was. Throws Failure.
void WriteFile(const std::string& file, std::string_view bytes);

}  // namespace ncc::tool
