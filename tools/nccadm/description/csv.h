// Tables as spreadsheets save them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "description/yaml_tree.h"

namespace ncc::tool {

struct CsvCell {
  std::string text;
  Place place;
};
using CsvRow = std::vector<CsvCell>;

// Rows of fields between commas, semicolons or tabs, whichever the first row has most of. A field
// in quotes may hold any of them, line breaks, and quotes written twice; around others blanks do
// not count. Empty lines are passed over. Ends at the first fault, which is then in `problems`.
std::vector<CsvRow> ReadCsv(std::string_view text, ProblemList& problems);

}  // namespace ncc::tool
