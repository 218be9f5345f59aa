// The hierarchical database: objects in memory, derived indexes over them, a storage engine behind
// them.
#pragma once

#include "platform/hdb/folder.h"
#include "platform/hdb/history_codec.h"
#include "platform/hdb/id_set.h"
#include "platform/hdb/manager.h"
#include "platform/hdb/name_index.h"
#include "platform/hdb/notes.h"
#include "platform/hdb/object_table.h"
#include "platform/hdb/record.h"
#include "platform/hdb/row_merge.h"
#include "platform/hdb/unit_of_work.h"
#include "platform/storage/engine.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ncc {
class RowDecoder;
}

enum class TDBMode { kOpenExisting = 2, kSnapshot = 3, kFollow = 4 };

// What a database is made of beside its objects: kept with it, in the order of creation.
struct CHDBDefinition {
  enum class What : std::uint32_t {
    kIndex = 1,
    kRecordSpace = 2,
    kParentLink = 3,
    kFolderSpace = 4
  };

  What what = What::kIndex;
  std::string name;
  std::uint32_t number = 0;  // a space's number, an index's attribute
  std::uint32_t kind = 0;    // an index's kind of key
  std::uint32_t length = 0;  // an index's longest key
  std::uint32_t tag = 0;     // a space's four characters, little-endian
  std::uint32_t flags = 0;   // a space's flags; the top bit marks a deleted one
};

// One open database. Not thread-safe; the owner serialises. Members throw ncc::StorageError.
class CHDBase final : ncc::ObjectOwner {
 public:
  static constexpr std::uint32_t kFolderTag = 0x444C4F46;  // "FOLD"
  static constexpr std::uint32_t kRecordTag = 0x53434552;  // "RECS"
  static constexpr std::uint32_t kDeletedFlag = 0x80000000;

  // Creates an empty database; nothing is stored before the first unit of work ends.
  CHDBase(CHDBMgr& manager, const std::string& path);
  // Opens and loads an existing one; a snapshot refuses every change, a follower does until it has
  // taken over.
  CHDBase(CHDBMgr& manager, const std::string& path, TDBMode mode, bool accepts_loss = false);
  // Loads what the engine has.
  CHDBase(CHDBMgr& manager, std::unique_ptr<ncc::StorageEngine> engine);
  ~CHDBase();
  CHDBase(const CHDBase&) = delete;
  CHDBase& operator=(const CHDBase&) = delete;

  // Variables in names are expanded.
  void IndexCreate(const std::string& name, std::uint32_t attribute, std::uint32_t kind,
                   std::uint32_t length);
  void RecSpcCreate(const std::string& name, std::uint32_t number);
  void ParentLinkCreate(const std::string& name);
  // Returns the space's number.
  std::uint32_t FolderSpcCreate(const std::string& name, std::uint32_t number);
  const std::vector<CHDBDefinition>& Definitions() const { return definitions_; }

  // Numbers of the records of a type, walked ascending.
  const ncc::IdSet& RecSelect(std::uint32_t type) const;
  // Folders that hold an entry for the object's folder or record, ascending.
  std::vector<TDBObjId> ParentLinkSelect(const TDBObjId& object) const;
  // Null when there is none.
  const CHDBRecord* FindRecord(std::uint64_t number) const {
    const CHDBRecord* object = objects_.Find(number);
    return object != nullptr && object->HasRecord() ? object : nullptr;
  }
  bool HasFolder(const TDBObjId& folder) const { return objects_.Find(folder.number) != nullptr; }
  // Calls visit(record) for each record of this type and name (ASCII case ignored), in no order,
  // until it returns false.
  template <class Visit>
  void ForEachNamed(std::uint32_t type, std::string_view name, Visit visit) const {
    names_.ForEach(type, name, visit);
  }

  template <class Visit>
  void ForEachObject(Visit visit) const {
    objects_.ForEach([&](const CHDBRecord& object) { visit(object); });
  }

  // The notes of objects, beside them: few have any, and no two are for the same object.
  const ncc::Notes* NotesOf(std::uint32_t number) const {
    const auto found = notes_.find(number);
    return found != notes_.end() ? &found->second : nullptr;
  }
  const std::map<std::uint32_t, ncc::Notes>& AllNotes() const { return notes_; }
  // In place of those that it has; none to take them away. The object must be there.
  void SetNotes(std::uint32_t number, ncc::Notes notes);

