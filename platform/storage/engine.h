// The storage engine behind the hierarchical database: it keeps rows and knows nothing of what they
// mean.
#pragma once

#include "nccnet/failure.h"
#include "platform/storage/row.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

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

// kSnapshot only reads, beside an owner or without one; so does kFollow until it acquires.
enum class OpenMode { kCreate, kOpen, kSnapshot, kFollow };

struct OpenRequest {
  OpenMode mode;
  // Goes on with what is there where the last changes may be missing.
  bool accepts_loss = false;
};

// What keeps a database that several machines can open, and who follows it.
struct EngineStatus {
  struct Node {
    std::string place;  // "https://ncc1.example.org:2379"
    bool is_well = false;
    std::string text;  // "leader, 12 MB"; what is wrong with it
  };
  struct Follower {
    std::string who;  // as Owner tells it
    std::uint64_t revision = 0;
  };

  std::vector<Node> nodes;
  std::vector<Follower> followers;
};

// One user of a database. Opened with kCreate or kOpen it owns the database from construction to
// destruction: a second owner, in this process, in another or on another machine, is refused with
// kInUse. Not thread-safe; the caller serialises. Every member throws StorageError: kUnavailable
// where what keeps the database does not answer in time, and the call may be repeated then.
//
// What an engine has to promise, and tests/support/engine_contract.h tries:
// - Commit, and the check that the caller owns the database and knows its last state, are one
//   atomic step. A clock must not decide who owns: an owner that was paused for long finds its
//   commits refused and never sees them stored beside those of the next one.
// - An attempt whose answer was lost may arrive later. Settle makes that impossible before it says
//   that the commit is not stored; looking alone does not.
// - After Load or Follow has given a state no older one is given, by whatever node.
class StorageEngine {
 public:
  virtual ~StorageEngine() = default;

  // Reads what is stored: calls `row` for every row, ascending by key, after checking its checksum,
  // checks that they are together what the last commit left, and returns what that stored with
  // them. May be called again at any time; after a failed Commit it settles first.
  // A row lives until `row` returns.
  virtual StoredState Load(const std::function<void(const RowView&)>& row) = 0;

  // Stores all changes and the state, or none, and returns the state. On return they are on stable
  // storage. Throws kUnavailable or kNotOwner when they are not and never will be. After any other
  // exception they may be stored, now or later, and only Settle tells: nothing but Settle and Load
  // may be called before it. The kind is kNotKnown when the engine has already tried to settle.
  virtual StoredState Commit(const ChangeSet& changes) = 0;

  // Finds out what the last Commit left when it failed, for good: gives the state before it or the
  // one it led to. Throws as long as that cannot be told.
  virtual StoredState Settle() = 0;

  // Calls visit(entry) for the entries of the history from revision `to` down to `from`, as far as
  // they are kept, until it returns false.
  virtual void ReadHistory(std::uint64_t from, std::uint64_t to,
                           const std::function<bool(HistoryEntry&&)>& visit) = 0;

  // The first entry that is kept and not older than `time` (see HistoryEntry); one behind the last
  // when all are older.
  virtual std::uint64_t FirstSince(std::int64_t time) = 0;

  // "process 4711 (nccadm apply city.yaml), since 2026-03-01 14:02:11", of whoever owns the
  // database now, with the machine where that may be another; nothing when nobody does.
  virtual std::optional<std::string> Owner() = 0;

  // The rest is for engines that let several machines open a database.

  // The commits behind revision `from`, which Load or Follow of an engine of this database has
  // given: as many as the engine likes, in order. Where there are none it waits up to `wait` for
  // one. Nothing when they are not kept any more: load again.
  virtual std::optional<std::vector<StoredUnit>> Follow(std::uint64_t from,
                                                        std::chrono::milliseconds wait);

  // Whether nobody owns it, and the last owner has not closed it: both as of one moment.
  virtual bool IsOwnerLost();

  // Makes a follower the owner, as soon as nobody else is; kInUse when somebody still is after
  // `wait`. `force` takes it from its owner, whose commits are refused from then on. Then Follow
  // until it gives no more comes before Commit.
  virtual void Acquire(std::chrono::milliseconds wait, bool force);

  // How those are that keep the database and that follow it, as far as this can be told: also when
  // too few of them answer for anything else.
  virtual EngineStatus Status();
};

// Makes the engine of a database. `base` is the path of the database without a file extension, with
// '/' as separator. kCreate refuses a database that exists, the others one that does not (a
// snapshot may do so when it is loaded).
using EngineFactory =
    std::function<std::unique_ptr<StorageEngine>(const std::string& base, const OpenRequest&)>;

}  // namespace ncc
