// What changed since the outermost operation began, by the rows that it will be stored in.
#pragma once

#include "platform/hdb/flat_index.h"
#include "platform/storage/engine.h"
#include "platform/storage/row_sum.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ncc {

// Keeps, for every row that a change touches, the row as it was stored before; so a row that ends
// as it began is not written, and a unit in which all do is no change at all.
class UnitOfWork {
 public:
  int Depth() const { return depth_; }
  void Enter() { ++depth_; }
  // True when the outermost unit was left.
  bool Leave() { return --depth_ == 0; }

  // Call before each change of a row. `encode_before` gives the stored row, or nothing when there
  // is none yet; it is called once per row and unit. Throws StorageError outside a unit or when the
  // unit has failed.
  template <class EncodeBefore>
  void Touch(const RowKey& key, EncodeBefore encode_before) {
    if (depth_ == 0) throw StorageError("a change outside an operation");
    if (refusal_ != nullptr) throw StorageError(refusal_);
    if (HasFailed())
      throw StorageError(std::string("an earlier failure has stopped this batch: ") + Failure());
    ++touch_count_;
    const std::uint32_t hash = HashOf(key);
    std::size_t& recent = recent_[hash % recent_.size()];
    if (recent < rows_.size() && rows_[recent].key == key) return;
    bool is_known = false;
    index_.ForEach(hash, [&](std::uint32_t at) {
      is_known = rows_[at].key == key;
      if (is_known) recent = at;
      return !is_known;
    });
    if (is_known) return;
    std::optional<Row> before = encode_before();
    rows_.push_back({key, before ? std::make_unique<Row>(std::move(*before)) : nullptr});
    recent = rows_.size() - 1;
    try {
      index_.Insert(hash, static_cast<std::uint32_t>(recent));
    } catch (...) {
      rows_.pop_back();
      throw;
    }
  }

  std::size_t TouchCount() const { return touch_count_; }
  // From now on each change is refused with this text, which lives as long as the program.
  void RefuseChanges(const char* why) { refusal_ = why; }
  bool RefusesChanges() const { return refusal_ != nullptr; }

  bool HasChanges() const { return !rows_.empty(); }

  // Keeps the beginning of the first reason; needs no memory.
  void Fail(std::string_view why) noexcept {
    if (HasFailed()) return;
    const std::size_t length = std::min(why.size(), failure_.size() - 1);
    std::copy_n(why.data(), length, failure_.data());
    failure_[length] = '\0';
  }
  bool HasFailed() const { return failure_[0] != '\0'; }
  const char* Failure() const { return failure_.data(); }

  // The rows that differ from what is stored, and the totals that they lead to from those before;
  // `encode_now` gives a row's present contents, or nothing when it is gone.
  template <class EncodeNow>
  ChangeSet Collect(const RowTotals& totals_before, EncodeNow encode_now) {
    std::sort(rows_.begin(), rows_.end(),
              [](const Touched& one, const Touched& other) { return one.key < other.key; });
    ChangeSet changes;
    RowTotals& totals = changes.state.totals;
    totals = totals_before;
    for (const auto& [key, before] : rows_) {
      std::optional<Row> now = encode_now(key);
      if (before ? now == *before : !now) continue;
      if (before) TakeFrom(totals, SumOf(*before));
      if (now) {
        AddTo(totals, SumOf(*now));
        changes.put.push_back(std::move(*now));
      } else {
        changes.removed.push_back(key);
      }
    }
    return changes;
  }

  // What a batch has left large is given away.
  void Clear() noexcept {
    failure_[0] = '\0';
    if (rows_.size() > kMuch) {
      decltype(rows_)().swap(rows_);
      index_ = {};
    } else {
      rows_.clear();
      index_.Clear();
    }
  }

 private:
  static constexpr std::size_t kMuch = 1024;

  struct Touched {
    RowKey key;
    std::unique_ptr<Row> before;  // null: not stored yet
  };

  static std::uint32_t HashOf(const RowKey& key) {
    const auto head =
        (static_cast<std::uint64_t>(key.kind) << 61) | (std::uint64_t{key.number} << 29);
    return HashKey(head | (std::uint64_t{key.list} << 26) | key.chunk);
  }

  std::vector<Touched> rows_;
  FlatIndex index_;                       // of the rows, by their keys
  std::array<std::size_t, 32> recent_{};  // rows that were touched last: most are touched again
  std::array<char, 256> failure_{};       // empty: none
  const char* refusal_ = nullptr;
  std::size_t touch_count_ = 0;
  int depth_ = 0;
};

}  // namespace ncc