  // For the managers. An object begins with an empty folder and without a record.
  TRef<CHDBFolder> CreateObject(std::uint32_t number);
  // Null when there is none.
  TRef<CHDBRecord> OpenObject(std::uint32_t number) const { return objects_.Open(number); }
  // Its entries and its record must be gone; its notes go with it.
  void RemoveObject(std::uint32_t number);

  // Throws when what is stored could not be read again after a failure: nothing works then. Where
  // that was because the engine did not answer, it is tried again first. Outside a unit.
  void CheckUsable();

  // Units of work nest; only what the outermost one began is stored, when it ends. Throws when it
  // could not be stored; memory then is what was stored before, and handles to what the unit had
  // made refuse every change. When it is not known whether it is stored (kNotKnown), or another
  // owner has taken over (kNotOwner), the base is away: what it shows stays, and changes are
  // refused with that kind. Each change that is tried asks the engine again first.
  void BeginUnit() { unit_.Enter(); }
  void EndUnit() {
    if (unit_.Leave() && (unit_.HasChanges() || unit_.HasFailed() || new_rule_)) Commit();
  }
  // Leaves an inner unit that changed nothing.
  void LeaveUnit() { unit_.Leave(); }
  // Leaves a unit that failed. The outermost unit is not stored any more; leaving that one undoes
  // it.
  void AbandonUnit(std::string_view why) noexcept;
  // The unit that runs will not be stored.
  void FailUnit(std::string_view why) noexcept { unit_.Fail(why); }
  bool InUnit() const { return unit_.Depth() > 0; }
  const ncc::UnitOfWork& Unit() const { return unit_; }

  // Whether the last unit that ended with kNotKnown is stored: asks the engine again while that is
  // not known; kNotKnown also when another owner has taken over since. Outside a unit.
  NCCOutcome Settle();
  // Of the last time that it was asked.
  NCCOutcome Outcome() const { return outcome_; }

  bool IsFollower() const { return owner_.has_value(); }
  // Of a follower: who owned the database when that was last told; empty when nobody did. Changes
  // are refused with that.
  const std::string& OwnerToFollow() const { return *owner_; }
  void BeFollowerOf(const std::string& owner);
  // Takes in, in a follower, what the owner has stored since; waits up to `wait` for something.
  // Returns whether there was anything. After an exception what was shown stays; but where the
  // units are not kept any more, or do not lead to what they say, all is loaded anew, and until
  // that succeeds nothing is shown (see CheckUsable).
  bool Follow(std::chrono::milliseconds wait);
  // Makes a follower the owner, with all that is stored. See ncc::StorageEngine::Acquire. After an
  // exception it goes on to follow, and this may be called again.
  void TakeOver(std::chrono::milliseconds wait, bool force);
  // See ncc::StorageEngine.
  std::optional<std::string> Owner() const { return engine_->Owner(); }

  std::uint64_t Revision() const { return state_.revision; }
  // Drawn for the commit that led to it: no two databases have it in common.
  std::uint64_t LastUnit() const { return state_.unit; }
  // Of all rows, as the last commit left them.
  const ncc::RowTotals& Totals() const { return state_.totals; }
  // Of the history, as the last commit left it.
  const ncc::HistoryBounds& History() const { return state_.history; }
  // From the end of the running unit on.
  void SetHistoryRule(const ncc::HistoryRule& rule) {
    CheckPresent();
    unit_.CheckChangeable();
    new_rule_ = rule;
  }
  // What the history tells of the units from `to` down to `from`; see ncc::StorageEngine.
  void ReadHistory(std::uint64_t from, std::uint64_t to,
                   const std::function<bool(ncc::HistoryEntry&&)>& visit) const {
    engine_->ReadHistory(from, to, visit);
  }
  // Raised each time that what memory shows was replaced, other than by a unit's own changes.
  std::uint64_t Generation() const { return generation_; }

  // The last revision that was stored at that time or before (see ncc::HistoryEntry). When that is
  // older than the history, the one before its first entry.
  std::uint64_t RevisionAt(std::int64_t time) const { return engine_->FirstSince(time + 1) - 1; }

  // Makes a snapshot show what revision `revision`, or the last one before it was read, has left.
  // Throws when the history does not go back so far.
  void ShowRevision(std::uint64_t revision);

  // The rows that are not what they were at a revision, by key, the running unit's among them.
  // Nothing when the history does not lead there, when that revision's rows had another sum (see
  // Totals), so that it was of another database, and when more than `most` rows were changed.
  std::optional<std::vector<ncc::RowDifference>> DifferencesSince(std::uint64_t revision,
                                                                  std::uint64_t row_sum,
                                                                  std::size_t most) const;

