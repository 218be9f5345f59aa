// Distribution packages: the files of one node, one record behind the other.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ncc::tool {

struct PackedFile {
  std::string name;  // as it stands there, without the blanks at its end
  std::size_t at = 0;
  std::string_view contents;
};

// The records of a package. Throws Failure for bytes that are none; names may be anything.
std::vector<PackedFile> ReadPackage(const std::string& file, std::string_view bytes);

// Why a name cannot be the name of a file; empty when it can.
std::string NameProblem(const std::string& name);

}  // namespace ncc::tool
