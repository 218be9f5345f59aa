// Stands between a test and the system's file calls: lets them fail, fill a small disk, end the
// process, or be written down. For one test program each.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// Which of the coming write and flush calls fail: the one that `after` others precede, and with
// `sticky` all from there on.
struct Fault {
  long after = std::numeric_limits<long>::max();
  bool sticky = false;
  bool flushes_only = false;
  long hits = 0;
};
Fault fault;

bool FailsNow(bool flush) {
  if (fault.flushes_only && !flush) return false;
  const long left = fault.after--;
  if (left > 0 || (left < 0 && !fault.sticky)) return false;
  ++fault.hits;
  errno = EIO;
  return true;
}

// The process dies at the call that so many others precede.
long calls_to_death = std::numeric_limits<long>::max();
void LiveOn() {
  if (calls_to_death-- == 0) ::_exit(99);
}

// A disk of `room` bytes that holds the files of one folder and nothing else.
struct Disk {
  std::string folder;  // empty: there is no limit
  std::uint64_t room = 0;
  bool admits_it = true;  // to those who ask for free space
  std::uint64_t most_used = 0;

  std::uint64_t Used() const {
    std::uint64_t used = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder)) used += file.file_size();
    return used;
  }
  bool HasRoom(int fd, std::uint64_t end) {
    struct stat info {};
    if (folder.empty() || ::fstat(fd, &info) != 0) return true;
    const auto size = static_cast<std::uint64_t>(info.st_size);
    if (end <= size) return true;
    const std::uint64_t used = Used() + end - size;
    most_used = std::max(most_used, std::min(used, room));
    if (used <= room) return true;
    errno = ENOSPC;
    return false;
  }
};
Disk disk;

// What reached the files since the recording began, in its order.
struct Event {
  enum { kWrite, kFlush, kRemove, kAcknowledge } what;
  std::string file;
  std::string bytes;
  std::size_t offset = 0;  // or the revision that was acknowledged
};
std::vector<Event>* recording = nullptr;

void Record(Event event, int fd) {
  if (recording == nullptr) return;
  event.file = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd)).filename();
  recording->push_back(std::move(event));
}

// Whether the file system has hard links.
bool has_links = true;

// Says how many of so many bytes a read gives, and may do something before.
std::function<std::size_t(std::size_t size)> before_read;

}  // namespace

// These stand before the C library's own in every library of this process.
#define NCCNET_INSTEAD extern "C" __attribute__((visibility("default")))

NCCNET_INSTEAD ssize_t pwrite64(int fd, const void* bytes, size_t size, off64_t offset) {
  LiveOn();
  const auto at = static_cast<std::size_t>(offset);
  if (FailsNow(false) || !disk.HasRoom(fd, at + size)) return -1;
  Record({Event::kWrite, "", std::string(static_cast<const char*>(bytes), size), at}, fd);
  return ::syscall(SYS_pwrite64, fd, bytes, size, offset);
}
NCCNET_INSTEAD ssize_t read(int fd, void* bytes, size_t size) {
  return ::syscall(SYS_read, fd, bytes, before_read ? before_read(size) : size);
}
NCCNET_INSTEAD int fdatasync(int fd) {
  LiveOn();
  if (FailsNow(true)) return -1;
  Record({Event::kFlush, "", "", 0}, fd);
  return static_cast<int>(::syscall(SYS_fdatasync, fd));
}
NCCNET_INSTEAD int unlink(const char* name) {
  LiveOn();
  if (recording != nullptr) {
    recording->push_back({Event::kRemove, std::filesystem::path(name).filename(), "", 0});
  }
  return static_cast<int>(::syscall(SYS_unlink, name));
}
NCCNET_INSTEAD int rename(const char* from, const char* to) {
  LiveOn();
  return static_cast<int>(::syscall(SYS_rename, from, to));
}
NCCNET_INSTEAD int link(const char* file, const char* name) {
  LiveOn();
  if (!has_links) {
    errno = EPERM;
    return -1;
  }
  return static_cast<int>(::syscall(SYS_link, file, name));
}
NCCNET_INSTEAD int fsync(int fd) {
  LiveOn();
  return static_cast<int>(::syscall(SYS_fsync, fd));
}
NCCNET_INSTEAD int statvfs(const char* name, struct statvfs* info) {
  struct statfs found {};
  if (::statfs(name, &found) != 0) return -1;
  info->f_frsize = 1;
  info->f_bavail = disk.folder.empty() || !disk.admits_it ? 1UL << 40 : disk.room - disk.Used();
  return 0;
}
