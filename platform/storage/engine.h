// The storage engine behind the hierarchical database: it keeps rows and knows nothing of what they
// mean.
#pragma once

#include "nccnet/failure.h"
#include "platform/storage/row.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace ncc {

// A failure of storage, with a text that a person can act on. Damage is told from other failures by
// the words that each text about it begins with.
class StorageError : public std::runtime_error {
 public:
  explicit StorageError(const std::string& text, NCCFailure kind = NCCFailure::kOther)
      : std::runtime_error(text),
        kind_(text.starts_with("database is damaged") ? NCCFailure::kDamaged : kind) {}
  NCCFailure Kind() const { return kind_; }

 private:
  NCCFailure kind_;
};

// kSnapshot only reads, beside an owner or without one.
enum class OpenMode { kCreate, kOpen, kSnapshot };

struct OpenRequest {
  OpenMode mode;
  // Goes on with what is there where the last changes may be missing.
  bool accepts_loss = false;
};

// An engine owns its database from construction to destruction: a second owner, in this process or
// another, is refused. Not thread-safe; the caller serialises. Every member throws StorageError.
class StorageEngine {
 public:
  virtual ~StorageEngine() = default;

  // Reads what is stored: calls `row` for every row, ascending by key, after checking its checksum,
  // checks that they are together what the last commit left, and returns what that stored with
  // them. May be called again at any time; after a failed Commit it recovers first, so that it
  // tells what the failed commit left.
  // A row lives until `row` returns.
  virtual StoredState Load(const std::function<void(const RowView&)>& row) = 0;

  // Stores all changes and the state, or none, and returns the state. On return they are on stable
  // storage. After an exception they may be stored or not, and only Load tells: nothing else may be
  // called before it.
  virtual StoredState Commit(const ChangeSet& changes) = 0;

  // Calls visit(entry) for the entries of the history from revision `to` down to `from`, as far as
  // they are kept, until it returns false.
  virtual void ReadHistory(std::uint64_t from, std::uint64_t to,
                           const std::function<bool(HistoryEntry&&)>& visit) = 0;

  // The first entry that is kept and not older than `time` (see HistoryEntry); one behind the last
  // when all are older.
  virtual std::uint64_t FirstSince(std::int64_t time) = 0;

  // Writes a consistent copy of the last committed state to `file` (replacing it whole, durable,
  // readable by its owner alone).
  virtual void CopyTo(const std::string& file) = 0;
};

// Makes the engine of a database. `base` is the path of the database without a file extension, with
// '/' as separator. kCreate refuses a database that exists, the others one that does not.
using EngineFactory =
    std::function<std::unique_ptr<StorageEngine>(const std::string& base, const OpenRequest&)>;

}  // namespace ncc
