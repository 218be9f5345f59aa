#include "files/stamp_tree.h"

#include <algorithm>

#include <sys/stat.h>

#include "console/text.h"
#include "files/files.h"
#include "files/output_folder.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

// In a directory database the lists lie in "R" and each kind of file in a folder of its own, told
// by the beginning of its name.
struct Kind {
  const char* stem;
  const char* folder;
};
constexpr Kind kKinds[] = {{"apn", "N"}, {"apu", "U"}, {"apa", "A"}, {"apl", "L"}, {"node", "T"}};

std::string FolderOf(const std::string& name) {
  for (const Kind& kind : kKinds) {
    if (FoldName(name).starts_with(FoldName(kind.stem))) return kind.folder;
  }
  return {};
}

}  // namespace

std::vector<fs::path> StampTree::FindHolders(const fs::path& folder) {
  std::vector<fs::path> holders;
  for (auto at = fs::recursive_directory_iterator(folder); at != end(at); ++at) {
    const fs::directory_entry& entry = *at;
    if (entry.path().filename() == kWorkFolder) at.disable_recursion_pending();  // unfinished
    if (entry.is_regular_file() && HoldsStamps(entry.path().filename().string())) {
      holders.push_back(entry.path());
    }
  }
  std::sort(holders.begin(), holders.end());
  return holders;
}

const StampTree::Names& StampTree::NamesIn(const fs::path& folder) {
  const auto [found, is_new] = folders_.try_emplace(folder.string());
  if (!is_new || !fs::is_directory(folder)) return found->second;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      found->second.emplace(FoldName(entry.path().filename().string()), entry.path());
    }
  }
  return found->second;
}

// Identical files may be one file with many names.
std::uint32_t StampTree::StampOfFile(const fs::path& file) {
  struct stat info {};
  if (stat(file.c_str(), &info) != 0 || info.st_nlink < 2) return stamper_.OfFile(file.string());
  const auto [found, is_new] = linked_.try_emplace({info.st_dev, info.st_ino}, 0);
  if (is_new) found->second = stamper_.OfFile(file.string());
  return found->second;
}

std::optional<std::uint32_t> StampTree::StampIn(const fs::path& folder, const std::string& name) {
  const Names& names = NamesIn(folder);
  const auto found = names.find(FoldName(name));
  if (found == names.end()) return std::nullopt;
  return StampOfFile(found->second);
}

StampFindings StampTree::CheckHolder(const fs::path& holder) {
  const fs::path beside = holder.parent_path();
  const bool in_database = FoldName(beside.filename().string()) == FoldName("R");
  const auto stamp_of = [&](const std::string& name) {
    if (in_database) {
      const auto stamp = StampIn(beside.parent_path() / FolderOf(name), name);
      if (stamp) return stamp;
    }
    return StampIn(beside, name);
  };
  return CheckStamps(holder.filename().string(), ReadFile(holder.string(), kLargestFile), stamper_,
                     stamp_of);
}

}  // namespace ncc::tool
