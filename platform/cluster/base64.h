// Bytes as JSON texts carry them.
#pragma once

#include <string>
#include <string_view>

namespace ncc::etcd {

void AppendBase64(std::string& text, std::string_view bytes);

// False for what AppendBase64 does not write.
bool DecodeBase64(std::string_view text, std::string& bytes);

}  // namespace ncc::etcd
