// Putting a copy in the place of a database.
#pragma once

#include "platform/storage/database_files.h"
#include "platform/storage/owner_lock.h"

#include <string>

namespace ncc {

// Owns the database `base`, which may be missing or damaged, until its destruction.
class Restoration {
 public:
  // Puts what `copy` holds into a file beside the database. Members throw StorageError.
  Restoration(const std::string& base, const std::string& copy);
  ~Restoration();
  Restoration(const Restoration&) = delete;
  Restoration& operator=(const Restoration&) = delete;

  // That file, to be checked before it is published.
  const std::string& File() const { return file_; }

  // Changes the two files' places at once and durably. Returns the name under which what was
  // replaced is kept now, its log beside it; nothing when there was nothing.
  std::string Publish();

 private:
  void FoldLog() const;

  const DatabaseFiles files_;
  OwnerLock lock_;
  const std::string file_;
  bool published_ = false;
};

}  // namespace ncc
