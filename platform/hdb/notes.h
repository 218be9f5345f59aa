// Notes of an object, and what they may be.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace ncc {

using Notes = std::map<std::string, std::string>;  // UTF-8

// What is wrong with a note, for a sentence that begins with "the key" or "the note"; empty for
// nothing.
std::string FaultOfNoteKey(std::string_view key);
std::string FaultOfNoteValue(std::string_view value);

}  // namespace ncc
