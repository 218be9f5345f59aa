// All files below a folder.
#pragma once

#include "platform/disk/files.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace ncc {

// Is told of a file by its path below the root; nothing stands for what is no plain file, such as a
// link.
using FileVisit = std::function<void(std::string_view path, const std::optional<FileIdentity>&)>;

// Visits everything but folders in a folder below the root and in its sub-folders, in no order. No
// link is followed; a missing folder holds nothing. Throws FileError.
void ScanFolder(const std::string& root, const std::string& folder, const FileVisit& visit);

}  // namespace ncc
