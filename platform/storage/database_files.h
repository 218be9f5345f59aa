// The files of a database on disk, up to the point where the engine opens them.
#pragma once

#include "platform/disk/part_file.h"
#include "platform/storage/engine.h"

#include <optional>
#include <string>
#include <string_view>

namespace ncc {

struct DatabaseFiles {
  std::string folder;   // canonical and absolute, so that two names of it cannot hide one database
  std::string stem;     // what all their names begin with
  std::string data;     // the database itself
  std::string log;      // commits that are not in it yet
  std::string journal;  // left by other tools
  std::string lock;
};

// Where the files of the database `base` are. kCreate makes missing folders, kOpen touches nothing.
// All functions here throw StorageError.
DatabaseFiles LocateDatabase(const std::string& base, OpenMode mode);

// The files of a copy, which may have any name; no lock where it cannot be opened by that name.
DatabaseFiles LocateDataFile(const std::string& file);

enum class DataFileState { kMissing, kEmpty, kOurs };

// Looks at the head of the data file; refuses what another program wrote or a newer version of this
// one. Only while no engine has the file open: closing it would drop the engine's locks.
DataFileState InspectDataFile(const std::string& file);

// Refuses, in the same words, a file that begins like this.
void CheckDataHead(const std::string& file, std::string_view head);
// Takes the mark of a file that is written through a log from its head.
void MarkAsPlain(std::string& data);
bool IsMarkedAsPlain(std::string_view data);

// Throws for a name that the engine cannot take.
void CheckLength(const std::string& file);

// The marks that InspectDataFile looks for in the head of a data file.
constexpr std::uint32_t kApplicationId = 0x4E434344;
constexpr std::uint32_t kFormatVersion = 3;
// How many bytes the head has.
constexpr std::size_t kDataHeadSize = 100;

// Makes `file` appear whole and durable with these contents, readable by its owner alone.
void WriteWholeFile(const std::string& file, std::string_view contents);

// A new file, owner's rights only, that vanishes again unless it takes the name of its target; what
// a process leaves that dies meanwhile goes with the next one.
class PendingFile {
 public:
  // Makes it empty, under a name of its own beside `target`.
  explicit PendingFile(const std::string& target);

  const std::string& Name() const { return part_->Name(); }
  void Write(std::string_view bytes);

  // Flushes it and renames it over the target, durably.
  void Publish();

 private:
  std::optional<PartFile> part_;
};

// Shortens the file.
void CutFile(const std::string& file, std::uint64_t size);

// The contents, or so many bytes of them; nothing when there is no such file.
std::string ReadContents(const std::string& file);
std::string ReadStart(const std::string& file, std::size_t size);

// The files of a copy that is to be made: refuses what is no plain file and what belongs to a
// database without being its data file.
DatabaseFiles LocateCopy(const std::string& target);
// Side files would be taken for changes of the copy. To be asked while the target's lock is held.
void CheckNoSideFiles(const std::string& target);

// Whether the file has more than this name.
bool HasSecondName(const std::string& file);

// Which file it is that has this name; all zeros when there is none.
struct FileId {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  friend bool operator==(const FileId&, const FileId&) = default;
};
FileId IdOf(const std::string& file);

// Whether new files may take so many bytes of the folder's file system and leave it room enough.
bool HasAmpleRoom(const std::string& folder, std::uint64_t bytes);

// Makes the names in a folder durable.
void SyncFolder(const std::string& folder);

// False when there is no such file; throws when that cannot be told.
bool FileExists(const std::string& file);
void RemoveFile(const std::string& file);
// Gives a file a second name. False where the file system has no such thing.
bool LinkFile(const std::string& file, const std::string& name);

// "cannot open x.db: Permission denied"
std::string DescribeFailure(std::string_view doing, const std::string& file, int error);

}  // namespace ncc
