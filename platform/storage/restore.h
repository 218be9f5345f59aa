// Putting a copy in the place of a database.
//
// What is replaced gets the name under which it is kept, and so does its log, before the copy takes
// its place; the log's old name goes last. Wherever this is interrupted, either the second names
// are one too many, or the copy, which no log was ever kept beside, has the log of another. Where
// the file system has no second names a copy of what is replaced is kept, which needs none of this
// as long as there is no log.
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

  // That file, to be checked before it is published.
  const std::string& File() const { return copy_.Name(); }

  // Puts it in place at once and durably. Returns the name under which what was replaced is kept
  // now, its log beside it; nothing when there was nothing.
  std::string Publish();

 private:
  void FoldLog() const;
  void KeepAs(const std::string& kept) const;

  const DatabaseFiles files_;
  OwnerLock lock_;
  PendingFile copy_;
};

// The log that is to be read with the data file; nothing when the one that is there was left by an
// interrupted restoration.
std::string FindOwnLog(const DatabaseFiles& files);

// Clears away what an interrupted restoration left. For the database's owner. Throws StorageError
// also when the log is another database's as well.
void ClearAfterRestoration(const DatabaseFiles& files);

}  // namespace ncc
