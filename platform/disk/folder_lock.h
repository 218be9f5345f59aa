// Keeps other writers out of a folder, by a lock on the folder itself: no file is left behind.
#pragma once

#include "platform/disk/descriptor.h"

#include <string>

namespace ncc {

// Held from construction to destruction or to the death of the process. On file systems without
// such locks it keeps nobody out.
class FolderLock {
 public:
  // Waits some seconds for the one who has it. Throws FileError when they were too few.
  explicit FolderLock(const std::string& native_path);

 private:
  Descriptor folder_;
};

}  // namespace ncc
