// What changed, who changed it, and how it was before.

#include "nccnet/history.h"

#include "core/entry.h"
#include "core/operation.h"
#include "platform/hdb/history_codec.h"
#include "platform/process.h"
#include "platform/text/code_page.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

using namespace ncc;

namespace {

constexpr std::size_t kMostPerson = 200;
constexpr std::size_t kMostText = 1000;

// As much of it as fits without half a character.
std::string Shortened(std::string_view text, std::size_t most) {
  std::string shortened = ValidUtf8(text);
  if (shortened.size() > most) {
    while ((static_cast<unsigned char>(shortened[most]) & 0xC0U) == 0x80U) --most;
    shortened.resize(most);
  }
  return shortened;
}

// Ascending, each once.
void AddObject(std::vector<std::uint32_t>& objects, const RowKey& key) {
  const bool is_known = !objects.empty() && objects.back() == key.number;
  if (key.kind != RowKind::kDefinition && !is_known) objects.push_back(key.number);
}
void Sort(std::vector<std::uint32_t>& objects) {
  std::sort(objects.begin(), objects.end());
  objects.erase(std::unique(objects.begin(), objects.end()), objects.end());
}

CHistoryEntry PublicEntry(HistoryEntry&& entry) {
  CHistoryEntry shown{entry.revision,
                      entry.time,
                      std::move(entry.origin.person),
                      std::move(entry.origin.program),
                      std::move(entry.origin.text),
                      {}};
  for (const KeyedRow& former : UnpackRows(entry.replaced)) AddObject(shown.objects, former.key);
  Sort(shown.objects);
  return shown;
}

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

std::string TextOf(const std::set<std::uint64_t>& revisions) {
  std::string text;
  for (const std::uint64_t revision : revisions)
    text.append(text.empty() ? "" : ", ").append(std::to_string(revision));
  return text;
}

void CheckUndoable(const CHDBase& base, const std::set<std::uint64_t>& revisions) {
  if (base.Unit().HasChanges()) throw Refusal("a batch that has changed something must end first");
  if (revisions.empty()) throw Refusal("no revision was named");
  const std::uint64_t first = std::max<std::uint64_t>(base.History().first, 2);
  if (first > base.Revision()) throw Refusal("the history holds nothing that can be taken back");
  if (*revisions.begin() < first || *revisions.rbegin() > base.Revision())
    throw Refusal("changes can be taken back from revision " + std::to_string(first) + " to " +
                  std::to_string(base.Revision()));
}

}  // namespace

bool CNetHistory::SetOrigin(const char* person, const char* text) {
  const LockScope lock(net_->lock);
  return Attempt([&] {
    Origin origin{UserOfProcess(), ProgramOfProcess(), {}};
    if (person != nullptr) origin.person = Shortened(person, kMostPerson);
    if (text != nullptr) origin.text = Shortened(text, kMostText);
    net_->manager.SetOrigin(std::move(origin));
  });
}

unsigned long CNetHistory::GetHistory(std::uint64_t from, std::uint64_t to,
                                      std::list<CHistoryEntry>& list) {
  return RunList(*net_, list, [&] {
    net_->base->ReadHistory(from, to, [&](HistoryEntry&& entry) {
      list.push_back(PublicEntry(std::move(entry)));
      return true;
    });
  });
}

std::uint64_t CNetHistory::GetRevisionAt(std::int64_t time) {
  return Run(*net_, std::uint64_t{0}, [&] {
    const std::uint64_t revision = net_->base->RevisionAt(time);
    return revision < net_->base->History().first && net_->base->History().first > 1 ? 0 : revision;
  });
}

unsigned long CNetHistory::GetChangedObjects(std::vector<std::uint32_t>& objects) {
  objects.clear();
  Run(*net_, [&] {
    net_->base->Unit().ForEachTouched([&](const RowKey& key) { AddObject(objects, key); });
    Sort(objects);
  });
  return objects.size();
}

bool CNetHistory::ShowRevision(std::uint64_t revision) {
  NetState& net = *net_;
  const LockScope lock(net.lock);
  return Attempt([&] {
    if (!net.base) throw Refusal("no database is open");
    if (net.callback_depth > 0) throw Refusal("a progress callback cannot turn back the network");
    try {
      net.base->ShowRevision(revision);
    } catch (const StorageError&) {
      net.FollowStored();
      throw;
    }
    net.FollowStored();
  });
}

bool CNetHistory::Undo(std::uint64_t revision) {
  std::list<std::uint64_t> in_the_way;
  return Undo({revision}, in_the_way);
}

bool CNetHistory::Undo(const std::list<std::uint64_t>& revisions,
                       std::list<std::uint64_t>& in_the_way) {
  in_the_way.clear();
  return Run(*net_, [&] {
    CHDBase& base = *net_->base;
    const std::set<std::uint64_t> wanted(revisions.begin(), revisions.end());
    CheckUndoable(base, wanted);
    const std::set<std::uint64_t> later = base.TakeBack(wanted, MergeEntries);
    in_the_way.assign(later.begin(), later.end());
    if (!later.empty()) throw Refusal("later changes stand in the way: " + TextOf(later));
    net_->FollowStored();
  });
}

bool CNetHistory::SetHistoryRule(const CHistoryRule& rule) {
  return Run(*net_, [&] {
    using Keep = HistoryRule::Keep;
    const auto keep = static_cast<Keep>(rule.keep);
    const bool is_counted = keep == Keep::kUnits || keep == Keep::kDays;
    if (keep > Keep::kNone || (is_counted && rule.count == 0))
      throw Refusal("a history keeps all, none, or 1 or more units or days");
    net_->base->SetHistoryRule({keep, is_counted ? rule.count : 0});
  });
}

bool CNetHistory::GetHistoryRule(CHistoryRule& rule, std::uint64_t& oldest) {
  return Run(*net_, [&] {
    const HistoryBounds& bounds = net_->base->History();
    rule = {static_cast<CHistoryRule::Keep>(bounds.rule.keep), bounds.rule.count};
    oldest = bounds.first;
  });
}
