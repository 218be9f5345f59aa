// Compressing bytes that are kept for long and read rarely.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ncc {

std::string Compress(std::string_view bytes);

// Nothing for what Compress did not give.
std::optional<std::string> Decompress(std::string_view compressed);

}  // namespace ncc
