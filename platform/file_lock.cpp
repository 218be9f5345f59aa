#include "platform/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace ncc {
namespace {

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;

[[noreturn]] void ThrowErrno(const std::string& file) {
  throw std::system_error(errno, std::generic_category(), file);
}

Descriptor OpenLockFile(const std::string& file) {
  constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NOFOLLOW;
  Descriptor descriptor(::open(file.c_str(), kFlags));
  if (descriptor.IsValid()) return descriptor;
  if (errno != ENOENT) ThrowErrno(file);
  descriptor = Descriptor(::open(file.c_str(), kFlags | O_CREAT, kOwnerOnly));
  if (!descriptor.IsValid()) ThrowErrno(file);
  // A umask may have taken the owner's own rights away.
  if (::fchmod(descriptor.Get(), kOwnerOnly) != 0) ThrowErrno(file);
  return descriptor;
}

}  // namespace

std::optional<FileLock> FileLock::TryAcquire(const std::string& file) {
  Descriptor descriptor = OpenLockFile(file);
  while (::flock(descriptor.Get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) return std::nullopt;
    if (errno != EINTR) ThrowErrno(file);
  }
  return FileLock(std::move(descriptor));
}

}  // namespace ncc
