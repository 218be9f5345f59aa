// SHA-256 of bytes and of files.
#pragma once

#include "platform/disk/files.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ncc {

using Digest = std::array<unsigned char, 32>;

// One computation. Members throw FileError where there is no such hash.
class Digester {
 public:
  Digester();

  void Add(std::string_view bytes);
  // Ends it.
  Digest Finish();

 private:
  struct Close {
    void operator()(void* handle) const;
  };
  std::unique_ptr<void, Close> handle_;
};

Digest DigestOf(std::string_view bytes);

// Adds up to `limit` bytes of an open file, and returns their number. `path` is for messages.
std::uint64_t AddFile(Digester& digester, int file, std::uint64_t limit, const std::string& path);

// Nothing when there is no such file. Throws FileError when it is no plain file or cannot be read.
std::optional<Digest> DigestOfFile(const std::string& native_path);

}  // namespace ncc
