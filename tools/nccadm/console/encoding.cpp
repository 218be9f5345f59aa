#include "console/encoding.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>

#include <iconv.h>

#include <fmt/format.h>

#include "console/failure.h"
#include "console/text.h"

namespace ncc::tool {
namespace {

constexpr const char* kHint =
    "it was saved in: --encoding cp1251, utf-16 or another that iconv -l lists";

class Converter {
 public:
  explicit Converter(const std::string& from)
      // What stands behind a slash would make iconv guess.
      : handle_(iconv_open("UTF-8", from.substr(0, from.find('/')).c_str())) {
    if (handle_ == None())
      throw Failure(fmt::format("there is no encoding \"{}\"", from),
                    fmt::format("Say what {}.", kHint));
  }
  ~Converter() { iconv_close(handle_); }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // Appends what could be converted. Returns whether that is all.
  bool Run(std::string_view bytes, std::string& utf8) {
    char* in = const_cast<char*>(bytes.data());  // which only reads
    std::size_t left = bytes.size();
    while (left != 0) {
      if (!Step(&in, &left, utf8)) return false;
    }
    return Step(nullptr, nullptr, utf8);
  }

 private:
  static iconv_t None() { return reinterpret_cast<iconv_t>(-1); }

  bool Step(char** in, std::size_t* left, std::string& utf8) {
    std::array<char, 4096> room;
    char* out = room.data();
    std::size_t out_left = room.size();
    const bool is_done = iconv(handle_, in, left, &out, &out_left) != static_cast<std::size_t>(-1);
    const bool is_full = !is_done && errno == E2BIG;
    utf8.append(room.data(), out);
    return is_done || is_full;
  }

  iconv_t handle_;
};

std::string EncodingOfMark(std::string_view bytes) {
  const bool is_utf16 = bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF");
  return is_utf16 ? "UTF-16" : "UTF-8";
}

}  // namespace

std::string Utf8FromFile(std::string_view bytes, std::string encoding, const std::string& file) {
  if (encoding.empty()) encoding = EncodingOfMark(bytes);
  std::string utf8;
  const bool is_whole = Converter(encoding).Run(bytes, utf8);
  const std::size_t end = std::min(utf8.find('\0'), utf8.size());  // UTF-16 without a mark has many
  if (!is_whole || end < utf8.size()) {
    const std::string_view before = std::string_view(utf8).substr(0, end);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t column = Width(before.substr(before.find_last_of('\n') + 1)) + 1;
    throw Failure(fmt::format("{} was not imported; nothing was changed", file), file,
                  {{static_cast<int>(line), static_cast<int>(column),
                    fmt::format("not {} text; say what {}", encoding, kHint)}});
  }
  return std::string(WithoutByteOrderMark(utf8));
}

}  // namespace ncc::tool
