#include "platform/storage/database_files.h"

#include "platform/disk/calls.h"
#include "platform/disk/descriptor.h"
#include "platform/disk/file_lock.h"
#include "platform/disk/files.h"
#include "platform/text/bytes.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <system_error>

namespace ncc {
namespace {

constexpr std::string_view kDataSuffix = ".db";
constexpr std::string_view kClusterSuffix = ".cluster";
constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
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

// As many bytes of the file as the text has, or the file.
void ReadInto(std::string& bytes, int fd, const std::string& file) {
  const ssize_t got = ReadUpTo(fd, bytes.data(), bytes.size());
  if (got < 0) Fail("cannot read", file);
  bytes.resize(static_cast<std::size_t>(got));
}

template <class Action>
void AsStorage(Action action) {
  try {
    action();
  } catch (const FileError& error) {
    throw StorageError(error.what());
  }
}

void CheckKindOfFile(const std::string& file, const struct stat& info) {
  if (!S_ISREG(info.st_mode)) throw StorageError(file + " is not a plain file");
  // Each name would get a lock and a log of its own.
  if (info.st_nlink != 1) {
    throw StorageError(file + " has a second name (a hard link): remove that or make a copy");
  }
}

DatabaseFiles NameFiles(const std::string& folder, const std::string& data_name) {
  DatabaseFiles files;
  files.folder = folder;
  files.data = (folder == "/" ? "" : folder) + "/" + data_name;
  files.log = files.data + "-wal";
  files.journal = files.data + "-journal";
  if (files.data.ends_with(kDataSuffix)) {
    files.stem = files.data.substr(0, files.data.size() - kDataSuffix.size());
    files.lock = files.stem + ".lock";
  }
  return files;
}

// Whether a database stands beside it that the name is made from.
bool IsSideFile(const std::string& file) {
  constexpr struct {
    std::string_view end;
    std::string_view end_of_database;
  } kSideFiles[] = {{"-wal", ""}, {"-journal", ""}, {".lock", ".db"}, {".lock", ".cluster"}};
  if (file.ends_with(kClusterSuffix)) return true;
  return std::any_of(std::begin(kSideFiles), std::end(kSideFiles), [&](const auto& side) {
    if (!file.ends_with(side.end)) return false;
    std::string database = file.substr(0, file.size() - side.end.size());
    return FileExists(database.append(side.end_of_database));
  });
}

// Of a database that did not come into being.
void RemoveOrphanedLock(const std::string& data) {
  const PathParts parts = SplitPath(data);
  const DatabaseFiles files = NameFiles(parts.folder, parts.name);
  if (files.lock.empty() || FileExists(files.data) || FileExists(files.log) ||
      !FileExists(files.lock))
    return;
  try {
    if (const auto lock = FileLock::TryAcquire(files.lock)) RemoveFile(files.lock);
  } catch (const FileError&) {
    // It is not for this user to remove.
  }
}

}  // namespace

void SyncFolder(const std::string& folder) {
  const Descriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!descriptor.IsValid() || ::fsync(descriptor.Get()) != 0)
    Fail("cannot flush the folder", folder);
}

void CheckDataHead(const std::string& file, std::string_view head) {
  if (head.size() < kDataHeadSize || !head.starts_with(kHeadMagic) ||
      BigEndianU32At(head, kApplicationOffset) != kApplicationId) {
    throw StorageError(file + " is not a database of this system");
  }
  const std::uint32_t version = BigEndianU32At(head, kVersionOffset);
  if (version > kFormatVersion) {
    throw StorageError(file + " has format " + std::to_string(version) +
                       " of a newer version of this program, which knows formats up to " +
                       std::to_string(kFormatVersion));
  }
  if (version != kFormatVersion) {
    throw StorageError(file + " has format " + std::to_string(version) +
                       " of an older version of this program, which knows format " +
                       std::to_string(kFormatVersion) +
                       " alone: write a description with that version, and make the database anew "
                       "from it");
  }
}

std::string DescribeFailure(std::string_view doing, const std::string& file, int error) {
  std::string text(doing);
  text += " " + file + ": ";
  if (error == ENOSPC) return text + "the disk is full";
  if (error == EROFS) return text + "the file system is read-only";
  if (error == ELOOP) return text + "it is a symbolic link; name the file itself";
  return text + std::generic_category().message(error);
}

void MarkAsPlain(std::string& data) { data[18] = data[19] = 1; }

bool IsMarkedAsPlain(std::string_view data) {
  return data.size() >= kDataHeadSize && data[18] == 1 && data[19] == 1;
}

// With the ends that the engine puts to them.
void CheckLength(const std::string& file) {
  constexpr std::size_t kLongest = 504;
  if (file.size() <= kLongest) return;
  throw StorageError("the path " + file + " has " + std::to_string(file.size()) +
                     " bytes; the limit is " + std::to_string(kLongest) + ": choose a shorter one");
}

