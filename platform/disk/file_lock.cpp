#include "platform/disk/file_lock.h"

#include "platform/disk/calls.h"
#include "platform/disk/files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

namespace ncc {
namespace {

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;

// Belongs to the open file, not to the process: another object of this process is kept out, and
// closing the file elsewhere takes nothing away.
struct flock WholeFile(short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return lock;
}

// Says in `made` whether it has created the file. Not valid when it came or went meanwhile.
Descriptor OpenLockFile(const std::string& file, bool& made) {
  constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;
  Descriptor descriptor(::open(file.c_str(), kFlags));
  if (descriptor.IsValid()) return descriptor;
  if (errno != ENOENT) ThrowFileError(file, "cannot be opened", errno);
  descriptor = Descriptor(::open(file.c_str(), kFlags | O_CREAT | O_EXCL, kOwnerOnly));
  if (!descriptor.IsValid()) {
    if (errno != EEXIST) ThrowFileError(file, "cannot be opened", errno);
    return descriptor;
  }
  made = true;
  // A umask may have taken the owner's own rights away.
  if (::fchmod(descriptor.Get(), kOwnerOnly) != 0) ThrowFileError(file, "cannot be opened", errno);
  return descriptor;
}

}  // namespace

std::optional<FileLock> FileLock::TryAcquire(const std::string& file) {
  for (;;) {
    bool made = false;
    Descriptor descriptor = OpenLockFile(file, made);
    if (!descriptor.IsValid()) continue;
    struct flock lock = WholeFile(F_WRLCK);
    if (Again([&] { return ::fcntl(descriptor.Get(), F_OFD_SETLK, &lock); }) != 0) {
      if (errno == EAGAIN || errno == EACCES) return std::nullopt;
      ThrowFileError(file, "cannot be locked", errno);
    }
    // An owner may have removed its lock file between our opening and locking it.
    if (HasName(descriptor.Get(), file)) return FileLock(std::move(descriptor), made);
  }
}

bool FileLock::IsHeld(const std::string& file) {
  const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct flock lock = WholeFile(F_RDLCK);
  return descriptor.IsValid() && ::fcntl(descriptor.Get(), F_OFD_GETLK, &lock) == 0 &&
         lock.l_type != F_UNLCK;
}

}  // namespace ncc
