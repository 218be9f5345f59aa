// A file that is being written beside the name that it will have.
#pragma once

#include "platform/disk/descriptor.h"

#include <functional>
#include <string>

namespace ncc {

struct FileIdentity;

// Readable by its owner alone. Its name is one that the next writer of the path knows, and it is
// locked while its writer lives: what a writer that was killed left there goes with the next one,
// and several writers at a time have names of their own. Destroyed before it is in place it leaves
// nothing behind. Members throw FileError.
class PartFile {
 public:
  explicit PartFile(std::string path);
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  const std::string& Path() const { return path_; }
  const std::string& Name() const { return name_; }
  int Handle() const { return file_.Get(); }
  bool IsInPlace() const { return !file_.IsValid(); }

  // Gives the file its path, and closes it.
  void PutInPlace();

 private:
  std::string path_;
  std::string name_;
  Descriptor file_;
};

// Deletes what writers that have died left in a folder, of whatever path. Before one goes, what was
// made for its sake can be cleared away.
using BeforeDiscarding = std::function<void(const std::string& name, const std::string& path)>;
void DiscardLeftovers(const std::string& folder, const BeforeDiscarding& before);

// Gives a file, the twin, a second name, replacing what has it. False, and nothing is done, where
// the file system cannot or the twin is not what it was. Throws nothing but std::bad_alloc.
bool LinkInPlace(const std::string& twin, const FileIdentity& identity, const std::string& path);

}  // namespace ncc
