// Package files: records of whole files.
#pragma once

#include "platform/disk/output_file.h"

#include <cstdint>
#include <string_view>

namespace ncc {

// A package that is being written; destroyed without Finish, it leaves nothing behind. Members
// throw FileError.
class PackageFile {
 public:
  explicit PackageFile(std::string_view path) : file_(path) {}

  int Handle() const { return file_.Handle(); }
  // Puts it in place: what a package of that name had beyond what was written stays. Returns the
  // number of bytes that were written.
  std::uint64_t Finish();

 private:
  OutputFile file_;
};

// Appends the record of a file, letter case aside, to an open package; nothing when there is no
// such file. Throws FileError.
void AppendPackageRecord(std::string_view path, int package);

}  // namespace ncc
