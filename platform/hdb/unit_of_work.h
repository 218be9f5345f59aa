// What changed since the outermost operation began, by the rows that it will be stored in.
#pragma once

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
#include <unordered_map>
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
    const auto [place, is_new] = before_.try_emplace(key);
    if (!is_new) return;
    try {
      std::optional<Row> before = encode_before();
      if (before) place->second = std::make_unique<Row>(std::move(*before));
    } catch (...) {
      before_.erase(place);
      throw;
    }
  }

  std::size_t TouchCount() const { return touch_count_; }
  // From now on each change is refused with this text, which lives as long as the program.
  void RefuseChanges(const char* why) { refusal_ = why; }
  bool RefusesChanges() const { return refusal_ != nullptr; }

  bool HasChanges() const { return !before_.empty(); }

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
  ChangeSet Collect(const RowTotals& totals_before, EncodeNow encode_now) const {
    std::vector<std::pair<RowKey, const Row*>> rows;
    rows.reserve(before_.size());
    for (const auto& [key, before] : before_) rows.emplace_back(key, before.get());
    std::sort(rows.begin(), rows.end(),
              [](const auto& one, const auto& other) { return one.first < other.first; });
    ChangeSet changes;
    RowTotals& totals = changes.state.totals;
    totals = totals_before;
    for (const auto& [key, before] : rows) {
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

  void Clear() noexcept {
    failure_[0] = '\0';
    // Clearing costs what the table has grown to: one that a batch has left large is given away.
    if (before_.bucket_count() > 1024) {
      decltype(before_)().swap(before_);
    } else if (!before_.empty()) {
      before_.clear();
    }
  }

 private:
  struct KeyHash {
    std::size_t operator()(const RowKey& key) const {
      const auto head =
          (static_cast<std::uint64_t>(key.kind) << 61) | (std::uint64_t{key.number} << 29);
      return ((head | (std::uint64_t{key.list} << 26) | key.chunk) * 0x9E3779B97F4A7C15ULL) >> 16;
    }
  };

  std::unordered_map<RowKey, std::unique_ptr<Row>, KeyHash> before_;  // null: not stored yet
  std::array<char, 256> failure_{};                                   // empty: none
  const char* refusal_ = nullptr;
  std::size_t touch_count_ = 0;
  int depth_ = 0;
};

}  // namespace ncc
