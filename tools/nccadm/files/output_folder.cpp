#include "files/output_folder.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <set>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <fmt/format.h>

#include "console/failure.h"
#include "files/files.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMarker = ".nccadm";
constexpr const char* kMarkerHead = "# 'nccadm generate' replaces these folders:\n";
constexpr const char* kJournal = "newfiles.dat";
constexpr std::size_t kMostMarkerBytes = 1U << 16;

std::string TopOf(const std::string& folder) { return folder.substr(0, folder.find('/')); }

struct stat StatOf(const fs::path& path) {
  struct stat info {};
  if (lstat(path.c_str(), &info) != 0) info.st_ino = 0;
  return info;
}

bool Exists(const fs::path& path) { return StatOf(path).st_ino != 0; }
bool IsFolder(const fs::path& path) { return S_ISDIR(StatOf(path).st_mode); }

bool HoldsFiles(const fs::path& folder) {
  if (!Exists(folder)) return false;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_symlink() || !entry.is_directory()) return true;
  }
  return false;
}

std::set<std::string> ReadMarker(const fs::path& folder) {
  const fs::path file = folder / kMarker;
  if (!Exists(file)) return {};
  std::istringstream lines(ReadFile(file.string(), kMostMarkerBytes));
  std::set<std::string> names;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with('#')) names.insert(line);
  }
  return names;
}

void Rename(const fs::path& from, const fs::path& to) {
  if (std::rename(from.c_str(), to.c_str()) == 0) return;
  throw Failure(fmt::format("{} cannot take the place of {}: {}", from.string(), to.string(),
                            std::strerror(errno)));
}

// Puts a new folder where the old one is, and the old one aside. No moment is without one of them
// where the file system can exchange names.
void Exchange(const fs::path& fresh, const fs::path& live, const fs::path& aside) {
  if (Exists(live) &&
      renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, live.c_str(), RENAME_EXCHANGE) == 0) {
    return Rename(fresh, aside);
  }
  if (Exists(live)) Rename(live, aside);
  Rename(fresh, live);
}

// Calls visit(folder of the old tree, its place in the new tree) for each folder that is in the old
// one alone.
template <class Visit>
void ForEachStranger(const fs::path& old, const fs::path& fresh, const Visit& visit) {
  if (!IsFolder(old)) return;
  std::vector<fs::path> folders;
  for (const auto& entry : fs::directory_iterator(old)) {
    if (!entry.is_symlink() && entry.is_directory()) folders.push_back(entry.path());
  }
  for (const fs::path& folder : folders) {
    const fs::path place = fresh / folder.filename();
    if (IsFolder(place)) {
      ForEachStranger(folder, place, visit);
    } else {
      visit(folder, place);
    }
  }
}

// Calls visit(path, place, is_folder) for each file or folder below `from` and its place below
// `to`, folders before what is in them. Links are left out. The system tells the kinds with the
// names, so that no file is examined for them.
template <class Visit>
void ForEachStaged(const fs::path& from, const fs::path& to, const Visit& visit) {
  const std::vector<fs::directory_entry> entries(fs::directory_iterator(from), {});
  for (const fs::directory_entry& entry : entries) {
    if (entry.is_symlink()) continue;
    const bool is_folder = entry.is_directory();
    const fs::path place = to / entry.path().filename();
    visit(entry.path(), place, is_folder);
    if (is_folder) ForEachStaged(entry.path(), place, visit);
  }
}

// Waits until the names in these folders are on the disk.
void FlushNames(const std::set<fs::path>& folders) {
  for (const fs::path& folder : folders) {
    const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool flushed = descriptor >= 0 && (fsync(descriptor) == 0 || errno == EINVAL);
    const int error = errno;
    if (descriptor >= 0) close(descriptor);
    if (!flushed) {
      throw Failure(fmt::format("{} cannot be flushed: {}", folder.string(), std::strerror(error)));
    }
  }
}

}  // namespace

void RefuseOwnFiles(const fs::path& out, const fs::path& file, const char* what, const char* hint) {
  const fs::path whole = fs::weakly_canonical(file);
  for (const char* name : {"KC", "APDB", "MAP", kWorkFolder, kManifest, kMarker, kJournal}) {
    const fs::path own = fs::weakly_canonical(out / name);
    if (std::mismatch(own.begin(), own.end(), whole.begin(), whole.end()).first != own.end())
      continue;
    throw Failure(fmt::format("{} {} {}, which would be replaced", what,
                              own == whole ? "is" : "lies in the output folder", own.string()),
                  hint);
  }
}

OutputFolder::OutputFolder(const fs::path& folder) : folder_(folder) {
  MakePrivateFolder(folder_.string());
  folder_ = fs::canonical(folder_);
  work_ = folder_ / kWorkFolder;
  Lock();
  try {
    Recover();
  } catch (...) {
    close(lock_);
    throw;
  }
}

