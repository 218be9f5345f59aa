#include "soak/round.h"

#include "platform/cluster/etcd_engine.h"

#include <algorithm>
#include <csignal>
#include <set>
#include <sstream>
#include <thread>
#include <utility>

using ncc::OpenMode;
using ncc::StorageEngine;
using ncc::StorageError;
using ncc::etcd::OpenEtcdEngine;
using Fate = Report::Fate;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

using Clock = std::chrono::steady_clock;

constexpr seconds kPatience(40);
constexpr Tag kBaseTag = 1;
constexpr Tag kSecondTags = 1'000'000;
constexpr int kCommitsOfSecond = 3;

// Until it is done; a cluster that has just come back may refuse for a while.
template <class Action>
auto Persist(const char* what, Action action) {
  for (const auto end = Clock::now() + kPatience;;) {
    try {
      return action();
    } catch (const StorageError& error) {
      if (error.Kind() != NCCFailure::kUnavailable || Clock::now() > end)
        throw Violation(std::string(what) + ": " + error.what());
    }
    std::this_thread::sleep_for(milliseconds(20));
  }
}

class Round {
 public:
  Round(Place& place, const FaultKind& kind, std::uint64_t seed)
      : scene_(place, kind.name, seed), fault_(kind.make()), timeout_(1 + scene_.Draw(2)) {}

  RoundResult Play() {
    Begin();
    FollowFor(scene_.DrawWait(1000));
    const std::size_t told = scene_.owner->Reports().size();
    ends_ = Clock::now();
    fault_->Strike(scene_);
    if (fault_->IsHealedFirst()) Heal();
    if (fault_->IsSurvived()) {
      ExpectProgress(told);
      if (scene_.Draw(1) == 0) scene_.owner->Kill();
      ends_ = Clock::now();
    }
    TakeOver();
    Heal();
    ExpectFenced();
    ExpectAllWell();
    Verify();
    return result_;
  }

 private:
  std::unique_ptr<StorageEngine> Open(OpenMode mode) {
    return OpenEtcdEngine(scene_.place.Settings(scene_.prefix, timeout_), {mode});
  }

  void Begin() {
    base_ = HistoryContents(1 + static_cast<std::uint64_t>(scene_.Draw(300)));
    Commit(*Persist("making the database", [&] { return Open(OpenMode::kCreate); }),
           Ledger(base_).Base(kBaseTag));
    second_ = Persist("following", [&] { return Open(OpenMode::kFollow); });
    followed_ = Persist("following", [&] { return LoadAll(*second_); });
    scene_.owner =
        std::make_unique<OwnerProcess>(scene_.place.SettingsOfOwner(scene_.prefix, timeout_));
    for (const auto end = Clock::now() + kPatience; scene_.owner->Reports().empty();) {
      if (Clock::now() > end) throw Violation("the first owner does not begin");
      FollowFor(milliseconds(20));
    }
  }

  void FollowFor(milliseconds wait) {
    for (const auto end = Clock::now() + wait; Clock::now() < end;) {
      try {
        Follow(std::chrono::ceil<milliseconds>(end - Clock::now()));
      } catch (const StorageError& error) {
        if (error.Kind() != NCCFailure::kUnavailable) throw;
      }
    }
  }

  // False at the end.
  bool Follow(milliseconds wait) {
    const auto units = second_->Follow(followed_.revision, wait);
    if (!units) {
      followed_ = LoadAll(*second_);
      return true;
    }
    for (const ncc::StoredUnit& unit : *units) {
      if (unit.state.revision != followed_.revision + 1)
        throw Violation("a follower is given a commit that is not the next one");
      for (const auto& [key, row] : unit.rows) {
        followed_.rows.erase(key);
        if (row) followed_.rows.emplace(key, *row);
      }
      followed_.revision = unit.state.revision;
    }
    return !units->empty();
  }

  void Heal() {
    if (!std::exchange(is_healed_, true)) fault_->Heal(scene_);
  }

  // Commits that it has begun after the fault are stored.
  void ExpectProgress(std::size_t told) {
    constexpr std::ptrdiff_t kMore = 3;
    for (const auto end = Clock::now() + kPatience;;) {
      const auto& reports = scene_.owner->Reports();
      const auto stored =
          std::count_if(reports.begin() + static_cast<std::ptrdiff_t>(told), reports.end(),
                        [](const Report& report) { return report.fate == Fate::kStored; });
      if (stored >= kMore) return;
      if (Clock::now() > end) throw Violation("the first owner does not go on");
      FollowFor(milliseconds(10));
    }
  }

  void TakeOver() {
    Persist("taking over", [&] { Acquire(); });
    Persist("following to the end", [&] {
      while (Follow(milliseconds(0))) {
      }
    });
    Ledger ledger(followed_);
    for (int i = 0; i < kCommitsOfSecond; ++i) {
      const Tag tag = kSecondTags + static_cast<Tag>(i);
      const ListedChanges changes = ledger.Next(tag, base_.revision);
      Commit(*second_, changes);
      if (i == 0) result_.takeover = std::chrono::duration_cast<milliseconds>(Clock::now() - ends_);
      ledger.Take(changes);
    }
    followed_ = ledger.Now();
  }

  void Acquire() {
    const bool is_forced = fault_->IsSurvived() && !scene_.owner->IsKilled();
    try {
      second_->Acquire(is_forced ? milliseconds(0) : kWaitForLease, is_forced);
    } catch (const StorageError& error) {
      if (error.Kind() != NCCFailure::kInUse || scene_.owner->IsKilled()) throw;
      ends_ = Clock::now();  // it was away for less than its lease
      second_->Acquire(milliseconds(0), true);
    }
  }

