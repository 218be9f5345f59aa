#include "platform/hdb/database_files.h"

#include "platform/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <system_error>

namespace ncc {
namespace {

constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr std::size_t kHeadSize = 100;
constexpr std::string_view kHeadMagic("SQLite format 3\0", 16);
constexpr std::size_t kVersionOffset = 60;
constexpr std::size_t kApplicationOffset = 68;

[[noreturn]] void Fail(std::string_view doing, const std::string& file) {
  throw StorageError(DescribeFailure(doing, file, errno));
}

struct PathParts {
  std::string folder;
  std::string name;
};

PathParts SplitPath(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return {".", path};
  return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

void SyncFolder(const std::string& folder) {
  const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!descriptor.IsValid() || ::fsync(descriptor.Get()) != 0)
    Fail("cannot flush the folder", folder);
}

void MakeFolder(const std::string& folder) {
  struct stat info {};
  if (::stat(folder.c_str(), &info) == 0) {
    if (S_ISDIR(info.st_mode)) return;
    throw StorageError(folder + " is a file, not a folder: choose another path");
  }
  if (errno == ENOTDIR)
    throw StorageError("a part of the path " + folder + " is a file, not a folder");
  if (errno != ENOENT) Fail("cannot reach the folder", folder);
  const std::string parent = SplitPath(folder).folder;
  if (parent != folder) MakeFolder(parent);
  if (::mkdir(folder.c_str(), S_IRWXU) != 0) {
    if (errno == EEXIST) return;
    Fail("cannot make the folder", folder);
  }
  if (::chmod(folder.c_str(), S_IRWXU) != 0) Fail("cannot set the rights of", folder);
  SyncFolder(parent);
}

std::string Canonical(const std::string& folder) {
  const std::unique_ptr<char, decltype(&std::free)> real(::realpath(folder.c_str(), nullptr),
                                                         &std::free);
  return real ? std::string(real.get()) : std::string();
}

std::int32_t BigEndianAt(std::string_view bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    value = (value << 8) | static_cast<unsigned char>(bytes[offset + i]);
  }
  return static_cast<std::int32_t>(value);
}

// As many bytes as the buffer takes or the file has.
std::string_view ReadUpTo(int fd, char* buffer, std::size_t size, const std::string& file) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t got = ::read(fd, buffer + done, size - done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) Fail("cannot read", file);
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return {buffer, done};
}

void WriteAll(int fd, std::string_view bytes, const std::string& file) {
  while (!bytes.empty()) {
    const ssize_t wrote = ::write(fd, bytes.data(), bytes.size());
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote < 0) Fail("cannot write", file);
    bytes.remove_prefix(static_cast<std::size_t>(wrote));
  }
}

void CheckKindOfFile(const std::string& file, const struct stat& info) {
  if (!S_ISREG(info.st_mode)) throw StorageError(file + " is not a plain file");
  // Each name would get a lock and a log of its own.
  if (info.st_nlink != 1) {
    throw StorageError(file + " has a second name (a hard link): remove that or make a copy");
  }
}

void CheckHead(const std::string& file, std::string_view head) {
  if (head.size() < kHeadSize || !head.starts_with(kHeadMagic) ||
      BigEndianAt(head, kApplicationOffset) != kApplicationId) {
    throw StorageError(file + " is not a database of this system");
  }
  const std::int32_t version = BigEndianAt(head, kVersionOffset);
  if (version > kFormatVersion) {
    throw StorageError(file + " has format " + std::to_string(version) +
                       " of a newer version of this program, which knows formats up to " +
                       std::to_string(kFormatVersion));
  }
  if (version != kFormatVersion) {
    throw StorageError("database is damaged: unknown format " + std::to_string(version) + " in " +
                       file);
  }
}

}  // namespace

std::string DescribeFailure(std::string_view doing, const std::string& file, int error) {
  std::string text(doing);
  text += " " + file + ": ";
  if (error == ENOSPC) return text + "the disk is full";
  if (error == EROFS) return text + "the file system is read-only";
  if (error == ELOOP) return text + "it is a symbolic link; name the file itself";
  return text + std::generic_category().message(error);
}

