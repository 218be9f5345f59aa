#include "platform/disk/files.h"

#include "platform/disk/calls.h"
#include "platform/disk/descriptor.h"
#include "platform/disk/file_lock.h"
#include "platform/disk/output_file.h"
#include "platform/disk/paths.h"
#include "platform/text/ascii_fold.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <vector>

namespace ncc {
namespace {

[[noreturn]] void ThrowFolderError(const std::string& folder, std::string_view what, int error) {
  throw FileError("folder " + folder + " " + std::string(what) + ": " + std::strerror(error),
                  error);
}

// Names of the entries of a folder that `wanted` takes; none when there is no such folder.
template <class Wanted>
std::vector<std::string> ListFolder(const std::string& folder, Wanted wanted) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(folder.c_str()), &closedir);
  if (!stream) {
    if (errno == ENOENT || errno == ENOTDIR) return names;
    ThrowFolderError(folder, "cannot be read", errno);
  }
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(stream.get());
    if (entry == nullptr) break;
    if (wanted(*entry)) names.emplace_back(entry->d_name);
  }
  if (errno != 0) ThrowFolderError(folder, "cannot be read", errno);
  return names;
}

bool LessFolded(std::string_view a, std::string_view b) {
  return std::lexicographical_compare(
      a.begin(), a.end(), b.begin(), b.end(),
      [](char one, char other) { return FoldAscii(one) < FoldAscii(other); });
}

// Whether the file belongs to a database that somebody has open, this process included, or says
// where one is.
bool BelongsToOpenDatabase(const std::string& folder, std::string_view name) {
  if (name.ends_with(".cluster")) return true;
  for (const std::string_view suffix : {".db", ".db-wal", ".db-journal", ".db-shm", ".lock"}) {
    if (!name.ends_with(suffix)) continue;
    const std::string lock =
        folder + "/" + std::string(name.substr(0, name.size() - suffix.size())) + ".lock";
    if (access(lock.c_str(), F_OK) != 0) continue;
    try {
      if (!FileLock::TryAcquire(lock)) return true;
    } catch (const FileError&) {
      return true;
    }
  }
  return false;
}

std::uint64_t CopyByBuffer(int from, int to, std::uint64_t limit, const std::string& path) {
  std::array<char, 1U << 16> buffer{};
  std::uint64_t done = 0;
  while (done < limit) {
    const auto wanted = std::min<std::uint64_t>(buffer.size(), limit - done);
    const ssize_t got = ReadUpTo(from, buffer.data(), wanted);
    if (got < 0) ThrowFileError(path, "cannot be read", errno);
    if (got == 0) break;
    WriteAll(to, {buffer.data(), static_cast<std::size_t>(got)}, path);
    done += static_cast<std::uint64_t>(got);
  }
  return done;
}

void RequirePlainFile(const struct stat& info, const std::string& path) {
  if (!S_ISREG(info.st_mode))
    ThrowFileError(path, "is no plain file", S_ISDIR(info.st_mode) ? EISDIR : EINVAL);
}

FileIdentity IdentityOf(const struct stat& info) {
  return {info.st_dev, info.st_ino, static_cast<std::uint64_t>(info.st_size), info.st_mtim.tv_sec,
          info.st_mtim.tv_nsec};
}

// The names of a folder, kept while the folder is as it was when they were listed: whoever misses
// one file in it often misses many.
const FolderNames& NamesOf(const std::string& folder) {
  constexpr std::size_t kMostFolders = 16;
  struct Listing {
    FileIdentity folder;
    FolderNames names;
  };
  static thread_local std::map<std::string, Listing> listings;
  struct stat info {};
  const bool exists = stat(folder.empty() ? "." : folder.c_str(), &info) == 0;
  const FileIdentity now = exists ? IdentityOf(info) : FileIdentity();
  const auto known = listings.find(folder);
  if (exists && known != listings.end() && known->second.folder == now) return known->second.names;
  if (listings.size() >= kMostFolders) listings.clear();
  const bool settled = exists && IsSettled(now);
  Listing listing{settled ? now : FileIdentity(), FolderNames(folder)};
  return listings.insert_or_assign(folder, std::move(listing)).first->second.names;
}

}  // namespace

bool IsSettled(const FileIdentity& file) noexcept {
  constexpr std::int64_t kSettlingSeconds = 2;
  timespec now{};
  return clock_gettime(CLOCK_REALTIME, &now) == 0 &&
         file.modified_seconds + kSettlingSeconds < now.tv_sec;
}

