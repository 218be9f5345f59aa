// A file of records that grows in place. The functions throw nothing but std::bad_alloc.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ncc {

// Appends the bytes in one write, making the file, readable by its owner alone, when it is missing.
// False when that fails.
bool AppendToJournal(const std::string& file, std::string_view bytes);

// Nothing when it cannot be read.
std::optional<std::string> ReadJournal(const std::string& file);

void RemoveJournal(const std::string& file);

}  // namespace ncc
