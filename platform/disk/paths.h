// Paths as the library takes them: '\' and '/' both separate folders.
#pragma once

#include <string>
#include <string_view>

namespace ncc {

// The path in the form that the system's calls take.
std::string NativePath(std::string_view path);

}  // namespace ncc
