// The lock of a database, and what its file says about the owner that holds it.
//
// The first line is what the owner has acknowledged last; it outlives an owner that did not close,
// and shows what its log must hold. It is written in place and not flushed: what it says was on
// stable storage before, so that a lost line proves less and never anything untrue. The lines
// behind it are for people: process, time, command. A clean close leaves the file empty.
#pragma once

#include "platform/disk/file_lock.h"
#include "platform/storage/row.h"

#include <cstdint>
#include <optional>
#include <string>

#include <sys/types.h>

namespace ncc {

// A commit, and the data file that it was made to.
struct Acknowledged {
  std::uint64_t inode = 0;
  std::uint64_t revision = 0;
  std::uint64_t unit = 0;
};

class OwnerLock {
 public:
  // Throws StorageError: kInUse, with the owner's words, when it is held.
  explicit OwnerLock(const std::string& file);
  // Lets go, and leaves the file as it was found; not there, when it was missing.
  ~OwnerLock();
  OwnerLock(const OwnerLock&) = delete;
  OwnerLock& operator=(const OwnerLock&) = delete;

  // What the file said when it was locked.
  const std::optional<Acknowledged>& Left() const { return left_; }

  // The file stays from here on, and says until Close what was acknowledged last.
  void Keep() { kept_ = true; }
  void Acknowledge(const Acknowledged& last) noexcept;
  // Nothing has to be told to the next owner.
  void Close() noexcept;

 private:
  const std::string file_;
  const FileLock lock_;
  const pid_t pid_;
  const std::optional<Acknowledged> left_;
  bool kept_;
  bool closed_ = false;
};

// "process 4711 (nccadm apply city.yaml), since 2026-03-01 14:02:11", or as much of it as is known;
// nothing when the lock of that file is not held.
std::optional<std::string> DescribeHolder(const std::string& file);

// Throws StorageError when an object of this process holds the lock of that file.
void RefuseOwnedHere(const std::string& file);

// What the file says, for those who do not hold its lock.
std::optional<Acknowledged> ReadAcknowledged(const std::string& file);

}  // namespace ncc
