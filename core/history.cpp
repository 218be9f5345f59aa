// What changed, who changed it, and how it was before; undo.cpp takes it back.

#include "nccnet/history.h"

#include "core/operation.h"
#include "platform/hdb/history_codec.h"
#include "platform/process.h"
#include "platform/text/code_page.h"

#include <algorithm>
#include <cstddef>
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
