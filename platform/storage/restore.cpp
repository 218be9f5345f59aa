#include "platform/storage/restore.h"

#include "platform/disk/files.h"
#include "platform/storage/log_file.h"
#include "platform/storage/loss.h"
#include "platform/storage/snapshot.h"
#include "platform/storage/sqlite_session.h"

#include <array>
#include <ctime>
#include <string_view>

namespace ncc {
namespace {

constexpr std::string_view kReplaced = "-replaced-";

// "city-replaced-20260301-140211.db" for "city.db": a database of its own.
std::string NameForReplaced(const DatabaseFiles& files) {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  std::array<char, 32> time{};
  if (::localtime_r(&now, &parts) != nullptr) {
    std::strftime(time.data(), time.size(), "%Y%m%d-%H%M%S", &parts);
  }
  std::string name = files.stem + std::string(kReplaced) + time.data() + ".db";
  CheckLength(name);
  if (FileExists(name)) throw StorageError(name + " exists: try again in a second");
  return name;
}

// Logs first, so that none seems to be left behind by a copy that is in place.
void RemoveSecondNames(const DatabaseFiles& files) {
  const std::string folder = files.stem.substr(0, files.stem.rfind('/') + 1);
  for (const FileId& file : {IdOf(files.log), IdOf(files.data)}) {
    for (const std::string& entry : FolderEntries(files.folder)) {
      const std::string name = std::string(folder).append(entry);
      if (!name.starts_with(files.stem + std::string(kReplaced)) || file == FileId{} ||
          IdOf(name) != file)
        continue;
      const std::string lock = LocateDataFile(name).lock;
      if (!lock.empty()) RemoveFile(lock);
      RemoveFile(name);
    }
  }
}

// Whoever opened what was replaced before the log has lost its old name would take it from there.
void RefuseSharedLog(const DatabaseFiles& files) {
  if (!HasSecondName(files.log)) return;
  const auto end = files.stem.rfind(kReplaced);
  if (end == std::string::npos)
    throw StorageError("the log " + files.log + " has a second name (a hard link): remove that");
  throw StorageError("a restoration was interrupted, and the log " + files.log +
                     " is not this database's alone yet: open " + files.stem.substr(0, end) +
                     ".db first");
}

DatabaseFiles LocateFiles(const std::string& base) {
  if (IdOf(base + ".cluster") != FileId{}) {
    throw StorageError(base +
                       ".cluster says that the database is in a cluster: a copy cannot be "
                       "put in the place of a file");
  }
  return LocateDatabase(base, OpenMode::kOpen);
}

}  // namespace

std::string FindOwnLog(const DatabaseFiles& files) {
  const bool left = HasSecondName(files.log) && !HasSecondName(files.data) &&
                    IsMarkedAsPlain(ReadStart(files.data, kDataHeadSize));
  return left ? std::string() : files.log;
}

void ClearAfterRestoration(const DatabaseFiles& files) {
  if (FindOwnLog(files).empty()) {
    RemoveFile(files.log);
    return SyncFolder(files.folder);
  }
  if (HasSecondName(files.log) || HasSecondName(files.data)) RemoveSecondNames(files);
  RefuseSharedLog(files);
}

Restoration::Restoration(const std::string& base, const std::string& copy)
    : files_(LocateFiles(base)), lock_(files_.lock), copy_(files_.data) {
  ClearAfterRestoration(files_);
  const DatabaseFiles from = LocateDataFile(copy);
  if (from.data == files_.data) throw StorageError(copy + " is the database itself");
  copy_.Write(TakeImage(from));
  MarkClosed(OpenNewFile(copy_.Name()));
}

// What a sound log holds belongs into what is kept.
void Restoration::FoldLog() const {
  const LogFile log(files_.log);
  if (log.IsEmpty()) return;
  try {
    Session session(files_, false);
    if (FindLoss(files_, log, session.Meta(), lock_.Left()).empty())
      session.Load([](const RowView&) {});
  } catch (const StorageError&) {
    // It is damaged, and the log is kept as it is.
  }
}

void Restoration::KeepAs(const std::string& kept) const {
  const auto refuse = [&] {
    throw StorageError("cannot keep the log " + files_.log +
                       ": the file system has no hard links; move the log and the database, if it "
                       "is there, to another folder first");
  };
  const bool has_log = FileExists(files_.log);
  if (FileExists(files_.data) && !LinkFile(files_.data, kept)) {
    if (has_log) refuse();
    WriteWholeFile(kept, ReadContents(files_.data));
  }
  if (has_log && !LinkFile(files_.log, kept + "-wal")) refuse();
  // What shows that changes are missing goes with what lacks them.
  const auto& left = lock_.Left();
  if (!left || !FileExists(kept) || left->inode != IdOf(files_.data).inode) return;
  OwnerLock lock(LocateDataFile(kept).lock);
  lock.Acknowledge({IdOf(kept).inode, left->revision, left->unit});
  lock.Keep();
}

std::string Restoration::Publish() {
  const std::string kept = NameForReplaced(files_);
  const bool replaces = FileExists(files_.data);
  if (replaces) FoldLog();
  try {
    KeepAs(kept);
    RemoveFile(files_.journal);
    SyncFolder(files_.folder);
    copy_.Publish();
  } catch (const StorageError&) {
    try {
      ClearAfterRestoration(files_);
    } catch (const StorageError&) {
      // The next owner does it. What has failed first is what there is to tell.
    }
    throw;
  }
  RemoveFile(files_.log);
  SyncFolder(files_.folder);
  lock_.Keep();
  lock_.Close();
  return replaces ? kept : std::string();
}

}  // namespace ncc
