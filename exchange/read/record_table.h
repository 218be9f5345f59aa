// Lists of records that are also found by identifier and by name, and an index of pairs.
#pragma once

#include "platform/hdb/flat_index.h"
#include "platform/sync.h"

#include <atomic>
#include <cstdint>
#include <cstring>
#include <list>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace ncc {

// Differs from process to process: files from elsewhere cannot be made to collide.
std::uint32_t HashName(std::string_view name);

// Records in the order in which they were appended. Of several with one identifier or name the
// first is found. Any number of threads may look up at a time. Names are indexed when one is looked
// up first: most views are never asked for one.
template <class Entry>
class RecordTable {
 public:
  static constexpr std::uint32_t kNone = UINT32_MAX;  // no position

  RecordTable() = default;
  RecordTable(const RecordTable&) = delete;
  RecordTable& operator=(const RecordTable&) = delete;

  const std::list<Entry>& List() const { return list_; }
  std::uint32_t Size() const { return static_cast<std::uint32_t>(records_.size()); }
  const Entry& At(std::uint32_t position) const { return *records_[position]; }
  Entry& At(std::uint32_t position) { return *records_[position]; }

  void Reserve(std::size_t count) {
    records_.reserve(count);
    by_id_.Reserve(count);
  }

  // Appends a copy, byte for byte. Returns its position.
  std::uint32_t Append(const Entry& entry) {
    Entry& record = list_.emplace_back();
    record = entry;
    const auto position = static_cast<std::uint32_t>(records_.size());
    records_.push_back(&record);
    AddOnce(by_id_, record.id, position, kAny);
    return position;
  }

  void Clear() {
    list_.clear();
    records_.clear();
    by_id_.Clear();
    by_name_.Clear();
    named_ = 0;
  }

  // kNone when there is none.
  std::uint32_t PositionOf(unsigned long id) const {
    if (id > UINT32_MAX) return kNone;
    return FindIn(by_id_, static_cast<std::uint32_t>(id), kAny);
  }

  // Null when there is none.
  const Entry* Find(unsigned long id) const { return Get(PositionOf(id)); }
  Entry* Find(unsigned long id) { return Get(PositionOf(id)); }
  const Entry* Find(const char* name) const {
    if (name == nullptr) return nullptr;
    IndexNames();
    return Get(FindIn(by_name_, HashName(name), HasName(name)));
  }

 private:
  // An identifier is its own hash: they mostly ascend, and so do then the slots.
  static constexpr auto kAny = [](std::uint32_t) { return true; };

  template <class IsSame>
  static std::uint32_t FindIn(const FlatIndex& index, std::uint32_t hash, IsSame is_same) {
    std::uint32_t found = kNone;
    index.ForEach(hash, [&](std::uint32_t position) {
      if (is_same(position)) found = position;
      return found == kNone;
    });
    return found;
  }
  template <class IsSame>
  static void AddOnce(FlatIndex& index, std::uint32_t hash, std::uint32_t position,
                      IsSame is_same) {
    if (FindIn(index, hash, is_same) == kNone) index.Insert(hash, position);
  }

  static std::string_view NameOf(const Entry& record) {
    return {record.name, strnlen(record.name, sizeof(record.name))};
  }
  auto HasName(std::string_view name) const {
    return [this, name](std::uint32_t position) { return NameOf(*records_[position]) == name; };
  }
  void IndexNames() const {
    if (named_.load(std::memory_order_acquire) == Size()) return;
    const LockScope lock(naming_);
    by_name_.Reserve(Size());
    for (std::uint32_t position = named_; position < Size(); ++position) {
      const std::string_view name = NameOf(*records_[position]);
      AddOnce(by_name_, HashName(name), position, HasName(name));
    }
    named_.store(Size(), std::memory_order_release);
  }
  Entry* Get(std::uint32_t position) const {
    return position == kNone ? nullptr : records_[position];
  }

  std::list<Entry> list_;
  std::vector<Entry*> records_;
  FlatIndex by_id_;
  mutable FlatIndex by_name_;
  mutable std::atomic<std::uint32_t> named_ = 0;  // records whose names are in it
  mutable ReentrantLock naming_;
};

// The values of each key, ascending and each once, as they stand after Build. Keys have 16 bits, as
// in the files.
class PairIndex {
 public:
  void Reserve(std::size_t count) { pairs_.reserve(count); }
  void Add(std::uint32_t key, std::uint32_t value) { pairs_.emplace_back(key, value); }
  void Build();
  void Clear();
  std::span<const std::uint32_t> ValuesOf(unsigned long key) const;

 private:
  std::vector<std::pair<std::uint32_t, std::uint32_t>> pairs_;  // until Build
  std::vector<std::uint32_t> values_;
  std::vector<std::uint32_t> starts_;  // of each key's values
  std::vector<std::uint32_t> ends_;
};

}  // namespace ncc
