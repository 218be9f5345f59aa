// Taking back what units have changed, without what would leave the network less sound than it is.

#include "nccnet/history.h"

#include "core/entry.h"
#include "core/examination.h"
#include "core/flaws.h"
#include "core/operation.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace ncc;

namespace {

using Revisions = std::set<std::uint64_t>;
using Objects = std::vector<std::uint32_t>;
// Of each of these sets of later units one has to be taken back too.
using Choices = std::vector<Revisions>;

// What becomes of entries ---------------------------------------------------------------------

// Field by field as long as each was changed by one side alone.
template <class Field>
bool TakeBackField(const Field& before, const Field& after, Field& now) {
  if (before == after || now == before) return true;
  if (now != after) return false;
  now = before;
  return true;
}

template <class Entry>
Entry FromImage(const std::string& image) {
  Entry entry;
  std::memcpy(static_cast<void*>(&entry), image.data(), std::min(image.size(), sizeof(Entry)));
  return entry;
}

template <class Entry>
std::string ImageOf(const Entry& entry) {
  return {reinterpret_cast<const char*>(&entry), sizeof(Entry)};
}

struct FieldPlace {
  std::size_t offset;
  std::size_t size;
};
// Of the preferences, all but the counters: what those have given must not be given again.
constexpr FieldPlace kPreferences[] = {
    {offsetof(CNetPref, net_number), 4},    {offsetof(CNetPref, byte_12), 1},
    {offsetof(CNetPref, node_settings), 1}, {offsetof(CNetPref, value_14), 4},
    {offsetof(CNetPref, byte_18), 1},       {offsetof(CNetPref, byte_19), 1},
    {offsetof(CNetPref, value_20), 4}};

std::optional<std::string> MergePreferences(const std::string& before, const std::string& after,
                                            const std::string& now) {
  if (before.size() != sizeof(CNetPref) || after.size() != before.size()) return std::nullopt;
  std::string merged = now;
  for (const auto& [offset, size] : kPreferences) {
    std::string field = now.substr(offset, size);
    if (!TakeBackField(before.substr(offset, size), after.substr(offset, size), field))
      return std::nullopt;
    merged.replace(offset, size, field);
  }
  return merged;
}

// APs that came or went since keep being counted.
std::optional<std::string> MergeNodes(const std::string& before, const std::string& after,
                                      const std::string& now) {
  auto old = FromImage<CNNEntry>(before);
  auto next = FromImage<CNNEntry>(after);
  auto merged = FromImage<CNNEntry>(now);
  const std::uint32_t count = merged.ap_count + old.ap_count - next.ap_count;
  for (CNNEntry* entry : {&old, &next, &merged}) entry->ap_count = 0;
  std::string image = ImageOf(merged);
  if (!TakeBackField(ImageOf(old), ImageOf(next), image)) return std::nullopt;
  merged = FromImage<CNNEntry>(image);
  merged.ap_count = count;
  return ImageOf(merged);
}

std::optional<std::string> MergeEntries(const RowKey& key, const std::string& before,
                                        const std::string& after, const std::string& now) {
  if (key.number == kNetworkNumber) return MergePreferences(before, after, now);
  if (now.size() == sizeof(CNNEntry)) return MergeNodes(before, after, now);
  std::string image = now;
  return TakeBackField(before, after, image) ? std::optional(image) : std::nullopt;
}

// Which units go together -----------------------------------------------------------------------

std::string TextOf(const Revisions& revisions) {
  std::string text;
  for (const std::uint64_t revision : revisions)
    text.append(text.empty() ? "" : ", ").append(std::to_string(revision));
  return text;
}

void CheckUndoable(const CHDBase& base, const Revisions& revisions) {
  if (base.Unit().HasChanges()) throw Refusal("a batch that has changed something must end first");
  if (revisions.empty()) throw Refusal("no revision was named");
  const std::uint64_t first = std::max<std::uint64_t>(base.History().first, 2);
  if (first > base.Revision()) throw Refusal("the history holds nothing that can be taken back");
  if (*revisions.begin() < first || *revisions.rbegin() > base.Revision())
    throw Refusal("changes can be taken back from revision " + std::to_string(first) + " to " +
                  std::to_string(base.Revision()));
}

// Finds the later units without which others cannot be taken back: each set that it gives was
// tried. A trial walks the whole network, so there are few of them.
class Undoing {
 public:
  Undoing(CHDBase& base, const Revisions& wanted) : base_(base), wanted_(wanted) {
    if (!AreAllLater(wanted)) flaws_ = FlawsOf(base);
  }

