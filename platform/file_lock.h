// Exclusive ownership of something on disk, by a lock on a file beside it.
#pragma once

#include "platform/descriptor.h"

#include <optional>
#include <string>

namespace ncc {

// Held from construction to destruction or to the death of the process. The lock file stays:
// removing it would let two owners lock two files of the same name. A forked child shares the lock.
class FileLock {
 public:
  // Creates the file, readable by its owner alone, when it is missing. Nothing when the lock is
  // held elsewhere, also by this process. Throws std::system_error when the file cannot be opened,
  // also when it is a symbolic link.
  static std::optional<FileLock> TryAcquire(const std::string& file);

 private:
  explicit FileLock(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

  Descriptor descriptor_;
};

}  // namespace ncc
