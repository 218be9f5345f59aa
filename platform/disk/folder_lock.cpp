#include "platform/disk/folder_lock.h"

#include "platform/disk/calls.h"
#include "platform/disk/files.h"

#include <cerrno>
#include <chrono>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>

namespace ncc {

FolderLock::FolderLock(const std::string& native_path)
    : folder_(open(native_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  constexpr std::chrono::milliseconds kPause(10);
  constexpr std::chrono::seconds kPatience(5);
  if (!folder_.IsValid()) ThrowFileError(native_path, "cannot be opened", errno);
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (Again([&] { return flock(folder_.Get(), LOCK_EX | LOCK_NB); }) != 0) {
    if (errno != EWOULDBLOCK) return;
    if (std::chrono::steady_clock::now() > end)
      throw FileError("folder " + native_path + " is being written into by somebody else");
    std::this_thread::sleep_for(kPause);
  }
}

}  // namespace ncc