DatabaseFiles LocateDatabase(const std::string& base, OpenMode mode) {
  const PathParts parts = SplitPath(base);
  if (parts.name.empty() || base.find('\0') != std::string::npos) {
    throw StorageError("'" + base + "' is no name of a database");
  }
  if (mode == OpenMode::kCreate) MakeFolder(parts.folder);
  const std::string folder = Canonical(parts.folder);
  if (folder.empty()) Fail("there is no database " + base + ": cannot reach", parts.folder);

  DatabaseFiles files;
  files.folder = folder;
  const std::string stem = (folder == "/" ? "" : folder) + "/" + parts.name;
  files.data = stem + ".db";
  files.log = files.data + "-wal";
  files.journal = files.data + "-journal";
  files.lock = stem + ".lock";
  return files;
}

DataFileState InspectDataFile(const std::string& file) {
  const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
  if (!descriptor.IsValid()) {
    if (errno == ENOENT) return DataFileState::kMissing;
    Fail("cannot open", file);
  }
  struct stat info {};
  if (::fstat(descriptor.Get(), &info) != 0) Fail("cannot read", file);
  CheckKindOfFile(file, info);
  if (info.st_size == 0) return DataFileState::kEmpty;
  std::array<char, kHeadSize> buffer{};
  CheckHead(file, ReadUpTo(descriptor.Get(), buffer.data(), buffer.size(), file));
  return DataFileState::kOurs;
}

PendingFile::PendingFile(const std::string& target) {
  try {
    part_.emplace(target);
  } catch (const std::runtime_error& error) {
    throw StorageError(error.what());
  }
  if (::fchmod(part_->Handle(), kOwnerOnly) != 0) Fail("cannot set the rights of", Name());
}

void PendingFile::Publish() {
  if (::fsync(part_->Handle()) != 0) Fail("cannot flush", Name());
  try {
    part_->PutInPlace();
  } catch (const std::runtime_error& error) {
    throw StorageError(error.what());
  }
  SyncFolder(SplitPath(part_->Path()).folder);
}

void WriteWholeFile(const std::string& file, std::string_view contents) {
  PendingFile pending(file);
  {
    Descriptor descriptor(::open(pending.Name().c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!descriptor.IsValid()) Fail("cannot write", pending.Name());
    WriteAll(descriptor.Get(), contents, pending.Name());
    if (descriptor.Close() != 0) Fail("cannot write", pending.Name());
  }
  pending.Publish();
}

void RewriteFile(const std::string& file) {
  const Descriptor from(::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  if (!from.IsValid()) Fail("cannot read", file);
  PendingFile pending(file);
  {
    Descriptor to(::open(pending.Name().c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!to.IsValid()) Fail("cannot write", pending.Name());
    const auto buffer = std::make_unique<std::array<char, 1 << 16>>();
    for (;;) {
      const auto part = ReadUpTo(from.Get(), buffer->data(), buffer->size(), file);
      if (part.empty()) break;
      WriteAll(to.Get(), part, pending.Name());
    }
    if (to.Close() != 0) Fail("cannot write", pending.Name());
  }
  pending.Publish();
}

void CheckCopyTarget(const DatabaseFiles& files, const std::string& target) {
  const PathParts parts = SplitPath(target);
  const std::string folder = Canonical(parts.folder);
  if (folder.empty()) Fail("cannot reach the folder", parts.folder);
  if (parts.name.empty()) throw StorageError("'" + target + "' is no name of a file");
  const std::string file = (folder == "/" ? "" : folder) + "/" + parts.name;
  if (file == files.lock || file.starts_with(files.data + "-") || file == files.data) {
    throw StorageError(target + " belongs to the open database: copy to another name");
  }
  struct stat info {};
  if (::lstat(file.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
    throw StorageError(target + " is not a plain file: copy to another name");
  }
  for (const char* side : {"-wal", "-journal"}) {
    if (!FileExists(file + side)) continue;
    throw StorageError(file + side + " is left from a database that was not closed: copy to " +
                       "another name");
  }
}

bool FileExists(const std::string& file) {
  struct stat info {};
  return ::lstat(file.c_str(), &info) == 0;
}

void RemoveFile(const std::string& file) {
  if (::unlink(file.c_str()) != 0 && errno != ENOENT) Fail("cannot remove", file);
}

}  // namespace ncc
