// Text files in the encodings in which other programs save them.
#pragma once

#include <string>
#include <string_view>

namespace ncc::tool {

// The text in UTF-8, without its mark. `encoding` is one that the system's iconv knows; when it is
// empty, the file's mark tells, and without one it is UTF-8. Throws Failure, with a hint at the
// option, when the bytes are no text in it; `file` is for its message.
std::string Utf8FromFile(std::string_view bytes, std::string encoding, const std::string& file);

}  // namespace ncc::tool