  // Takes back what is wanted. Returns the later units that have to go with it; then nothing was
  // done. Throws Refusal when there are none with which it can be done, and when nothing is left of
  // it.
  Revisions Run() {
    Revisions needed;
    Choices choices;
    if (!Try(wanted_, choices)) {
      const Revisions fewest = Fewest(AllNeeded(std::move(choices)));
      Try(fewest, choices);
      std::ranges::set_difference(fewest, wanted_, std::inserter(needed, needed.end()));
    }
    const bool is_done = needed.empty() && has_effect_;
    if (!is_done) base_.Withdraw();
    if (!is_done && !has_effect_) throw Refusal("what was changed is as it was before");
    return needed;
  }

 private:
  static constexpr int kMostTrials = 30;
  static constexpr std::size_t kMostFaults = 10000;   // that one trial looks at
  static constexpr std::size_t kMostOfAChoice = 100;  // that one trial takes

  // Otherwise nothing was done, and `choices` are those that stand in the way.
  bool Try(const Revisions& revisions, Choices& choices) {
    ++trials_;
    CHDBase::TakenBack taken = base_.TakeBack(revisions, MergeEntries);
    choices = std::move(taken.in_the_way);
    has_effect_ = taken.has_effect;
    if (!taken.is_done) return false;
    std::vector<Objects> faults = UnsoundObjects();
    if (faults.empty() && !AreAllLater(revisions)) faults = FlawedObjects();
    if (faults.empty()) return true;
    base_.Withdraw();
    if (AddFormerFlaws()) return Try(revisions, choices);
    choices = LaterOf(revisions, faults);
    return false;
  }

  bool TryAndWithdraw(const Revisions& revisions) {
    Choices unused;
    if (!Try(revisions, unused)) return false;
    base_.Withdraw();
    return true;
  }

  // What is wanted and later units with which it can be taken back, perhaps more than have to go;
  // `choices` are those that a trial of what is wanted gave.
  Revisions AllNeeded(Choices choices) {
    Revisions all = wanted_;
    std::size_t most = 1;
    do {
      const std::size_t known = all.size();
      if (all == certain_) AddCertain(choices);
      if (most <= kMostOfAChoice) AddNewest(choices, most, all);
      if (all.size() == known && !AddAllLater(all))
        throw Refusal("what came later stands in the way, and cannot be taken back with it");
      most *= 2;
    } while (!Try(all, choices));
    base_.Withdraw();
    return all;
  }

  // Where there is no choice.
  void AddCertain(const Choices& choices) {
    for (const Revisions& choice : choices) {
      if (choice.size() == 1) certain_.insert(*choice.begin());
    }
  }

  // What the newest have left is mostly what stands in the way.
  static void AddNewest(const Choices& choices, std::size_t most, Revisions& all) {
    for (const Revisions& choice : choices) {
      const std::size_t first = choice.size() - std::min(most, choice.size());
      all.insert(std::next(choice.begin(), static_cast<std::ptrdiff_t>(first)), choice.end());
    }
  }

  // For each thing that is wrong in the network as it is now, the objects that it is about.
  std::vector<Objects> UnsoundObjects() const {
    std::vector<Objects> faulty;
    for (const UnsoundNetwork& fault : FaultsOf(base_, kMostFaults))
      faulty.push_back(fault.Objects());
    return faulty;
  }

  // The same of flaws that are new.
  std::vector<Objects> FlawedObjects() const {
    std::vector<Objects> flawed;
    for (const Flaw& flaw : FlawsOf(base_)) {
      if (flawed.size() == kMostFaults) break;
      if (!flaws_.contains(flaw)) flawed.push_back(ObjectsOf(base_, flaw));
    }
    return flawed;
  }

  // What the network had before all that is wanted is not new either. False when that is known.
  bool AddFormerFlaws() {
    if (has_former_flaws_) return false;
    has_former_flaws_ = true;
    Revisions all = wanted_;
    AddAllLater(all);
    if (!base_.TakeBack(all, MergeEntries).is_done) return false;
    flaws_.merge(FlawsOf(base_));
    base_.Withdraw();
    return true;
  }

