#include "platform/disk/folder_listing.h"

#include "platform/disk/descriptor.h"
#include "platform/parallel.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <iterator>
#include <memory>

namespace ncc {
namespace {

// One folder. Each file is examined as soon as its name was read: the system has both at hand then.
class Lister {
 public:
  Lister(const std::string& root, std::string path)
      : whole_(root + "/" + path), listed_(std::move(path)) {}

  // False when there is no such folder.
  bool List() {
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOFOLLOW;
    Descriptor folder(open(whole_.c_str(), kFlags));
    if (!folder.IsValid() && (errno == ENOENT || errno == ENOTDIR || errno == ELOOP)) return false;
    const int handle = folder.Get();
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(handle < 0 ? nullptr : fdopendir(handle),
                                                     &closedir);
    if (!stream) Throw(whole_);
    static_cast<void>(folder.Release());
    for (;;) {
      errno = 0;
      const dirent* const entry = readdir(stream.get());
      if (entry == nullptr) break;
      const std::string_view name(entry->d_name);
      if (entry->d_type != DT_DIR) {
        Examine(handle, *entry);
      } else if (name != "." && name != "..") {
        AddFolder(name);
      }
    }
    if (errno != 0) Throw(whole_);
    return true;
  }

  ListedFolder& Listed() { return listed_; }
  std::vector<std::string>& SubFolders() { return sub_folders_; }

 private:
  [[noreturn]] static void Throw(const std::string& path) {
    ThrowFileError(path, "cannot be examined", errno);
  }

  void AddFolder(std::string_view name) {
    sub_folders_.push_back(listed_.Path() + "/" + std::string(name));
  }

  // Another name of the file before needs no look.
  void Examine(int folder, const dirent& entry) {
    if (last_ && entry.d_ino == last_->inode) return listed_.Add(entry.d_name, last_);
    last_.reset();
    struct stat info {};
    if (fstatat(folder, entry.d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno == ENOENT) return;
      Throw(whole_ + "/" + entry.d_name);
    }
    // Not every file system tells it with the name.
    if (S_ISDIR(info.st_mode)) return AddFolder(entry.d_name);
    if (S_ISREG(info.st_mode)) {
      last_ = FileIdentity{info.st_dev, info.st_ino, static_cast<std::uint64_t>(info.st_size),
                           info.st_mtim.tv_sec, info.st_mtim.tv_nsec};
    }
    listed_.Add(entry.d_name, last_);
  }

  std::string whole_;
  ListedFolder listed_;
  std::vector<std::string> sub_folders_;
  std::optional<FileIdentity> last_;
};

}  // namespace

std::vector<ListedFolder> ListFolders(const std::string& root,
                                      const std::vector<std::string>& folders) {
  std::vector<ListedFolder> all;
  for (std::vector<std::string> paths = folders; !paths.empty();) {
    std::vector<Lister> listers;
    for (std::string& path : paths) listers.emplace_back(root, std::move(path));
    std::vector<char> is_there(listers.size());
    InShares(listers.size(), 1, [&](std::size_t first, std::size_t last) {
      for (std::size_t i = first; i < last; ++i) is_there[i] = listers[i].List() ? 1 : 0;
    });
    paths.clear();
    for (std::size_t i = 0; i < listers.size(); ++i) {
      if (is_there[i] != 0) all.push_back(std::move(listers[i].Listed()));
      std::move(listers[i].SubFolders().begin(), listers[i].SubFolders().end(),
                std::back_inserter(paths));
    }
  }
  return all;
}

}  // namespace ncc
