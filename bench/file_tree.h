// The files of a folder, held in memory and written by the plainest means.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class FileTree {
 public:
  // Reads a folder with its sub-folders; files of the same bytes are held once.
  explicit FileTree(const std::string& folder);

  // Writes every file under a name of its own and renames it.
  void Write(const std::string& folder) const;
  std::uint64_t Bytes() const;

 private:
  struct File {
    std::string name;
    std::shared_ptr<const std::string> bytes;
  };
  std::vector<std::string> folders_;
  std::vector<File> files_;
};

// Appends the files of each AP and each server below "APDB" and "MAP" to one file a node.
void JoinByNode(const std::string& from, const std::string& to);
