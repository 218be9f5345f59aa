// The files of a database on disk, up to the point where the engine opens them.
#pragma once

#include "platform/hdb/engine.h"
#include "platform/part_file.h"

#include <optional>
#include <string>
#include <string_view>

namespace ncc {

struct DatabaseFiles {
  std::string folder;   // canonical and absolute, so that two names of it cannot hide one database
  std::string data;     // the database itself
  std::string log;      // commits that are not in it yet
  std::string journal;  // left by other tools
  std::string lock;
};

// Where the files of the database `base` are. kCreate makes missing folders, kOpen touches nothing.
// All functions here throw StorageError.
DatabaseFiles LocateDatabase(const std::string& base, OpenMode mode);

enum class DataFileState { kMissing, kEmpty, kOurs };

// Looks at the head of the data file; refuses what another program wrote or a newer version of this
// one. Only while no engine has the file open: closing it would drop the engine's locks.
DataFileState InspectDataFile(const std::string& file);

// The marks that InspectDataFile looks for in the head of a data file.
constexpr std::int32_t kApplicationId = 0x4E434344;
constexpr std::int32_t kFormatVersion = 1;

// Makes `file` appear whole and durable with these contents, readable by its owner alone.
void WriteWholeFile(const std::string& file, std::string_view contents);

// A new file, owner's rights only, that vanishes again unless it takes the name of its target.
class PendingFile {
 public:
  // Makes it empty, under a name of its own beside `target`.
  explicit PendingFile(const std::string& target);

  const std::string& Name() const { return part_->Name(); }

  // Flushes it and renames it over the target, durably.
  void Publish();

 private:
  std::optional<PartFile> part_;
};

// Gives the contents of `file` to storage anew, also where the system believes them stored.
void RewriteFile(const std::string& file);

// Refuses a target of a copy that is one of the database's own files or that has side files, which
// would be taken for changes of the copy.
void CheckCopyTarget(const DatabaseFiles& files, const std::string& target);

bool FileExists(const std::string& file);
void RemoveFile(const std::string& file);

// "cannot open x.db: Permission denied"
std::string DescribeFailure(std::string_view doing, const std::string& file, int error);

}  // namespace ncc
