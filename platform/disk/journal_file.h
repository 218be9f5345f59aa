// A file of records that grows in place. The functions throw FileError, also for what is no plain
// file.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ncc {

// Appends the bytes in one write, making the file, readable by its owner alone, when it is missing.
// No symbolic link is followed.
void AppendToJournal(const std::string& file, std::string_view bytes);

// Nothing when there is none.
std::optional<std::string> ReadJournal(const std::string& file);

void RemoveJournal(const std::string& file);

}  // namespace ncc
