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
  for (const FileId& file : {IdOf(files.log), IdOf(files.data)}) {
    for (const std::string& entry : FolderEntries(files.folder)) {
      const std::string name = files.folder + "/" + entry;
      if (name.starts_with(files.stem + std::string(kReplaced)) && file != FileId{} &&
          IdOf(name) == file)
        RemoveFile(name);
    }
  }
}

}  // namespace

std::string FindOwnLog(const DatabaseFiles& files) {
  const bool left = HasSecondName(files.log) && !HasSecondName(files.data) &&
                    IsMarkedAsPlain(ReadStart(files.data, kDataHeadSize));
  return left ? std::string() : files.log;
}

void ClearAfterRestoration(const DatabaseFiles& files) {
  if (FindOwnLog(files).empty()) return RemoveFile(files.log);
  if (HasSecondName(files.log) || HasSecondName(files.data)) RemoveSecondNames(files);
}

Restoration::Restoration(const std::string& base, const std::string& copy)
    : files_(LocateDatabase(base, OpenMode::kOpen)), lock_(files_.lock), copy_(files_.data) {
  ClearAfterRestoration(files_);
  const DatabaseFiles from = LocateDataFile(copy);
  if (from.data == files_.data) throw StorageError(copy + " is the database itself");
  copy_.Write(TakeImage(from));
  OpenCopyAndMarkClosed(copy_.Name());
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

std::string Restoration::Publish() {
  const std::string kept = NameForReplaced(files_);
  const bool replaces = FileExists(files_.data);
  if (replaces) FoldLog();
  try {
    if (replaces) LinkFile(files_.data, kept);
    if (FileExists(files_.log)) LinkFile(files_.log, kept + "-wal");
    RemoveFile(files_.journal);
    SyncFolder(files_.folder);
    copy_.Publish();
  } catch (const StorageError&) {
    ClearAfterRestoration(files_);
    throw;
  }
  RemoveFile(files_.log);
  SyncFolder(files_.folder);
  lock_.Keep();
  lock_.Close();
  return replaces ? kept : std::string();
}

}  // namespace ncc
