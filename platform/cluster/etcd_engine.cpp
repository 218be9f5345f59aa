#include "platform/cluster/etcd_engine.h"

#include "platform/cluster/client.h"
#include "platform/cluster/commit_writer.h"
#include "platform/cluster/etcd_history.h"
#include "platform/cluster/folding.h"
#include "platform/cluster/health.h"
#include "platform/cluster/ownership.h"
#include "platform/cluster/presence.h"
#include "platform/cluster/process_text.h"
#include "platform/cluster/reader.h"
#include "platform/cluster/watch.h"
#include "platform/storage/row_sum.h"
#include "platform/token.h"

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace ncc::etcd {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// A follower looks so often also without being told of anything, and so notices a node that has
// lost the others.
constexpr milliseconds kLook(1000);

constexpr int kTries = 20;

// Of a head that has moved since it was read.
constexpr std::int64_t kUnseen = -1;

class EtcdEngine final : public StorageEngine {
 public:
  EtcdEngine(const EtcdSettings& settings, const OpenRequest& request)
      : settings_(settings), layout_(settings.prefix), client_(settings_), pid_(::getpid()) {
    follows_ = request.mode == OpenMode::kFollow;
    if (request.mode == OpenMode::kCreate || request.mode == OpenMode::kOpen)
      Own(milliseconds(0), false);
    if (request.mode == OpenMode::kCreate) {
      RequireNothing();
    } else if (request.mode != OpenMode::kSnapshot) {
      RequireDatabase();
    }
  }

  // A forked child must not end what its parent goes on using.
  ~EtcdEngine() override {
    if (::getpid() == pid_) return;
    static_cast<void>(ownership_.release());
    static_cast<void>(folding_.release());
    static_cast<void>(watch_.release());
    static_cast<void>(presence_.release());
  }

  StoredState Load(const std::function<void(const RowView&)>& row) override {
    CheckProcess();
    if (attempt_) Settle();
    const Stored stored = reader_.ReadAll();
    if (stored.seen.head.state.revision == 0 && !ownership_) RefuseMissing();
    RowTotals found;
    ForEachRow(stored, [&](const RowView& view, std::uint32_t sum) {
      AddTo(found, sum);
      row(view);
    });
    CheckTotals(found, stored.seen.head.state.totals);
    Know(stored.seen);
    if (folding_) {
      std::size_t bytes = 0;
      for (const UnitBlocks& unit : stored.units) bytes += unit.Size();
      folding_->Found(stored.base.size, stored.units.size(), bytes);
    }
    return known_;
  }

  StoredState Commit(const ChangeSet& changes) override {
    CheckUsable();
    if (!ownership_) throw StorageError("this is no owner of the database: it changes nothing");
    if (head_ == kUnseen) RefuseBehind();
    PreparedCommit commit = Prepare(layout_, changes, known_, [this](Transaction& writes) {
      while (!RunAsOwner(writes)) {
      }
    });
    attempt_ = commit.state;
    commit.writes.Put(layout_.Head(), Encode(Head{commit.state}));
    Store(commit.writes);
    if (folding_) folding_->Add(commit.size);
    return known_;
  }

  StoredState Settle() override {
    CheckProcess();
    while (attempt_) {
      const Seen seen = Look();
      const Fate fate = FateOf(seen);
      if (fate == Fate::kLost) RefuseNotOwner(seen);
      // Who has not the owner's key any more never has it again as it was.
      if (fate != Fate::kOpen || seen.owner != ownership_->Token()) {
        attempt_.reset();
        break;
      }
      Transaction write;
      write.WhenCreated(layout_.Owner(), seen.owner).WhenModified(layout_.Head(), head_);
      client_.Run(write.Put(layout_.Head(), Encode(Head{known_, DrawToken()})));
    }
    return known_;
  }

  void ReadHistory(std::uint64_t from, std::uint64_t to,
                   const std::function<bool(HistoryEntry&&)>& visit) override {
    CheckUsable();
    // Entries do not change, but the owner may drop some: they are read as of one moment, and from
    // where that one is dropped as of the next.
    const auto visit_rest = [&](HistoryEntry&& entry) {
      to = entry.revision - 1;
      return visit(std::move(entry));
    };
    for (int tries = 1;; ++tries) {
      try {
        return history_.Read(reader_.ReadHead(), known_.revision, from, to, visit_rest);
      } catch (const Rejected& error) {
        if (!error.IsCompacted() || tries == kTries) throw;
      }
    }
  }

  std::uint64_t FirstSince(std::int64_t time) override {
    CheckUsable();
    return history_.FirstSince(known_.revision, time);
  }

  std::optional<std::string> Owner() override {
    CheckProcess();
    const Answer answer = client_.Get({layout_.Owner()});
    const KeyValue* const owner = answer.found.front().Only();
    return owner != nullptr ? std::optional(DescribeProcess(owner->value)) : std::nullopt;
  }

  bool IsOwnerLost() override {
    CheckProcess();
    const Answer answer = client_.Run(Transaction().Get({layout_.Owner()}).Get({layout_.Closed()}));
    return answer.found.at(0).Only() == nullptr && answer.found.at(1).Only() == nullptr;
  }

  std::optional<std::vector<StoredUnit>> Follow(std::uint64_t from, milliseconds wait) override {
    CheckUsable();
    const Clock::time_point end = Clock::now() + wait;
    for (;;) {
      if (wait.count() > 0) TellPresence(from);
      HeadSeen seen;
      const auto units = reader_.ReadUnits(from, seen);
      if (!units) return std::nullopt;
      const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
      if (!units->empty() || left.count() <= 0) return TakeUnits(*units, seen);
      WaitForNews(seen, std::min(left, kLook));
    }
  }

  void Acquire(milliseconds wait, bool force) override {
    CheckUsable();
    if (!follows_) throw StorageError("this was not opened to follow: it cannot become the owner");
    folding_.reset();
    ownership_.reset();
    Own(wait, force);
    head_ = kUnseen;
  }

  EngineStatus Status() override {
    CheckProcess();
    EngineStatus status{AskNodes(settings_), {}};
    try {
      status.followers = ReadFollowers(client_, layout_);
    } catch (const Unreachable&) {
      // The nodes have told why.
    }
    return status;
  }

 private:
  struct Seen {
    HeadSeen head;
    std::int64_t owner = 0;  // the store's revision that made the owner's key; 0: there is none
    std::string owner_text;
  };

  void CheckProcess() const {
    if (::getpid() == pid_) return;
    throw StorageError("the database was opened by the parent of this process: open it again");
  }
  void CheckUsable() const {
    CheckProcess();
    if (attempt_) throw StorageError("storage has failed and was not settled");
  }

  [[noreturn]] void RefuseMissing() const {
    throw StorageError("there is no database " + settings_.prefix + " in the cluster that " +
                           settings_.file + " names",
                       NCCFailure::kMissing);
  }
  void RequireDatabase() {
    if (reader_.ReadHead().head.state.revision == 0) RefuseMissing();
  }
  // What a copy that was never completed has left goes.
  void RequireNothing() {
    Know(reader_.ReadHead());
    if (known_.revision != 0) {
      throw StorageError("a database of that name exists: " + settings_.prefix +
                         " in the cluster that " + settings_.file + " names");
    }
    Transaction clear;
    clear.WhenModified(layout_.Head(), head_);  // a copy that comes late does nothing
    for (const char kind : {'b', 'c', 's', 'h', 'p'})
      clear.Delete(layout_.First(kind, 0), layout_.End(kind));
    while (!RunAsOwner(clear)) {
    }
  }

  void Know(const HeadSeen& seen) {
    known_ = seen.head.state;
    head_ = seen.modified;
  }

  // What is there stays where it throws, so that the next try begins with it again.
  void Own(milliseconds wait, bool force) {
    auto ownership =
        std::make_unique<Ownership>(settings_, layout_, mark_, client_.Current(), wait, force);
    folding_.reset();
    ownership_ = std::move(ownership);
    folding_ = std::make_unique<Folding>(settings_, layout_, ownership_->Token());
  }

  // False when nothing was done and the ownership is anew. Throws when another owns.
  bool RunAsOwner(Transaction writes) {
    const std::int64_t token = ownership_->Token();
    if (client_.Run(writes.WhenCreated(layout_.Owner(), token)).succeeded) return true;
    const Seen seen = Look();
    if (seen.owner == token) return false;
    if (seen.head.modified != head_) RefuseNotOwner(seen);
    OwnAgain();
    return false;
  }

  // Nobody has written since: the lease has ended while this process or the cluster stood still.
  void OwnAgain() {
    try {
      Own(milliseconds(0), false);
    } catch (const StorageError& error) {
      if (error.Kind() == NCCFailure::kInUse) RefuseNotOwner(Look());
      throw;
    }
  }

  [[noreturn]] static void RefuseNotOwner(const Seen& seen) {
    const std::string who = seen.owner_text.empty() ? "another owner" : seen.owner_text;
    throw StorageError("the database was taken over by " + who, NCCFailure::kNotOwner);
  }

  [[noreturn]] void RefuseBehind() {
    const Seen seen = Look();
    if (seen.owner != ownership_->Token()) RefuseNotOwner(seen);
    throw StorageError("what was stored last has to be followed before it can be changed");
  }

  Seen TakeSeen(const Answer& answer) const {
    Seen seen{reader_.TakeHead(answer, answer.found.at(0)), 0, {}};
    if (const KeyValue* const owner = answer.found.at(1).Only()) {
      seen.owner = owner->created;
      seen.owner_text = DescribeProcess(owner->value);
    }
    return seen;
  }
  Seen Look() {
    return TakeSeen(client_.Run(Transaction().Get({layout_.Head()}).Get({layout_.Owner()})));
  }

  // Puts the attempt in place.
  void Store(const Transaction& writes) {
    for (;;) {
      Transaction request = writes;
      request.WhenCreated(layout_.Owner(), ownership_->Token())
          .WhenModified(layout_.Head(), head_)
          .ElseGet({layout_.Head()})
          .ElseGet({layout_.Owner()});
      const Answer answer = RunAttempt(request);
      if (answer.succeeded) {
        known_ = *std::exchange(attempt_, std::nullopt);
        head_ = answer.revision;
        return;
      }
      try {
        if (WasStoredBefore(TakeSeen(answer))) return;
      } catch (const Unreachable& error) {
        // Of an attempt that is still open this would say too much.
        if (attempt_) throw StorageError(error.what(), NCCFailure::kNotKnown);
        throw;
      }
    }
  }

  Answer RunAttempt(const Transaction& request) {
    try {
      return client_.Run(request);
    } catch (const Unreachable& error) {
      if (error.WasSent()) throw StorageError(error.what(), NCCFailure::kNotKnown);
      attempt_.reset();
      throw;
    } catch (...) {
      attempt_.reset();
      throw;
    }
  }

  // After the comparisons have refused it: whether a request whose answer was lost has stored it.
  // False when it is to be tried again.
  bool WasStoredBefore(const Seen& seen) {
    const Fate fate = FateOf(seen);
    if (fate == Fate::kStored) {
      attempt_.reset();
      return true;
    }
    if (fate == Fate::kLost) {
      throw StorageError("another owner has gone on: " + seen.owner_text, NCCFailure::kNotKnown);
    }
    const bool is_owner = seen.owner == ownership_->Token();
    if (fate == Fate::kOpen && is_owner) return false;
    const StoredState attempt = *std::exchange(attempt_, std::nullopt);
    if (is_owner) throw StorageError("the cluster holds what another program has put there");
    if (fate == Fate::kNotStored) RefuseNotOwner(seen);
    OwnAgain();
    attempt_ = attempt;
    return false;
  }

  // kOpen: the head is the one that the attempt compares with. kLost: what would tell is not kept.
  enum class Fate { kOpen, kStored, kNotStored, kLost };
  Fate FateOf(const Seen& seen) {
    const StoredState& now = seen.head.head.state;
    if (now == known_ && seen.head.modified == head_) return Fate::kOpen;
    if (now == known_ || now == *attempt_) {
      const bool is_stored = now == *attempt_;
      Know(seen.head);
      return is_stored ? Fate::kStored : Fate::kNotStored;
    }
    const std::optional<Unit> unit = reader_.ReadUnit(attempt_->revision);
    if (!unit) return Fate::kLost;
    if (unit->state != *attempt_) return Fate::kNotStored;
    known_ = *attempt_;
    head_ = kUnseen;
    return Fate::kStored;
  }

  std::vector<StoredUnit> TakeUnits(const std::vector<UnitBlocks>& units, const HeadSeen& seen) {
    std::vector<StoredUnit> taken;
    for (const UnitBlocks& unit : units) taken.push_back(Unpacked(unit));
    if (!taken.empty()) known_ = taken.back().state;
    head_ = seen.head.state == known_ ? seen.modified : kUnseen;
    return taken;
  }

  // Only one that waits is a follower to others: it goes on to do so.
  void TellPresence(std::uint64_t revision) {
    if (!presence_) presence_ = std::make_unique<Presence>(client_, layout_);
    presence_->Tell(revision);
  }

  void WaitForNews(const HeadSeen& seen, milliseconds wait) {
    if (!watch_) {
      watch_ =
          std::make_unique<Watch>(settings_, client_.Endpoint(), layout_.Head(), seen.revision + 1);
    }
    if (watch_->Wait(wait) != Watch::News::kEnded) return;
    watch_.reset();
    client_.TryNext();
  }

  const EtcdSettings settings_;
  const Layout layout_;
  Client client_;
  Reader reader_{client_, layout_};
  EtcdHistory history_{client_, layout_};
  const pid_t pid_;
  const std::uint64_t mark_ = DrawToken();
  bool follows_ = false;
  StoredState known_;
  std::int64_t head_ = 0;               // the store's revision that wrote the head that is known
  std::optional<StoredState> attempt_;  // of a commit, while it is not known whether it is stored
  std::unique_ptr<Ownership> ownership_;
  std::unique_ptr<Folding> folding_;
  std::unique_ptr<Watch> watch_;
  std::unique_ptr<Presence> presence_;
};

}  // namespace

std::unique_ptr<StorageEngine> OpenEtcdEngine(const EtcdSettings& settings,
                                              const OpenRequest& request) {
  return std::make_unique<EtcdEngine>(settings, request);
}

}  // namespace ncc::etcd
