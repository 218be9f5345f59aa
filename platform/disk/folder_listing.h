// What lies in folders, with all their sub-folders.
#pragma once

#include "platform/disk/files.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ncc {

// What is in a folder, but for folders.
class ListedFolder {
 public:
  struct Entry {
    std::uint32_t name;                // see Name
    std::optional<FileIdentity> file;  // nothing for what is no plain file, such as a link
  };

  explicit ListedFolder(std::string path) : path_(std::move(path)) {}

  const std::string& Path() const { return path_; }  // below the root
  const std::vector<Entry>& Entries() const { return entries_; }
  std::string_view Name(const Entry& entry) const { return &names_[entry.name]; }

  void Add(const char* name, const std::optional<FileIdentity>& file) {
    entries_.push_back({static_cast<std::uint32_t>(names_.size()), file});
    names_.append(name) += '\0';
  }

 private:
  std::string path_;
  std::string names_;  // a zero behind each
  std::vector<Entry> entries_;
};

// These folders below the root and all below them, in no order; looked at in several threads. No
// link is followed; a missing folder is left out. Throws FileError.
std::vector<ListedFolder> ListFolders(const std::string& root,
                                      const std::vector<std::string>& folders);

}  // namespace ncc
