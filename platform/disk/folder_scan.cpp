#include "platform/disk/folder_scan.h"

#include "platform/disk/descriptor.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>
#include <vector>

namespace ncc {
namespace {

class Scan {
 public:
  Scan(std::string root, const FileVisit& visit) : root_(std::move(root)), visit_(visit) {}

  void Visit(int parent, const char* name, const std::string& below) {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;
    Descriptor folder(openat(parent, name, kFlags));
    if (!folder.IsValid() && (errno == ENOENT || errno == ENOTDIR || errno == ELOOP)) return;
    const int descriptor = folder.Get();
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(
        descriptor < 0 ? nullptr : fdopendir(descriptor), &closedir);
    if (!stream) Throw(below);
    static_cast<void>(folder.Release());
    std::vector<std::string> folders;
    std::string path = below + '/';
    const std::size_t length = path.size();
    for (;;) {
      errno = 0;
      const dirent* entry = readdir(stream.get());
      if (entry == nullptr) break;
      if (VisitEntry(descriptor, *entry, path.append(entry->d_name)))
        folders.emplace_back(entry->d_name);
      path.resize(length);
    }
    if (errno != 0) Throw(below);
    for (const std::string& one : folders) Visit(descriptor, one.c_str(), path + one);
  }

 private:
  [[noreturn]] void Throw(const std::string& below) const {
    ThrowFileError(root_ + "/" + below, "cannot be examined", errno);
  }

  // Whether it is a folder, but for the two that lead back.
  bool VisitEntry(int folder, const dirent& entry, const std::string& path) {
    const std::string_view name(entry.d_name);
    if (entry.d_type == DT_DIR) return name != "." && name != "..";
    struct stat info {};
    if (fstatat(folder, entry.d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno == ENOENT) return false;
      Throw(path);
    }
    if (S_ISDIR(info.st_mode)) return name != "." && name != "..";
    if (S_ISREG(info.st_mode)) {
      visit_(path, FileIdentity{info.st_dev, info.st_ino, static_cast<std::uint64_t>(info.st_size),
                                info.st_mtim.tv_sec, info.st_mtim.tv_nsec});
    } else {
      visit_(path, std::nullopt);
    }
    return false;
  }

  std::string root_;
  const FileVisit& visit_;
};

}  // namespace

void ScanFolder(const std::string& root, const std::string& folder, const FileVisit& visit) {
  const Descriptor top(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!top.IsValid()) {
    if (errno == ENOENT) return;
    ThrowFileError(root, "cannot be examined", errno);
  }
  Scan(root, visit).Visit(top.Get(), folder.c_str(), folder);
}

}  // namespace ncc
