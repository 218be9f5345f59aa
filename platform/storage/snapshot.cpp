#include "platform/storage/snapshot.h"

#include "platform/disk/files.h"
#include "platform/storage/history_rows.h"
#include "platform/storage/loss.h"
#include "platform/storage/restore.h"
#include "platform/storage/sqlite_rows.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>
#include <utility>

namespace ncc {
namespace {

constexpr int kTries = 50;
constexpr std::chrono::milliseconds kPause(5);

// A data file with the pages of its log put in.
struct Image {
  std::string bytes;
  LogFile log;
};

void PutPagesIn(std::string& data, const LogFile& log) {
  if (log.PagesOfDatabase() == 0) return;
  const std::size_t size = log.PageSize();
  data.resize(log.PagesOfDatabase() * size);
  log.ForEachPage([&](std::uint32_t number, std::string_view page) {
    if (number <= log.PagesOfDatabase()) data.replace((number - 1) * size, size, page);
  });
}

// Nothing when the log was begun anew or the file replaced meanwhile. Otherwise all that an owner
// has written to the data file since the first look are pages that the log holds, and they replace
// what was read of them.
std::optional<Image> TryTake(const DatabaseFiles& files) {
  const std::string own_log = FindOwnLog(files);
  const std::string head = ReadStart(own_log, LogFile::kHeadSize);
  const auto before = IdentifyFile(files.data);
  if (!before) {
    throw StorageError("there is no database " + files.data, NCCFailure::kMissing);
  }
  std::string data = ReadContents(files.data);
  LogFile log(own_log);
  const auto after = IdentifyFile(files.data);
  if (log.Head() != head || ReadStart(own_log, LogFile::kHeadSize) != head) return std::nullopt;
  if (FindOwnLog(files) != own_log) return std::nullopt;
  const bool same = after && before->device == after->device && before->inode == after->inode;
  if (log.HasHead() ? !same : before != after) return std::nullopt;
  CheckDataHead(files.data, data);
  PutPagesIn(data, log);
  MarkAsPlain(data);
  return Image{std::move(data), std::move(log)};
}

[[noreturn]] void RefuseTooFast() {
  throw StorageError("database is in use by another process, which changes it too fast to be read",
                     NCCFailure::kInUse);
}

Image Take(const DatabaseFiles& files) {
  for (int i = 0; i < kTries; ++i) {
    if (auto image = TryTake(files)) return std::move(*image);
    std::this_thread::sleep_for(kPause);
  }
  RefuseTooFast();
}

class SnapshotEngine final : public StorageEngine {
 public:
  SnapshotEngine(DatabaseFiles files, bool accepts_loss)
      : files_(std::move(files)), accepts_loss_(accepts_loss) {}

  StoredState Load(const std::function<void(const RowView&)>& row) override {
    RefuseOwnedHere(files_.lock);
    std::optional<LogFile> doubted;
    for (int i = 0; i < kTries; ++i) {
      const std::optional<Acknowledged> left = ReadAcknowledged(files_.lock);
      Image image = Take(files_);
      const Connection db = OpenImage(image.bytes, files_.data);
      CheckStructure(db);
      const MetaRow meta = ReadMeta(db);
      if (meta.state.revision == 0) {
        throw StorageError("there is no database " + files_.data + ": it was never completed",
                           NCCFailure::kMissing);
      }
      const std::string loss = FindLoss(files_, image.log, meta, left);
      // A log that an owner writes meanwhile may show its later frames alone.
      const bool stays = doubted == image.log;
      if (loss.empty() || (stays && accepts_loss_)) return loaded_ = ReadRows(db, row);
      if (stays) throw StorageError(loss, NCCFailure::kLossPossible);
      doubted = std::move(image.log);
      std::this_thread::sleep_for(kPause);
    }
    RefuseTooFast();
  }

  // Entries do not change, so those of the state that was loaded are the same in a later one.
  void ReadHistory(std::uint64_t from, std::uint64_t to,
                   const std::function<bool(HistoryEntry&&)>& visit) override {
    const Connection& db = Data();
    const StoredState now = ReadMeta(db).state;
    ReadHistoryRows(db, now.history, now.revision, from, std::min(to, loaded_.revision), visit);
  }
  std::uint64_t FirstSince(std::int64_t time) override {
    return std::min(FirstHistoryRowSince(Data(), time, loaded_.revision), loaded_.revision + 1);
  }

  StoredState Commit(const ChangeSet&) override {
    throw StorageError("this is a snapshot of the database: it cannot be changed");
  }
  StoredState Settle() override { return loaded_; }
  std::optional<std::string> Owner() override { return DescribeHolder(files_.lock); }

 private:
  // What the history is read from: taken when it is asked for first.
  const Connection& Data() {
    if (!data_ || ReadMeta(*data_).state.revision < loaded_.revision) {
      RefuseOwnedHere(files_.lock);
      data_.reset();
      image_ = Take(files_).bytes;
      data_.emplace(OpenImage(image_, files_.data));
      if (ReadMeta(*data_).state.revision < loaded_.revision)
        throw StorageError("the database was replaced while it was read");
    }
    return *data_;
  }

  const DatabaseFiles files_;
  const bool accepts_loss_;
  StoredState loaded_;
  std::string image_;
  std::optional<Connection> data_;  // of the image
};

}  // namespace

std::unique_ptr<StorageEngine> OpenSnapshot(DatabaseFiles files, bool accepts_loss) {
  return std::make_unique<SnapshotEngine>(std::move(files), accepts_loss);
}

std::unique_ptr<StorageEngine> OpenCopy(const std::string& file) {
  return OpenSnapshot(LocateDataFile(file), false);
}

std::string TakeImage(const DatabaseFiles& files) { return Take(files).bytes; }

}  // namespace ncc
