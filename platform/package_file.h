// Package files: records of whole files, written in place.
#pragma once

#include "platform/descriptor.h"
#include "platform/files.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace ncc {

// A package that is open for writing from its start; what it had beyond what is written stays.
// Made, for its owner alone, when it is missing. Members throw FileError.
class PackageFile {
 public:
  explicit PackageFile(std::string_view path);

  int Handle() const { return file_.Get(); }
  // Closes it. Returns the number of bytes that were written.
  std::uint64_t Finish();

 private:
  std::string path_;
  Descriptor file_;
};

// Appends the record of a file to an open package; nothing when the file cannot be read. Throws
// FileError when the package cannot be written.
void AppendPackageRecord(std::string_view path, int package);

}  // namespace ncc
