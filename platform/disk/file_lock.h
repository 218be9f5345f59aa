// Exclusive ownership of something on disk, by a lock on a file beside it.
#pragma once

#include "platform/disk/descriptor.h"

#include <optional>
#include <string>

namespace ncc {

// Held from construction to destruction or to the death of the process. A forked child shares the
// lock.
class FileLock {
 public:
  // Creates the file, readable by its owner alone, when it is missing. Nothing when the lock is
  // held elsewhere, also by this process. Throws FileError when the file cannot be opened,
  // also when it is a symbolic link.
  static std::optional<FileLock> TryAcquire(const std::string& file);

  // Whether somebody holds the lock of this file; takes none itself. False when it cannot be read.
  static bool IsHeld(const std::string& file);

  // The open lock file, which may hold words about its owner.
  int Get() const { return descriptor_.Get(); }
  // Whether the file was missing before.
  bool MadeFile() const { return made_file_; }

 private:
  FileLock(Descriptor descriptor, bool made_file)
      : descriptor_(std::move(descriptor)), made_file_(made_file) {}

  Descriptor descriptor_;
  bool made_file_;
};

}  // namespace ncc
