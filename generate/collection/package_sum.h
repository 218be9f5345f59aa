// What stands for the bytes of a package in a manifest: it can be reckoned without composing it.
#pragma once

#include "platform/stamps/digest.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ncc {

// The SHA-256 of the heads of the records, each followed by that of the contents.
class PackageSum {
 public:
  // A record of so many bytes; `name` is that of the file.
  void Add(std::string_view name, std::uint64_t bytes, const Digest& contents);

  std::uint64_t Bytes() const { return bytes_; }
  Digest Finish() { return digester_.Finish(); }

 private:
  Digester digester_;
  std::uint64_t bytes_ = 0;
};

// That of a package that lies there; nothing when there is none, or records are not all that it
// holds. Throws FileError.
std::optional<Digest> ReadPackageSum(const std::string& native_path);

}  // namespace ncc
