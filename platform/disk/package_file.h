// Package files: records of whole files.
#pragma once

#include "platform/disk/output_file.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ncc {

// A package that is being written; destroyed without Finish, it leaves nothing behind. Members
// throw FileError.
class PackageFile {
 public:
  explicit PackageFile(std::string_view path) : file_(path) {}

  int Handle() { return file_.Handle(); }
  // Puts it in place: what a package of that name had beyond what was written stays. Returns the
  // number of bytes that were written.
  std::uint64_t Finish();
  // Of the file that was put in place; see OutputFile.
  const std::optional<FileIdentity>& Identity() const { return file_.Identity(); }

 private:
  OutputFile file_;
};

// What stands before the contents in a record: the length, and the name in upper case, cut or
// padded to 12 columns, with its zero.
std::string PackageRecordHead(std::uint32_t length, std::string_view name);
inline constexpr std::size_t kPackageHeadSize = 17;

// Appends the record of a file, letter case aside, to an open package; nothing when there is no
// such file. Throws FileError.
void AppendPackageRecord(std::string_view path, int package);

}  // namespace ncc