void ThrowFileError(const std::string& path, std::string_view what, int error) {
  throw FileError("file " + path + " " + std::string(what) + ": " + std::strerror(error), error);
}

void MakeFolders(std::string_view path) {
  const std::string native = NativePath(path);
  for (std::size_t end = native.find('/', 1);; end = native.find('/', end + 1)) {
    const std::string folder = native.substr(0, end);
    const bool is_last = end == std::string::npos || end + 1 == native.size();
    // A file in place of one of the others shows in the next.
    if (!folder.empty() && mkdir(folder.c_str(), S_IRWXU) != 0 && (errno != EEXIST || is_last)) {
      const int error = errno;
      struct stat info {};
      if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        ThrowFolderError(folder, "cannot be made", error);
    }
    if (is_last) return;
  }
}

void RefuseLinks(const std::string& root, std::string_view below) {
  const std::string native = NativePath(root + std::string(below));
  for (auto end = native.find('/', root.size()); end != std::string::npos;
       end = native.find('/', end + 1)) {
    const std::string folder = native.substr(0, end);
    struct stat info {};
    if (lstat(folder.c_str(), &info) != 0) return;
    if (S_ISLNK(info.st_mode))
      throw FileError("folder " + folder + " is a link, and output goes through none below " +
                      NativePath(root));
  }
}

void MakeFoldersBelow(const std::string& root, std::string_view below) {
  RefuseLinks(root, below);
  MakeFolders(root + std::string(below));
}

void DeleteFiles(std::string_view folder, std::string_view prefix) {
  const std::string native = NativePath(folder);
  const auto names = ListFolder(native, [&](const dirent& entry) {
    const std::string_view name(entry.d_name);
    return entry.d_type != DT_DIR && EqualFolded(name.substr(0, prefix.size()), prefix);
  });
  std::optional<FileError> first_failure;
  for (const std::string& name : names) {
    const std::string file = std::string(native).append("/").append(name);
    struct stat info {};
    const bool is_folder = stat(file.c_str(), &info) == 0 && S_ISDIR(info.st_mode);  // or a link to
    if (is_folder || BelongsToOpenDatabase(native, name)) continue;
    if (unlink(file.c_str()) == 0 || errno == ENOENT || first_failure) continue;
    first_failure.emplace("file " + file + " cannot be deleted: " + std::strerror(errno));
  }
  if (first_failure) throw FileError(*first_failure);
}

FolderNames::FolderNames(std::string_view folder)
    : names_(ListFolder(folder.empty() ? "." : NativePath(folder),
                        [](const dirent&) { return true; })) {
  std::sort(names_.begin(), names_.end(), [](const std::string& a, const std::string& b) {
    return LessFolded(a, b) || (!LessFolded(b, a) && a < b);
  });
}

const std::string* FolderNames::Find(std::string_view wanted) const {
  const auto [first, last] =
      std::equal_range(names_.begin(), names_.end(), wanted,
                       [](std::string_view a, std::string_view b) { return LessFolded(a, b); });
  if (first == last) return nullptr;
  const auto exact = std::find(first, last, wanted);
  return exact != last ? &*exact : &*first;
}

namespace {

// names() gives those of the path's folder.
template <class Names>
std::string FindReadable(std::string_view path, Names names) {
  std::string native = NativePath(path);
  if (access(native.c_str(), F_OK) == 0 || errno != ENOENT) return native;
  const std::string folder(FolderOf(native));
  const std::string* name = names(folder).Find(FileName(native));
  return name != nullptr ? folder + *name : native;
}

}  // namespace

std::string ReadablePath(std::string_view path) { return FindReadable(path, NamesOf); }

std::string ReadablePath(std::string_view path, const FolderNames& names) {
  return FindReadable(path, [&](const std::string&) -> const FolderNames& { return names; });
}

std::string_view FileName(std::string_view path) {
  const auto separator = path.find_last_of("\\/");
  return separator == std::string_view::npos ? path : path.substr(separator + 1);
}

std::string_view FolderOf(std::string_view path) {
  return path.substr(0, path.size() - FileName(path).size());
}

std::string WithSeparator(std::string_view path) {
  std::string whole(path);
  if (!whole.ends_with('\\') && !whole.ends_with('/')) whole += '\\';
  return whole;
}

