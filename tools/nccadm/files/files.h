// Whole files in and out.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ncc::tool {

// More than any file that the tool reads whole.
inline constexpr std::size_t kLargestFile = std::size_t{1} << 30;

// The bytes of a file, or of standard input for "-". Throws Failure when it cannot be read or is
// longer.
std::string ReadFile(const std::string& file, std::size_t limit);

// The file appears whole, for its owner alone, or stays as it was. Throws Failure.
void WriteFile(const std::string& file, std::string_view bytes);

// Throws Failure where WriteFile could not, as far as that can be told before.
void RequireWritable(const std::string& file);

// A new file for its owner alone. Throws Failure, also when there is one of that name.
void CreatePrivateFile(const std::string& file, std::string_view bytes);

// Makes a folder and its missing parents, for their owner alone. Throws Failure.
void MakePrivateFolder(const std::string& folder);

// Waits until all that was written to the file system of the folder is on the disk. Throws Failure.
void FlushFileSystem(const std::string& folder);

}  // namespace ncc::tool
