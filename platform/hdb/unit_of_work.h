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

  // Throws StorageError outside a unit and when changes are refused or the unit has failed.
  void CheckChangeable() const {
    if (depth_ == 0) throw StorageError("a change outside an operation");
    if (RefusesChanges()) throw StorageError(refusal_, refusal_kind_);
    if (HasFailed())
      throw StorageError(std::string("an earlier failure has stopped this batch: ") + Failure());
  }

  // Call before each change of a row. `encode_before` fills in the stored row and says whether
  // there is one; it is called once per row and unit. Throws as CheckChangeable does.
  template <class EncodeBefore>
  void Touch(const RowKey& key, EncodeBefore encode_before) {
    CheckChangeable();
    ++touch_count_;
    const std::uint64_t packed = Pack(key);
    const std::uint32_t hash = HashKey(packed);
    std::size_t& recent = recent_[hash % recent_.size()];
    if (recent < rows_.size() && rows_[recent].key == packed) return;
    bool is_known = false;
    index_.ForEach(hash, [&](std::uint32_t at) {
      is_known = rows_[at].key == packed;
      if (is_known) recent = at;
      return !is_known;
    });
    if (is_known) return;
    const bool is_stored = encode_before(scratch_);
    rows_.push_back({packed, is_stored ? std::make_unique<Row>(scratch_) : nullptr});
    recent = rows_.size() - 1;
    try {
      index_.Insert(hash, static_cast<std::uint32_t>(recent));
    } catch (...) {
      rows_.pop_back();
      throw;
    }
  }

  std::size_t TouchCount() const { return touch_count_; }
  // From now on each change is refused so.
  void RefuseChanges(std::string why, NCCFailure kind) {
    refusal_ = std::move(why);
    refusal_kind_ = kind;
  }
  void AcceptChanges() { refusal_.clear(); }
  bool RefusesChanges() const { return !refusal_.empty(); }

  bool HasChanges() const { return !rows_.empty(); }
  // Calls visit(key) for each row that was touched, in no order.
  template <class Visit>
  void ForEachTouched(Visit visit) const {
    for (const Touched& row : rows_) visit(Unpack(row.key));
  }
  // Calls visit(key, row as it was stored) for the same, in the order of touching; null for a row
  // that was not.
  template <class Visit>
  void ForEachFormer(Visit visit) const {
    for (const Touched& row : rows_) visit(Unpack(row.key), row.before.get());
  }

  // Keeps the beginning of the first reason; needs no memory.
  void Fail(std::string_view why) noexcept {
    if (HasFailed()) return;
    const std::size_t length = std::min(why.size(), failure_.size() - 1);
    std::copy_n(why.data(), length, failure_.data());
    failure_[length] = '\0';
  }
  bool HasFailed() const { return failure_[0] != '\0'; }
  const char* Failure() const { return failure_.data(); }

  // Whether any row differs from what is stored. `encode_now` fills in the present row and says
  // whether there is one. New rows are asked first: most units have one, and it is short.
  template <class EncodeNow>
  bool HasDifference(EncodeNow encode_now) {
    for (const bool is_stored : {false, true}) {
      for (const Touched& row : rows_) {
        if ((row.before != nullptr) != is_stored) continue;
        if (Differs(row, encode_now(Unpack(row.key), scratch_))) return true;
      }
    }
    return false;
  }

  // Calls visit(change) for each row that differs, ascending by key. Nothing may be touched any
  // more then.
  template <class EncodeNow, class Visit>
  void ForEachChange(EncodeNow encode_now, Visit visit) {
    SortRows();
    for (const Touched& row : rows_) {
      const RowKey key = Unpack(row.key);
      const bool is_there = encode_now(key, scratch_);
      if (!Differs(row, is_there)) continue;
      const Row* const now = is_there ? &scratch_ : nullptr;
      visit(RowChange{key, row.before.get(), now, is_there ? SumOf(scratch_) : 0});
    }
  }

  // The rows that were touched as they were before, ascending by key. They are not known any more
  // then.
  std::vector<KeyedRow> TakeBefore() {
    SortRows();
    std::vector<KeyedRow> rows;
    rows.reserve(rows_.size());
    for (Touched& row : rows_) {
      rows.push_back({Unpack(row.key), std::nullopt});
      if (row.before) rows.back().row = std::move(*row.before);
    }
    return rows;
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
    std::uint64_t key;            // packed
    std::unique_ptr<Row> before;  // null: not stored yet
  };

  void SortRows() {
    const auto by_key = [](const Touched& one, const Touched& other) {
      return one.key < other.key;
    };
    std::sort(rows_.begin(), rows_.end(), by_key);
  }

  // Whether the row that was encoded last, where it is there, is another than before.
  bool Differs(const Touched& row, bool is_there) const {
    return is_there ? !row.before || scratch_ != *row.before : row.before != nullptr;
  }

  std::vector<Touched> rows_;
  FlatIndex index_;                       // of the rows, by their keys
  Row scratch_;                           // what was encoded last
  std::array<std::size_t, 32> recent_{};  // rows that were touched last: most are touched again
  std::array<char, 256> failure_{};       // empty: none
  std::string refusal_;                   // empty: changes are accepted
  NCCFailure refusal_kind_ = NCCFailure::kOther;
  std::size_t touch_count_ = 0;
  int depth_ = 0;
};

}  // namespace ncc