std::optional<FileIdentity> IdentifyFile(const std::string& native_path) noexcept {
  struct stat info {};
  if (stat(native_path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  return IdentityOf(info);
}

std::optional<FileIdentity> FindFile(const std::string& native_path) {
  struct stat info {};
  if (stat(native_path.c_str(), &info) != 0) {
    if (errno == ENOENT) return std::nullopt;
    ThrowFileError(native_path, "cannot be examined", errno);
  }
  RequirePlainFile(info, native_path);
  return IdentityOf(info);
}

FileIdentity IdentifyFile(int descriptor, const std::string& path) {
  struct stat info {};
  if (fstat(descriptor, &info) != 0) ThrowFileError(path, "cannot be examined", errno);
  return IdentityOf(info);
}

std::optional<SourceFile> OpenSource(const std::string& native_path) {
  Descriptor file(open(native_path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.IsValid() && errno == ENOENT) return std::nullopt;
  struct stat info {};
  if (!file.IsValid() || fstat(file.Get(), &info) != 0)
    ThrowFileError(native_path, "cannot be read", errno);
  RequirePlainFile(info, native_path);
  return SourceFile{std::move(file), static_cast<std::uint64_t>(info.st_size)};
}

void WriteAll(int descriptor, std::string_view bytes, const std::string& path) {
  while (!bytes.empty()) {
    const ssize_t wrote = Again([&] { return write(descriptor, bytes.data(), bytes.size()); });
    if (wrote < 0) ThrowFileError(path, "cannot be written", errno);
    bytes.remove_prefix(static_cast<std::size_t>(wrote));
  }
}

std::uint64_t AppendFile(int from, int to, std::uint64_t limit, const std::string& path) {
  std::uint64_t done = 0;
  while (done < limit) {
    const ssize_t copied =
        Again([&] { return copy_file_range(from, nullptr, to, nullptr, limit - done, 0); });
    if (copied < 0 && (errno == ENOSPC || errno == EDQUOT || errno == EFBIG))
      ThrowFileError(path, "cannot be written", errno);
    // Other file systems, other kinds of files: by hand. It also tells the end for certain.
    if (copied <= 0) return done + CopyByBuffer(from, to, limit - done, path);
    done += static_cast<std::uint64_t>(copied);
  }
  return done;
}

bool CopyWholeFile(std::string_view from, std::string_view to) {
  const std::string source = ReadablePath(from);
  const std::optional<SourceFile> input = OpenSource(source);
  if (!input) return false;
  OutputFile output(to);
  AppendFile(input->descriptor.Get(), output.Handle(), UINT64_MAX, source);
  output.Commit();
  return true;
}

bool FolderExists(std::string_view path) {
  struct stat info {};
  return stat(NativePath(path).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool MakeFolder(std::string_view path) { return mkdir(NativePath(path).c_str(), S_IRWXU) == 0; }

std::vector<std::string> FolderEntries(std::string_view folder) {
  try {
    return ListFolder(NativePath(folder), [](const dirent& entry) {
      const std::string_view name(entry.d_name);
      return name != "." && name != "..";
    });
  } catch (const FileError&) {
    return {};
  }
}

std::optional<FileText> ReadWholeFile(std::string_view path) {
  constexpr off_t kMaxSize = off_t{1} << 31;
  const std::string native = ReadablePath(path);
  const Descriptor file(open(native.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat info {};
  if (!file.IsValid() || fstat(file.Get(), &info) != 0 || !S_ISREG(info.st_mode))
    return std::nullopt;
  if (info.st_size > kMaxSize) ThrowFileError(native, "is too long", EFBIG);
  const auto size = static_cast<std::size_t>(info.st_size);
  auto bytes = std::make_unique_for_overwrite<char[]>(size);
  const ssize_t got = ReadUpTo(file.Get(), bytes.get(), size);
  if (got < 0) return std::nullopt;
  return FileText(std::move(bytes), static_cast<std::size_t>(got));
}

void RequireReplaceable(const std::string& native_path) {
  struct stat info {};
  if (lstat(native_path.c_str(), &info) != 0) {
    if (errno == ENOENT) return;
    ThrowFileError(native_path, "cannot be examined", errno);
  }
  if (!S_ISREG(info.st_mode) && !S_ISLNK(info.st_mode))
    ThrowFileError(native_path, "cannot be replaced", S_ISDIR(info.st_mode) ? EISDIR : EEXIST);
}

void RenameFile(const std::string& from, const std::string& to) {
  if (rename(from.c_str(), to.c_str()) != 0) ThrowFileError(from, "cannot be renamed", errno);
}

void DiscardFile(const std::string& native_path) noexcept { unlink(native_path.c_str()); }

}  // namespace ncc
