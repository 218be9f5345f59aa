// Binary files read field by field, little-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace ncc::tool {

// Every member throws Failure with the file and the place where the bytes end too early.
class ByteReader {
 public:
  // `file` is for messages; `bytes` have to live as long as the reader.
  ByteReader(std::string file, std::string_view bytes) : file_(std::move(file)), bytes_(bytes) {}

  std::uint32_t Number(std::size_t size);  // of up to 4 bytes
  std::string_view Next(std::size_t size);
  void Skip(std::size_t size) { Next(size); }

  std::size_t At() const { return at_; }
  std::size_t Left() const { return bytes_.size() - at_; }

  // Ends the reading with Failure: "FILE is damaged at byte N: what".
  [[noreturn]] void Fail(std::size_t at, const std::string& what) const;

 private:
  std::string file_;
  std::string_view bytes_;
  std::size_t at_ = 0;
};

}  // namespace ncc::tool