  struct TakenBack {
    bool is_done = false;     // else nothing was
    bool has_effect = false;  // else all that the network holds is as it was
    // Later units that have changed the same: of each set one has to be taken back too.
    std::vector<std::set<std::uint64_t>> in_the_way;
  };
  // Takes back, in the running unit, which has changed nothing yet, what the units of these
  // revisions have changed. Whether what is left is sound is the caller's business. Throws when the
  // history does not go back so far.
  TakenBack TakeBack(const std::set<std::uint64_t>& revisions, const ncc::MergeData& merge);
  // Makes everything as it is stored, after TakeBack: the unit has changed nothing then.
  void Withdraw();

  // See ncc::CopyToFile. Throws while a former revision shows: copied is what is stored.
  void CopyTo(const std::string& file);

 private:
  void Touch(const ncc::RowKey& row) override;
  void Unindex(const CHDBRecord& record) override;
  void Index(const CHDBRecord& record) override;
  CHDBRecord& Object(std::uint32_t number) const override;

  class Changes;

  // Why changes are refused though the base is whole.
  struct Absence {
    NCCFailure kind;  // kNotKnown, kNotOwner
    std::string why;
    std::optional<ncc::StoredUnit> attempt;  // what is or is not stored
    bool is_stored = false;                  // it is, and memory is to follow when the unit ends
  };

  // A folder, and an object that a row which is put in place lists or listed.
  using Tie = std::pair<std::uint32_t, std::uint32_t>;

  // Returns an object that a folder would list and that is not there; 0 when there is none.
  std::uint32_t PutRows(const std::vector<ncc::KeyedRow>& rows);
  void PutObject(std::uint32_t number, const std::optional<ncc::Row>& row,
                 ncc::RowDecoder& decoder);
  void AddTies(const ncc::RowKey& key, std::vector<Tie>& ties) const;
  // False when the folder lists what is not there.
  bool DeriveParent(const Tie& tie);
  std::optional<ncc::Row> StoredRow(const ncc::RowKey& key) const;
  void GoBackTo(std::uint64_t revision);

  // False when there is none.
  bool EncodeRow(const ncc::RowKey& key, ncc::Row& row) const;

  void AddDefinition(CHDBDefinition definition);
  void Commit();
  bool IsStoredAfterAll(NCCFailure kind, const char* why, const Changes* changes) noexcept;
  void TakeBackUnit() noexcept;
  void DropFailedUnit() noexcept;
  void GoAway(NCCFailure kind, const char* why, const Changes& changes) noexcept;
  void ThrowIfAway() const;
  void CheckPresent();
  bool AskForAttempt();
  void TakeInAttempt() noexcept;
  void Apply(const ncc::StoredUnit& unit);
  ncc::HistoryBounds NextHistory(std::int64_t now) const;
  void ClearUnit() noexcept;
  void Load();
  void LoadRow(const ncc::RowView& row, ncc::RowDecoder& decoder);
  void LoadObject(const ncc::RowView& row, ncc::RowDecoder& decoder);
  void LoadChunk(const ncc::RowView& row, ncc::RowDecoder& decoder);
  void DeriveParents();
  void Reload() noexcept;
  void Break(const char* why, NCCFailure kind) noexcept;
  void DropObjects();

  CHDBMgr& manager_;
  std::unique_ptr<ncc::StorageEngine> engine_;
  std::vector<CHDBDefinition> definitions_;
  ncc::ObjectTable objects_;
  std::map<std::uint32_t, ncc::Notes> notes_;
  std::map<std::uint32_t, ncc::IdSet> types_;
  ncc::NameIndex names_{objects_};
  ncc::UnitOfWork unit_;
  ncc::StoredState state_;
  bool shows_former_ = false;                 // and not what is stored
  std::optional<ncc::HistoryRule> new_rule_;  // that the running unit sets
  std::vector<Tie> cut_;                      // of objects that TakeBack has removed
  std::uint64_t generation_ = 0;
  std::optional<std::string> owner_;  // whom a follower follows; empty: nobody
  std::optional<Absence> absence_;
  NCCOutcome outcome_ = NCCOutcome::kNone;
  bool broken_ = false;  // nothing works
  NCCFailure broken_kind_ = NCCFailure::kOther;
  std::string broken_reason_;
};
