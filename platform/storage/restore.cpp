#include "platform/storage/restore.h"

#include "platform/storage/log_file.h"
#include "platform/storage/snapshot.h"
#include "platform/storage/sqlite_session.h"

#include <unistd.h>

#include <array>
#include <ctime>

namespace ncc {
namespace {

// "city-replaced-20260301-140211.db" for "city.db": a database of its own.
std::string NameForReplaced(const DatabaseFiles& files) {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  std::array<char, 32> time{};
  if (::localtime_r(&now, &parts) != nullptr) {
    std::strftime(time.data(), time.size(), "%Y%m%d-%H%M%S", &parts);
  }
  std::string name = files.stem + "-replaced-" + time.data() + ".db";
  if (FileExists(name)) throw StorageError(name + " exists: try again in a second");
  return name;
}

}  // namespace

Restoration::Restoration(const std::string& base, const std::string& copy)
    : files_(LocateDatabase(base, OpenMode::kOpen)),
      lock_(files_.lock),
      file_(NameForReplaced(files_)) {
  const DatabaseFiles from = LocateDataFile(copy);
  if (from.data == files_.data) throw StorageError(copy + " is the database itself");
  WriteWholeFile(file_, TakeImage(from));
  try {
    OpenCopyAndMarkClosed(file_);
  } catch (...) {
    RemoveFile(file_);
    throw;
  }
}

Restoration::~Restoration() {
  if (!published_) ::unlink(file_.c_str());
}

// What a sound log holds belongs into what is kept.
void Restoration::FoldLog() const {
  const LogFile log(files_.log);
  if (log.IsEmpty() || log.HasGap()) return;
  try {
    Session(files_, false).Load([](Row&&) {});
  } catch (const StorageError&) {
    // It is damaged, and the log is kept as it is.
  }
}

std::string Restoration::Publish() {
  const bool replaces = FileExists(files_.data);
  if (replaces) FoldLog();
  // Out of the way, and beside no data file that it does not belong to, whenever this ends.
  const std::string log = file_ + ".log";
  const bool has_log = FileExists(files_.log);
  if (has_log) MoveFile(files_.log, log);
  RemoveFile(files_.journal);
  SyncFolder(files_.folder);
  try {
    replaces ? ExchangeFiles(file_, files_.data) : MoveFile(file_, files_.data);
  } catch (const StorageError&) {
    if (has_log) MoveFile(log, files_.log);
    throw;
  }
  published_ = true;
  if (has_log) MoveFile(log, file_ + "-wal");
  SyncFolder(files_.folder);
  lock_.Keep();
  lock_.Close();
  return replaces ? file_ : std::string();
}

}  // namespace ncc
