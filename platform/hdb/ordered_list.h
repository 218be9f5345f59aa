// The one list structure of the database: folder entries, id lists and further values of a record
// are each an OrderedList.
#pragma once

#include "platform/hdb/flat_index.h"
#include "platform/storage/engine.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace ncc {

inline constexpr std::uint32_t kSlotsPerChunk = 64;
inline constexpr std::uint32_t kNoPosition = 0xFFFFFFFF;

// Keeps the order of appending. Every element has a position that no removal changes and no later
// element gets again while the list is in memory, so a walk by AtOrAfter survives removals and
// meets what is appended. Elements are stored in chunks of 64 positions, the unit in which they are
// written.
//
// Append is O(1), Find O(1) (for a key that stands in the list once), Remove O(log n) and a little
// of moving when a chunk becomes empty. T has a member `std::uint64_t Key() const`.
template <class T>
class OrderedList {
 public:
  struct Chunk {
    std::uint32_t number = 0;
    std::uint64_t live = 0;  // bit k: slot k holds an element
    std::vector<T> slots;
  };

  std::size_t Size() const { return size_; }

  // The position that the next Append gives.
  std::uint32_t EndPosition() const { return end_; }

  // First element at this position or behind it; kNoPosition when there is none.
  std::uint32_t AtOrAfter(std::uint32_t position) const {
    auto chunk = LowerBound(position / kSlotsPerChunk);
    if (chunk == chunks_.end()) return kNoPosition;
    std::uint64_t live = chunk->live;
    if (chunk->number == position / kSlotsPerChunk) live &= ~0ULL << (position % kSlotsPerChunk);
    while (live == 0) {
      if (++chunk == chunks_.end()) return kNoPosition;
      live = chunk->live;
    }
    return chunk->number * kSlotsPerChunk + static_cast<std::uint32_t>(std::countr_zero(live));
  }
  std::uint32_t First() const { return AtOrAfter(0); }
  std::uint32_t Next(std::uint32_t position) const { return AtOrAfter(position + 1); }

  bool Has(std::uint32_t position) const { return AtOrAfter(position) == position; }
  const T& At(std::uint32_t position) const {
    return LowerBound(position / kSlotsPerChunk)->slots[position % kSlotsPerChunk];
  }
  T& At(std::uint32_t position) { return const_cast<T&>(std::as_const(*this).At(position)); }

  std::uint32_t Append(T element) {
    if (end_ == kNoPosition) throw StorageError("a list has used up its positions");
    const std::uint32_t position = end_;
    const std::uint32_t number = position / kSlotsPerChunk;
    if (chunks_.empty() || chunks_.back().number != number) chunks_.push_back({number, 0, {}});
    Chunk& chunk = chunks_.back();
    chunk.slots.resize(position % kSlotsPerChunk);
    chunk.slots.push_back(std::move(element));
    chunk.live |= 1ULL << (position % kSlotsPerChunk);
    ++end_;
    ++size_;
    AddToIndex(position);
    return position;
  }

  void Remove(std::uint32_t position) {
    auto chunk = LowerBound(position / kSlotsPerChunk);
    const std::uint32_t slot = position % kSlotsPerChunk;
    if (index_) index_->Remove(HashKey(chunk->slots[slot].Key()), position);
    chunk->slots[slot] = T{};
    chunk->live &= ~(1ULL << slot);
    --size_;
    if (chunk->live == 0) chunks_.erase(chunk);
  }

  // First position of the key; kNoPosition when it is not there.
  std::uint32_t Find(std::uint64_t key) const {
    if (!index_) {
      for (auto at = First(); at != kNoPosition; at = Next(at)) {
        if (At(at).Key() == key) return at;
      }
      return kNoPosition;
    }
    std::uint32_t found = kNoPosition;
    index_->ForEach(HashKey(key), [&](std::uint32_t position) {
      if (position < found && At(position).Key() == key) found = position;
      return true;
    });
    return found;
  }

  // Null when no position of the chunk holds an element.
  const Chunk* FindChunk(std::uint32_t number) const {
    auto chunk = LowerBound(number);
    return chunk != chunks_.end() && chunk->number == number ? &*chunk : nullptr;
  }
  const std::vector<Chunk>& Chunks() const { return chunks_; }

  // Adds a stored chunk; chunks come in ascending order and hold an element each.
  void AppendChunk(Chunk chunk) {
    if (chunk.number >= kNoPosition / kSlotsPerChunk) {
      throw StorageError("database is damaged: a list is too long");
    }
    const std::uint32_t base = chunk.number * kSlotsPerChunk;
    end_ = base + static_cast<std::uint32_t>(chunk.slots.size());
    size_ += static_cast<std::size_t>(std::popcount(chunk.live));
    chunks_.push_back(std::move(chunk));
    for (auto at = AtOrAfter(base); at != kNoPosition; at = Next(at)) AddToIndex(at);
  }

 private:
  // Shorter lists are searched faster by looking at each element.
  static constexpr std::size_t kIndexFrom = 16;

  auto LowerBound(std::uint32_t number) const {
    if (number < chunks_.size() && chunks_[number].number == number) {
      return chunks_.begin() + static_cast<std::ptrdiff_t>(number);
    }
    return std::lower_bound(chunks_.begin(), chunks_.end(), number,
                            [](const Chunk& chunk, std::uint32_t n) { return chunk.number < n; });
  }
  auto LowerBound(std::uint32_t number) {
    return chunks_.begin() + (std::as_const(*this).LowerBound(number) - chunks_.cbegin());
  }

  void AddToIndex(std::uint32_t position) {
    if (index_) {
      index_->Insert(HashKey(At(position).Key()), position);
    } else if (size_ > kIndexFrom) {
      index_ = std::make_unique<FlatIndex>();
      for (auto at = First(); at != kNoPosition; at = Next(at)) {
        index_->Insert(HashKey(At(at).Key()), at);
        if (at == position) break;
      }
    }
  }

  std::vector<Chunk> chunks_;  // ascending numbers, each with an element
  std::unique_ptr<FlatIndex> index_;
  std::size_t size_ = 0;
  std::uint32_t end_ = 0;
};

}  // namespace ncc
