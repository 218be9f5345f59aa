#include "platform/disk/part_file.h"

#include "platform/disk/calls.h"
#include "platform/disk/files.h"

#include <cerrno>
#include <functional>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ncc {
namespace {

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr std::string_view kEnding = ".nccnet-part";

std::string PartName(const std::string& path, int number) {
  return path + std::string(kEnding) + std::to_string(number);
}

// Locks the file, which is what shows that its writer lives. Returns 0, or the error.
int TryLock(int file) {
  return Again([&] { return flock(file, LOCK_EX | LOCK_NB); }) == 0 ? 0 : errno;
}

// Whether nobody has deleted a file of one name. Where the file system does not count names, the
// name tells.
bool IsStillThere(int file, const std::string& name) {
  struct stat info {};
  return fstat(file, &info) == 0 && (info.st_nlink > 0 || HasName(file, name));
}

// Deletes what a writer that has died left under the name. False when its writer lives, or it is
// nothing that a writer leaves.
bool DiscardLeftover(const std::string& name, const std::function<void()>& before = {}) {
  const Descriptor left(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!left.IsValid()) return errno == ENOENT;
  struct stat info {};
  const bool is_plain = fstat(left.Get(), &info) == 0 && S_ISREG(info.st_mode);
  if (!is_plain || info.st_uid != geteuid() || TryLock(left.Get()) != 0) return false;
  if (!HasName(left.Get(), name)) return true;
  if (before) before();
  return unlink(name.c_str()) == 0;
}

}  // namespace

PartFile::PartFile(std::string path) : path_(std::move(path)) {
  constexpr int kMostTries = 64;
  int number = 1;
  for (int tries = 0; tries < kMostTries; ++tries) {
    name_ = PartName(path_, number);
    Descriptor file(open(name_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kOwnerOnly));
    if (file.IsValid()) {
      // Before it was locked, somebody may have taken it for a leftover. Where there are no locks
      // nobody can.
      if (TryLock(file.Get()) == EWOULDBLOCK || !IsStillThere(file.Get(), name_)) continue;
      file_ = std::move(file);
      return;
    }
    if (errno != EEXIST) ThrowFileError(path_, "cannot be created", errno);
    if (!DiscardLeftover(name_)) ++number;
  }
  ThrowFileError(path_, "cannot be created", EEXIST);
}

PartFile::~PartFile() {
  if (file_.IsValid()) unlink(name_.c_str());
}

void PartFile::PutInPlace() {
  // Closing tells of a write that failed; the lock stays until the file has its name.
  Descriptor copy(fcntl(file_.Get(), F_DUPFD_CLOEXEC, 0));
  if (!copy.IsValid() || copy.Close() != 0 || rename(name_.c_str(), path_.c_str()) != 0)
    ThrowFileError(path_, "cannot be put in place", errno);
  file_.Close();
}

void DiscardLeftovers(const std::string& folder, const BeforeDiscarding& before) {
  for (const std::string& entry : FolderEntries(folder)) {
    const std::string name = std::string(folder).append("/").append(entry);
    const auto end = name.rfind(kEnding);
    if (end == std::string::npos || end + kEnding.size() == name.size() ||
        name.find_first_not_of("0123456789", end + kEnding.size()) != std::string::npos)
      continue;
    DiscardLeftover(name, [&] { before(name, name.substr(0, end)); });
  }
}

bool LinkInPlace(const std::string& twin, const FileIdentity& identity, const std::string& path) {
  const Descriptor file(open(twin.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.IsValid() || TryLock(file.Get()) == EWOULDBLOCK) return false;
  const std::string name = PartName(path, 1);
  const auto link_twin = [&] { return link(twin.c_str(), name.c_str()) == 0; };
  if (!link_twin() && (errno != EEXIST || !DiscardLeftover(name) || !link_twin())) return false;
  const bool linked = HasName(file.Get(), name) && IdentifyFile(name) == identity &&
                      rename(name.c_str(), path.c_str()) == 0;
  // Between two links to one file a rename does nothing.
  if (HasName(file.Get(), name)) unlink(name.c_str());
  return linked;
}

}  // namespace ncc