  // For each fault the later units, the newest of them, that have changed one of its objects.
  Choices LaterOf(const Revisions& revisions, const std::vector<Objects>& faults) const {
    std::map<std::uint32_t, Revisions> later;
    for (const Objects& objects : faults) {
      for (const std::uint32_t object : objects) {
        // Whatever comes or goes changes the root folder and the network record.
        if (object < kNetworkNumber) later.try_emplace(object);
      }
    }
    base_.ReadHistory(*revisions.begin(), base_.Revision(), [&](HistoryEntry&& entry) {
      if (revisions.contains(entry.revision)) return true;
      for (const KeyedRow& former : UnpackRows(entry.replaced)) {
        const auto found = later.find(former.key.number);
        if (found != later.end() && found->second.size() < kMostOfAChoice)
          found->second.insert(entry.revision);
      }
      return true;
    });
    Choices choices;
    for (const Objects& objects : faults) {
      Revisions& choice = choices.emplace_back();
      for (const std::uint32_t object : objects) {
        if (const auto found = later.find(object); found != later.end())
          choice.insert(found->second.begin(), found->second.end());
      }
    }
    return choices;
  }

  // Then the network becomes what it was before.
  bool AreAllLater(const Revisions& revisions) const {
    return revisions.size() == base_.Revision() + 1 - *revisions.begin();
  }
  // False when all were among them already.
  bool AddAllLater(Revisions& revisions) const {
    const std::size_t known = revisions.size();
    for (std::uint64_t each = *revisions.begin(); each <= base_.Revision(); ++each)
      revisions.insert(each);
    return revisions.size() > known;
  }

  // Leaves out of units that can be taken back together those that need not go; all of them, when
  // the others then cannot.
  Revisions Fewest(const Revisions& all) {
    std::vector<std::uint64_t> added;  // the newest, which are to go rather than others, first
    std::ranges::set_difference(all, certain_, std::back_inserter(added));
    std::ranges::reverse(added);
    Revisions fewest = certain_;
    fewest.merge(NeededOf(certain_, certain_ == wanted_, added));
    return fewest == all || TryAndWithdraw(fewest) ? fewest : all;
  }

  // Of these units those that have to go with the others, by halves; all of them, when that takes
  // too many trials.
  Revisions NeededOf(const Revisions& others, bool is_known_short,
                     const std::vector<std::uint64_t>& units) {
    if (units.empty()) return {};
    if (!is_known_short && trials_ < kMostTrials && TryAndWithdraw(others)) return {};
    if (units.size() == 1 || trials_ >= kMostTrials) return {units.begin(), units.end()};
    const auto middle = units.begin() + static_cast<std::ptrdiff_t>(units.size() / 2);
    const std::vector<std::uint64_t> halves[] = {{units.begin(), middle}, {middle, units.end()}};
    Revisions with_first = others;
    with_first.insert(halves[0].begin(), halves[0].end());
    Revisions needed = NeededOf(with_first, false, halves[1]);
    Revisions with_second = others;
    with_second.insert(needed.begin(), needed.end());
    needed.merge(NeededOf(with_second, needed.empty(), halves[0]));
    return needed;
  }

  CHDBase& base_;
  const Revisions& wanted_;
  Revisions certain_ = wanted_;  // and later units without which it cannot be taken back
  Flaws flaws_;                  // that the network has, or is known to have had before
  bool has_former_flaws_ = false;
  int trials_ = 0;
  bool has_effect_ = false;  // of the last trial
};

}  // namespace

bool CNetHistory::Undo(std::uint64_t revision) {
  std::list<std::uint64_t> in_the_way;
  return Undo({revision}, in_the_way);
}

bool CNetHistory::Undo(const std::list<std::uint64_t>& revisions,
                       std::list<std::uint64_t>& in_the_way) {
  in_the_way.clear();
  return Run(*net_, [&] {
    CHDBase& base = *net_->base;
    const Revisions wanted(revisions.begin(), revisions.end());
    CheckUndoable(base, wanted);
    const Revisions later = Undoing(base, wanted).Run();
    in_the_way.assign(later.begin(), later.end());
    if (!later.empty()) throw Refusal("later changes stand in the way: " + TextOf(later));
    net_->FollowStored();
  });
}
