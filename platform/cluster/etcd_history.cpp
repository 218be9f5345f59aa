#include "platform/cluster/etcd_history.h"

#include "platform/cluster/records.h"
#include "platform/storage/engine.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace ncc::etcd {
namespace {

constexpr std::uint64_t kEntriesAtOnce = 32;
constexpr int kKeysAtOnce = 256;

[[noreturn]] void Damaged(std::uint64_t revision, const char* what) {
  throw StorageError("database is damaged: the history of revision " + std::to_string(revision) +
                     " " + what);
}

}  // namespace

void EtcdHistory::Read(const HeadSeen& seen, std::uint64_t last, std::uint64_t from,
                       std::uint64_t to, const std::function<bool(HistoryEntry&&)>& visit) {
  const std::uint64_t oldest = std::max<std::uint64_t>({from, seen.head.state.history.first, 1});
  std::uint64_t newest = std::min(to, last);
  while (newest >= oldest) {
    const std::uint64_t begin =
        newest - oldest < kEntriesAtOnce ? oldest : newest - kEntriesAtOnce + 1;
    const Answer answer =
        client_.Get({layout_.First('h', begin), layout_.First('h', newest + 1), 0, seen.revision});
    const std::vector<KeyValue>& keys = answer.found.front().keys;
    for (auto stored = keys.rbegin(); newest >= begin; --newest, ++stored) {
      if (stored == keys.rend()) Damaged(newest, "is missing");
      if (!visit(Whole(stored->value, newest, seen.revision))) return;
    }
  }
}

HistoryEntry EtcdHistory::Whole(std::string_view value, std::uint64_t revision,
                                std::int64_t moment) {
  Entry entry = DecodeEntry(value);
  HistoryEntry& told = entry.entry;
  if (told.revision != revision) Damaged(revision, "is missing");
  std::string replaced;
  for (std::uint32_t index = 0; index < entry.pieces; ++index) {
    const Answer answer = client_.Get({layout_.Piece(entry.stage, index), {}, 0, moment});
    const KeyValue* const piece = answer.found.front().Only();
    if (piece == nullptr) Damaged(revision, "lacks a piece");
    replaced += piece->value;
  }
  told.replaced.insert(0, replaced);
  if (SumOf(told) != entry.sum) Damaged(revision, "does not match its checksum");
  return std::move(told);
}

// As a rule of days asks with each commit, and the answer is among the oldest then.
std::uint64_t EtcdHistory::FirstSince(std::uint64_t last, std::int64_t time) {
  KeyRange range{layout_.First('h', 0), layout_.End('h'), kKeysAtOnce};
  range.keys_only = true;
  for (;;) {
    const Answer answer = client_.Get(range);
    const Found& found = answer.found.front();
    for (const KeyValue& stored : found.keys) {
      const std::optional<Layout::EntryKey> key = layout_.ParseEntry(stored.key);
      if (key && key->revision <= last && key->time >= time) return key->revision;
    }
    if (!found.has_more || found.keys.empty()) return last + 1;
    range.from = found.keys.back().key + '\0';
  }
}

}  // namespace ncc::etcd