OutputFolder::~OutputFolder() {
  try {
    fs::current_path(folder_);
    if (!Exists(work_ / "placing")) RemoveWork();
  } catch (const std::exception&) {
    // The next run removes it.
  }
  close(lock_);
}

void OutputFolder::Lock() {
  lock_ = open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (lock_ < 0) {
    throw Failure(fmt::format("{} cannot be used: {}", folder_.string(), std::strerror(errno)));
  }
  // Some file systems lock no folders.
  if (flock(lock_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK) return;
  close(lock_);
  throw Failure(fmt::format("another run generates into {}", folder_.string()),
                "Wait until it has ended, or give another folder with --out.");
}

void OutputFolder::Recover() {
  if (!Exists(work_)) return;
  if (Exists(work_ / "placing")) {
    FinishPlacing();
    RemoveWork();
    told_ = "Completed the run before, which was ended while it put its files in place.";
  } else {
    RemoveWork();
    told_ = "Removed what a run left that was ended before.";
  }
}

OutputFolder::Room OutputFolder::Free() const {
  struct statvfs info {};
  if (fstatvfs(lock_, &info) != 0) return {UINT64_MAX, UINT64_MAX};
  // Some file systems have no fixed number of files.
  return {info.f_bavail * info.f_frsize, info.f_files == 0 ? UINT64_MAX : info.f_favail};
}

void OutputFolder::RequireOwn(const fs::path& out, const std::vector<FolderChange>& changes,
                              bool force) {
  const std::set<std::string> own = ReadMarker(out);
  for (const FolderChange& change : changes) {
    const fs::path folder = out / TopOf(change.folder);
    const struct stat info = StatOf(folder);
    if (info.st_ino == 0) continue;
    if (!S_ISDIR(info.st_mode)) {
      throw Failure(fmt::format("{} is {}, and a folder has to be replaced there", folder.string(),
                                S_ISLNK(info.st_mode) ? "a link" : "no folder"),
                    "Remove it, or give another folder with --out.");
    }
    if (info.st_dev != StatOf(out).st_dev) {
      throw Failure(
          fmt::format("{} is on another file system than {}", folder.string(), out.string()),
          "Give a folder with --out that is one with its sub-folders.");
    }
    if (force || own.count(TopOf(change.folder)) != 0 || !HoldsFiles(folder)) continue;
    throw Failure(fmt::format("{} holds files, and no marker of nccadm says that they may be "
                              "replaced",
                              folder.string()),
                  "Give another folder with --out, or --force if what is in it may go.");
  }
}

// The files of the old folder once more, as cheaply as the file system can.
void OutputFolder::Seed(const FolderChange& change) const {
  const fs::path into = work_ / "set" / change.folder;
  MakePrivateFolder(into.string());
  const fs::path from = folder_ / change.folder;
  if (!Exists(from)) return;
  for (const auto& entry : fs::directory_iterator(from)) {
    const fs::path& file = entry.path();
    const bool is_link = entry.is_symlink();
    if (!is_link && !entry.is_regular_file()) continue;
    if (!change.except.empty() && file.string().ends_with(change.except)) continue;
    const fs::path copy = into / file.filename();
    std::error_code error;
    if (is_link) {
      fs::copy_symlink(file, copy);
    } else if (fs::create_hard_link(file, copy, error); error) {
      fs::copy_file(file, copy);
    }
  }
}

// Generators append to the journal.
void OutputFolder::SeedJournal() const {
  const fs::path journal = folder_ / kJournal;
  if (!Exists(journal)) return;
  if (!S_ISREG(StatOf(journal).st_mode)) {
    throw Failure(fmt::format("{} is no plain file", journal.string()));
  }
  fs::copy_file(journal, work_ / "set" / kJournal);
}

// Packages take files of the folders that the run does not make.
void OutputFolder::LinkWhatIsPacked(const std::set<std::string>& changed) const {
  for (const std::string name : {"APDB", "MAP"}) {
    if (changed.count(name) != 0 || !Exists(folder_ / name)) continue;
    std::error_code error;
    fs::create_directory_symlink(folder_ / name, work_ / "set" / name, error);
    if (!error) continue;
    throw Failure(fmt::format("{} cannot be reached by a link: {}", (folder_ / name).string(),
                              error.message()),
                  "Run 'nccadm generate all', which needs none.");
  }
}

std::string OutputFolder::Begin(const std::vector<FolderChange>& changes) {
  changes_ = changes;
  const fs::path set = work_ / "set";
  MakePrivateFolder(set.string());
  std::set<std::string> changed;
  for (const FolderChange& change : changes) {
    changed.insert(TopOf(change.folder));
    if (change.fate == FolderFate::kRevised) Seed(change);
  }
  if (changed.count("KC") != 0) LinkWhatIsPacked(changed);
  if (changed.count("APDB") + changed.count("MAP") > 0) SeedJournal();
  fs::current_path(set);
  return folder_.string();
}

void OutputFolder::RefuseWhatIsInTheWay() const {
  const auto refuse = [](const fs::path&, const fs::path& place, bool is_folder) {
    const struct stat info = StatOf(place);
    if (info.st_ino == 0 || S_ISDIR(info.st_mode) == is_folder) return;
    throw Failure(fmt::format("{} stands where a {} has to be", place.string(),
                              is_folder ? "folder" : "file"),
                  "Remove it; nothing was replaced.");
  };
  ForEachStaged(work_ / "set", folder_, refuse);
}

void OutputFolder::WriteMarker() const {
  std::set<std::string> names = ReadMarker(folder_);
  for (const FolderChange& change : changes_) names.insert(TopOf(change.folder));
  std::string text = kMarkerHead;
  for (const std::string& name : names) text += name + "\n";
  // Made in the work folder, which the next run clears when this one is killed.
  WriteFile((work_ / "marker").string(), text);
  Rename(work_ / "marker", folder_ / kMarker);
}

void OutputFolder::Place() {
  fs::current_path(folder_);
  const fs::path set = work_ / "set";
  RefuseWhatIsInTheWay();
  FlushFileSystem(folder_.string());
  WriteMarker();
  std::string record;
  for (const FolderChange& change : changes_) {
    if (change.fate == FolderFate::kAdded || !Exists(set / change.folder)) continue;
    record += fmt::format("{} {}\n", StatOf(set / change.folder).st_ino, change.folder);
  }
  for (const std::string& file : gone_) record += "- " + file + "\n";
  WriteFile((work_ / "placing").string(), record);
  try {
    FinishPlacing();
  } catch (const std::exception& error) {
    throw Failure(
        fmt::format("the new files are put in place in part: {}", error.what()),
        fmt::format("The next run goes on with it; to give it up, delete {}.", work_.string()),
        kExitPartly);
  }
}

void OutputFolder::RemoveGone(const std::vector<std::string>& files, std::set<fs::path>& touched) {
  for (const std::string& file : files) {
    const fs::path path = folder_ / file;
    if (unlink(path.c_str()) != 0 && errno != ENOENT) {
      throw Failure(fmt::format("{} cannot be removed: {}", path.string(), std::strerror(errno)));
    }
    touched.insert(path.parent_path());
  }
}

// Each step can be done again by the next run: a folder whose inode is the recorded one is in place
// already, a file that was moved is not there any more.
void OutputFolder::FinishPlacing() {
  std::istringstream record(ReadFile((work_ / "placing").string(), kLargestFile));
  MakePrivateFolder((work_ / "old").string());
  std::set<fs::path> touched = {folder_, work_, work_ / "set", work_ / "old"};
  std::vector<std::string> gone;
  int number = 0;
  for (std::string line; std::getline(record, line); ++number) {
    const std::size_t blank = std::min(line.find(' '), line.size() - 1);
    const std::string folder = line.substr(blank + 1);
    if (line.starts_with('-')) {
      gone.push_back(folder);
      continue;
    }
    const ino_t inode = std::strtoull(line.c_str(), nullptr, 10);
    const fs::path live = folder_ / folder;
    const fs::path fresh = work_ / "set" / folder;
    const fs::path aside = work_ / "old" / std::to_string(number);
    MakePrivateFolder(live.parent_path().string());
    if (StatOf(live).st_ino != inode) {
      Exchange(fresh, live, aside);
    } else if (Exists(fresh)) {
      Rename(fresh, aside);
    }
    ForEachStranger(aside, live, Rename);
    touched.insert({live.parent_path(), fresh.parent_path()});
  }
  const auto put_in_place = [&](const fs::path& entry, const fs::path& place, bool is_folder) {
    if (!is_folder) {
      Rename(entry, place);
    } else if (!Exists(place)) {
      MakePrivateFolder(place.string());
    }
    touched.insert(place.parent_path());
  };
  ForEachStaged(work_ / "set", folder_, put_in_place);
  RemoveGone(gone, touched);
  if (Exists(work_ / "manifest")) Rename(work_ / "manifest", folder_ / kManifest);
  FlushNames(touched);
  fs::remove(work_ / "placing");
}

void OutputFolder::RemoveWork() const {
  std::error_code error;
  fs::remove_all(work_, error);
  if (!error) return;
  throw Failure(fmt::format("{}, with files that are not needed any more, cannot be removed: {}",
                            work_.string(), error.message()),
                "The next run tries it again.", kExitPartly);
}

}  // namespace ncc::tool