DatabaseFiles LocateDatabase(const std::string& base, OpenMode mode) {
  const PathParts parts = SplitPath(base);
  if (parts.name.empty() || base.find('\0') != std::string::npos) {
    throw StorageError("'" + base + "' is no name of a database");
  }
  if (mode == OpenMode::kCreate) MakeFolder(parts.folder);
  const std::string folder = Canonical(parts.folder);
  if (folder.empty()) {
    const std::string text =
        DescribeFailure("there is no database " + base + ": cannot reach", parts.folder, errno);
    if (errno == ENOENT || errno == ENOTDIR) throw StorageError(text, NCCFailure::kMissing);
    Fail("cannot reach the folder", parts.folder);
  }

  DatabaseFiles files = NameFiles(folder, parts.name + std::string(kDataSuffix));
  CheckLength(files.data);
  return files;
}

DatabaseFiles LocateDataFile(const std::string& file) {
  const PathParts parts = SplitPath(file);
  const std::string folder = Canonical(parts.folder);
  if (folder.empty()) Fail("cannot reach the folder", parts.folder);
  if (parts.name.empty()) throw StorageError("'" + file + "' is no name of a file");
  return NameFiles(folder, parts.name);
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
  std::string head(kDataHeadSize, '\0');
  ReadInto(head, descriptor.Get(), file);
  CheckDataHead(file, head);
  return DataFileState::kOurs;
}

PendingFile::PendingFile(const std::string& target) {
  const std::string folder = SplitPath(target).folder;
  DiscardLeftovers(folder, [](const std::string& name, const std::string& data) {
    try {
      RemoveFile(name + "-journal");
      RemoveOrphanedLock(data);
    } catch (const StorageError&) {
      // Clearing up after others fails nothing that is done here.
    }
  });
  AsStorage([&] { part_.emplace(target); });
  CheckLength(Name());
  // A umask may have taken the owner's own rights away.
  if (::fchmod(part_->Handle(), kOwnerOnly) != 0) Fail("cannot set the rights of", Name());
}

void PendingFile::Write(std::string_view bytes) {
  AsStorage([&] { WriteAll(part_->Handle(), bytes, Name()); });
}

void PendingFile::Publish() {
  if (::fsync(part_->Handle()) != 0) Fail("cannot flush", Name());
  AsStorage([&] { part_->PutInPlace(); });
  SyncFolder(SplitPath(part_->Path()).folder);
}

void WriteWholeFile(const std::string& file, std::string_view contents) {
  PendingFile pending(file);
  pending.Write(contents);
  pending.Publish();
}

void CutFile(const std::string& file, std::uint64_t size) {
  if (::truncate(file.c_str(), static_cast<off_t>(size)) != 0) Fail("cannot shorten", file);
}

std::string ReadContents(const std::string& file) {
  return ReadStart(file, std::numeric_limits<std::size_t>::max());
}

std::string ReadStart(const std::string& file, std::size_t size) {
  const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
  if (!descriptor.IsValid() && errno == ENOENT) return {};
  struct stat info {};
  if (!descriptor.IsValid() || ::fstat(descriptor.Get(), &info) != 0) Fail("cannot read", file);
  std::string bytes(std::min(size, static_cast<std::size_t>(info.st_size)), '\0');
  ReadInto(bytes, descriptor.Get(), file);
  return bytes;
}

DatabaseFiles LocateCopy(const std::string& target) {
  DatabaseFiles copy = LocateDataFile(target);
  const std::string& file = copy.data;
  if (IsSideFile(file)) {
    throw StorageError(target + " belongs to a database: copy to another name");
  }
  struct stat info {};
  if (::lstat(file.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
    throw StorageError(target + " is not a plain file: copy to another name");
  }
  return copy;
}

void CheckNoSideFiles(const std::string& target) {
  for (const char* side : {"-wal", "-journal"}) {
    if (!FileExists(target + side)) continue;
    throw StorageError(target + side + " is left from a database that was not closed: copy to " +
                       "another name");
  }
}

bool HasSecondName(const std::string& file) {
  struct stat info {};
  return ::lstat(file.c_str(), &info) == 0 && info.st_nlink > 1;
}

FileId IdOf(const std::string& file) {
  struct stat info {};
  if (::lstat(file.c_str(), &info) != 0) return {};
  return {info.st_dev, info.st_ino};
}

bool HasAmpleRoom(const std::string& folder, std::uint64_t bytes) {
  constexpr std::uint64_t kShare = 16;
  struct statvfs info {};
  return ::statvfs(folder.c_str(), &info) == 0 &&
         std::uint64_t{info.f_bavail} * info.f_frsize >= bytes * kShare;
}

bool FileExists(const std::string& file) {
  struct stat info {};
  if (::lstat(file.c_str(), &info) == 0) return true;
  if (errno != ENOENT) Fail("cannot look at", file);
  return false;
}

void RemoveFile(const std::string& file) {
  if (::unlink(file.c_str()) != 0 && errno != ENOENT) Fail("cannot remove", file);
}

bool LinkFile(const std::string& file, const std::string& name) {
  if (::link(file.c_str(), name.c_str()) == 0) return true;
  if (errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS || errno == EMLINK) return false;
  Fail("cannot give a second name to", file);
}

}  // namespace ncc
