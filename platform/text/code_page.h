// Code page 866; for code page 1251 and UTF-8 see nccnet/text.h.
#pragma once

#include <string>
#include <string_view>

namespace ncc {

// Letters of the Russian alphabet and ASCII; any other byte becomes '?'.
std::string Cp866FromCp1251(std::string_view bytes);

}  // namespace ncc
