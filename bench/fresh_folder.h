// Folders for files that are written by the thousand and not kept.
#pragma once

#include <string>

// An empty folder below the current one, which is a scratch folder that lasts until the program
// ends. Destroyed, it empties its files but leaves them: file systems are slow to make new files
// where others were just deleted, and what is not emptied would have to be written to the disk.
class FreshFolder {
 public:
  FreshFolder();
  ~FreshFolder();
  FreshFolder(const FreshFolder&) = delete;
  FreshFolder& operator=(const FreshFolder&) = delete;

  const std::string& Name() const { return name_; }

 private:
  std::string name_;
};
