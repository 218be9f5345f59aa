// The stamps of a folder of generated files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "files/stamp_check.h"

namespace ncc::tool {

// Finds the files that stamp lists name, and computes the stamp of each once.
class StampTree {
 public:
  explicit StampTree(const Stamper& stamper) : stamper_(stamper) {}

  // The files below the folder that hold stamps, in the order of their paths.
  static std::vector<std::filesystem::path> FindHolders(const std::filesystem::path& folder);

  // Checks all stamps of such a file; see CheckStamps.
  StampFindings CheckHolder(const std::filesystem::path& holder);

 private:
  using Names = std::unordered_map<std::string, std::filesystem::path>;  // by folded name

  const Names& NamesIn(const std::filesystem::path& folder);
  std::optional<std::uint32_t> StampIn(const std::filesystem::path& folder,
                                       const std::string& name);
  std::uint32_t StampOfFile(const std::filesystem::path& file);

  const Stamper& stamper_;
  std::unordered_map<std::string, Names> folders_;
  std::map<std::pair<std::uint64_t, std::uint64_t>, std::uint32_t> linked_;  // by device and inode
};

}  // namespace ncc::tool
