// A folder that vanishes with the object. It lies below TMPDIR, which has to be on a disk: a file
// system in memory makes every flush free.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

class ScratchFolder {
 public:
  ScratchFolder()
      : path_((std::filesystem::temp_directory_path() / "nccnet-bench-XXXXXX").string()) {
    if (::mkdtemp(path_.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), path_);
    }
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string Path(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};