  static void Commit(StorageEngine& engine, const ListedChanges& changes) {
    for (const auto end = Clock::now() + kPatience; Clock::now() < end;) {
      try {
        engine.Commit(changes);
        return;
      } catch (const StorageError& error) {
        if (error.Kind() == NCCFailure::kNotKnown) {
          const ncc::StoredState now = Persist("settling", [&] { return engine.Settle(); });
          if (now == changes.state) return;
        } else if (error.Kind() != NCCFailure::kUnavailable) {
          throw Violation(std::string("a commit is refused: ") + error.what());
        }
      }
    }
    throw Violation("a commit does not come through");
  }

  void ExpectFenced() {
    if (scene_.owner->IsKilled()) return;
    const auto end = scene_.owner->WaitForEnd(kPatience);
    if (end != OwnerProcess::kFenced) {
      throw Violation("the first owner was not told that it is none any more: " +
                      (end ? "it ended with " + std::to_string(*end) : "it goes on"));
    }
    result_.fenced = 1;
  }

  void ExpectAllWell() {
    const auto end = Clock::now() + kPatience;
    while (!scene_.nodes.IsUp()) {
      if (Clock::now() > end) throw Violation("a node does not come back");
    }
    while (!HoldTheSame()) {
      if (Clock::now() > end) throw Violation("the nodes hold different things");
    }
  }

  // "http://127.0.0.1:2379, 1234" and so on.
  bool HoldTheSame() const {
    std::istringstream hashes(scene_.nodes.Control("endpoint hashkv --write-out=simple"));
    std::set<std::string> different;
    std::size_t told = 0;
    for (std::string line; std::getline(hashes, line); ++told)
      different.insert(line.substr(std::min(line.find(", "), line.size())));
    return told == scene_.nodes.Count() && different.size() == 1;
  }

  void Verify() {
    const auto reader = Open(OpenMode::kSnapshot);
    const Contents stored = Persist("reading", [&] { return LoadAll(*reader); });
    std::vector<ncc::HistoryEntry> history;
    reader->ReadHistory(base_.revision, stored.revision, [&](ncc::HistoryEntry&& entry) {
      history.push_back(std::move(entry));
      return true;
    });
    std::reverse(history.begin(), history.end());
    VerifyHistory(history, stored);
    VerifyReports(history);
    fault_->Check(scene_, history);
  }

  // Each revision has one commit of one owner, and together they make what is stored.
  void VerifyHistory(const std::vector<ncc::HistoryEntry>& history, const Contents& stored) {
    Ledger ledger(base_);
    bool is_second = false;
    for (std::size_t i = 0; i < history.size(); ++i) {
      if (history[i].revision != base_.revision + i)
        throw Violation("the history has a revision twice or not at all");
      if (i == 0) continue;
      const Tag tag = TagOf(history[i]);
      if (tag < kSecondTags && is_second) throw Violation("two owners have stored side by side");
      is_second = tag >= kSecondTags;
      ledger.Take(ledger.Next(tag, base_.revision));
    }
    if (ledger.Now() != stored) throw Violation("what is stored is not what was committed");
    if (followed_ != stored) throw Violation("a follower has something else than is stored");
  }

  // What was acknowledged is there, what was refused is not, and one may be there untold.
  void VerifyReports(const std::vector<ncc::HistoryEntry>& history) {
    std::set<std::pair<std::uint64_t, Tag>> untold;
    for (const ncc::HistoryEntry& entry : history) untold.emplace(entry.revision, TagOf(entry));
    untold.erase({base_.revision, kBaseTag});
    std::uint64_t last = base_.revision;
    for (const Report& report : scene_.owner->Reports()) {
      const bool is_there = untold.erase({report.revision, report.tag}) != 0;
      const bool should_be = report.fate != Fate::kNotStored;
      if (is_there != should_be) {
        throw Violation(
            "revision " + std::to_string(report.revision) +
            (should_be ? " was acknowledged and is lost" : " was told not to be stored, and is"));
      }
      if (should_be) last = report.revision;
      Count(report.fate);
    }
    std::erase_if(untold, [](const auto& commit) { return commit.second >= kSecondTags; });
    result_.acknowledged += kCommitsOfSecond;
    result_.in_flight = untold.size();
    if (untold.size() > 1 || (untold.size() == 1 && untold.begin()->first != last + 1))
      throw Violation("more is stored than was acknowledged and the one on its way");
    if (result_.in_flight + result_.fenced > 1)
      throw Violation("an owner that was alive to the end has not learned of a commit");
  }

  void Count(Fate fate) {
    if (fate == Fate::kStored) ++result_.acknowledged;
    if (fate == Fate::kFoundStored) ++result_.found_stored;
    if (fate == Fate::kNotStored) ++result_.not_stored;
  }

  static constexpr milliseconds kWaitForLease{6000};

  Scene scene_;
  const std::unique_ptr<Fault> fault_;
  const int timeout_;  // seconds
  std::unique_ptr<StorageEngine> second_;
  Contents base_;
  Contents followed_;
  Clock::time_point ends_;
  bool is_healed_ = false;
  RoundResult result_;
};

}  // namespace

RoundResult PlayRound(Place& place, const FaultKind& kind, std::uint64_t seed) {
  return Round(place, kind, seed).Play();
}
