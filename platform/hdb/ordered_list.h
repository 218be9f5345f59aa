// The one list structure of the database: folder entries, id lists and further values of a record
// are each an OrderedList.
#pragma once

#include "platform/hdb/flat_index.h"
#include "platform/storage/engine.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <vector>

namespace ncc {

inline constexpr std::uint32_t kSlotsPerChunk = 64;
inline constexpr std::uint32_t kNoPosition = 0xFFFFFFFF;

// Keeps the order of appending. Every element has a position that no removal changes and no later
// element gets again while the list is in memory, so a walk by AtOrAfter survives removals and
// meets what is appended. Elements are stored in chunks of 64 positions, the unit in which they are
// written.
//
// The list itself is a pointer: to nothing before the first element, to its only chunk, which has
// no more room than its elements need, or to a table of chunks and an index. Append is O(1), Find
// O(1) (for a key that stands in the list once), Remove O(log n) and a little of moving when a
// chunk becomes empty.
//
// T has `std::uint64_t Key() const`, and one value of it, T::Hole(), stands for a removed element.
template <class T>
class OrderedList {
  static_assert(std::is_trivially_copyable_v<T> && alignof(T) <= alignof(std::uint32_t));

 public:
  OrderedList() = default;
  ~OrderedList() { Clear(); }
  OrderedList(const OrderedList&) = delete;
  OrderedList& operator=(const OrderedList&) = delete;

  void Clear() noexcept {
    if (IsLong()) {
      delete &Table();
    } else if (head_ != nullptr) {
      FreeChunk()(&Only());
    }
    head_ = nullptr;
  }

  std::size_t Size() const {
    if (head_ == nullptr) return 0;
    return IsLong() ? Table().size : Only().live;
  }

  // The position that the next Append gives.
  std::uint32_t EndPosition() const { return head_ != nullptr ? Last().First() + Last().count : 0; }

  // First element at this position or behind it; kNoPosition when there is none.
  std::uint32_t AtOrAfter(std::uint32_t position) const {
    if (!IsLong()) return head_ != nullptr ? Only().AtOrAfter(position) : kNoPosition;
    const auto& chunks = Table().chunks;
    for (auto i = Table().LowerBound(position / kSlotsPerChunk); i < chunks.size(); ++i) {
      const std::uint32_t found = chunks[i]->AtOrAfter(position);
      if (found != kNoPosition) return found;
    }
    return kNoPosition;
  }
  std::uint32_t First() const { return AtOrAfter(0); }
  std::uint32_t Next(std::uint32_t position) const { return AtOrAfter(position + 1); }

  bool Has(std::uint32_t position) const { return AtOrAfter(position) == position; }
  const T& At(std::uint32_t position) const {
    return FindChunk(position / kSlotsPerChunk)->Slots()[position % kSlotsPerChunk];
  }
  T& At(std::uint32_t position) {
    return FindChunk(position / kSlotsPerChunk)->Slots()[position % kSlotsPerChunk];
  }

  std::uint32_t Append(const T& element) {
    const std::uint32_t position = EndPosition();
    if (position == kNoPosition) throw StorageError("a list has used up its positions");
    Chunk& chunk = MakeRoom(position);
    chunk.Slots()[chunk.count++] = element;
    ++chunk.live;
    if (IsLong()) Table().Insert(element, position);
    return position;
  }

  void Remove(std::uint32_t position) {
    Chunk& chunk = *FindChunk(position / kSlotsPerChunk);
    T& slot = chunk.Slots()[position % kSlotsPerChunk];
    if (IsLong()) Table().Remove(slot, position);
    slot = T::Hole();
    --chunk.live;
    // The last one stays: it knows the position at which the list goes on.
    if (chunk.live == 0 && IsLong() && &chunk != &Last()) Table().Erase(chunk.number);
  }

  // First position of the key; kNoPosition when it is not there.
  std::uint32_t Find(std::uint64_t key) const {
    if (!IsLong()) return head_ != nullptr ? Only().Find(key) : kNoPosition;
    std::uint32_t found = kNoPosition;
    Table().index.ForEach(HashKey(key), [&](std::uint32_t position) {
      if (position < found && At(position).Key() == key) found = position;
      return true;
    });
    return found;
  }

  // The slots of a chunk, the holes among them; none when none of them holds an element.
  std::span<const T> SlotsOf(std::uint32_t number) const {
    const Chunk* chunk = FindChunk(number);
    if (chunk == nullptr || chunk->live == 0) return {};
    return {chunk->Slots(), chunk->count};
  }
  template <class Visit>
  void ForEachChunk(Visit visit) const {
    if (!IsLong()) {
      if (head_ != nullptr) visit(Only().number);
      return;
    }
    for (const auto& chunk : Table().chunks) visit(chunk->number);
  }

  // Puts what is stored in the place of a chunk; without slots the chunk goes.
  void SetChunk(std::uint32_t number, std::span<const T> slots) {
    if (number >= kNoPosition / kSlotsPerChunk) {
      throw StorageError("database is damaged: a list is too long");
    }
    ChunkPtr chunk = slots.empty() ? nullptr : FilledChunk(number, slots);
    if (IsLong()) {
      Table().Put(number, std::move(chunk));
      if (Table().chunks.empty()) Clear();
    } else if (head_ == nullptr || Only().number == number) {
      Clear();
      head_ = chunk.release();
    } else if (chunk) {
      MakeTable();
      Table().Put(number, std::move(chunk));
    }
  }

 private:
  static constexpr std::uint32_t kTable = 0xFFFFFFFF;  // in place of a chunk's number

  struct Head {
    std::uint32_t number;
  };

  // Its slots follow it in memory.
  struct Chunk : Head {
    std::uint8_t capacity = 0;
    std::uint8_t count = 0;  // slots from the first one to the last that ever held an element
    std::uint8_t live = 0;   // those that hold one

    const T* Slots() const { return reinterpret_cast<const T*>(this + 1); }
    T* Slots() { return reinterpret_cast<T*>(this + 1); }
    std::uint32_t First() const { return this->number * kSlotsPerChunk; }

    std::uint32_t AtOrAfter(std::uint32_t position) const {
      const std::uint32_t first = First();
      for (std::uint32_t slot = position > first ? position - first : 0; slot < count; ++slot) {
        if (!Slots()[slot].IsHole()) return first + slot;
      }
      return kNoPosition;
    }
    // visit(element, position)
    template <class Visit>
    void ForEach(Visit visit) const {
      for (std::uint32_t slot = 0; slot < count; ++slot) {
        if (!Slots()[slot].IsHole()) visit(Slots()[slot], First() + slot);
      }
    }
    std::uint32_t Find(std::uint64_t key) const {
      for (std::uint32_t slot = 0; slot < count; ++slot) {
        if (Slots()[slot].Key() == key && !Slots()[slot].IsHole()) return First() + slot;
      }
      return kNoPosition;
    }
  };
  struct FreeChunk {
    void operator()(Chunk* chunk) const { ::operator delete(chunk); }
  };
  using ChunkPtr = std::unique_ptr<Chunk, FreeChunk>;

  struct ChunkTable : Head {
    ChunkTable() : Head{kTable} {}

    std::size_t LowerBound(std::uint32_t wanted) const {
      if (wanted < chunks.size() && chunks[wanted]->number == wanted) return wanted;
      const auto found =
          std::lower_bound(chunks.begin(), chunks.end(), wanted,
                           [](const ChunkPtr& chunk, auto n) { return chunk->number < n; });
      return static_cast<std::size_t>(found - chunks.begin());
    }
    void Insert(const T& element, std::uint32_t position) {
      index.Insert(HashKey(element.Key()), position);
      ++size;
    }
    void Remove(const T& element, std::uint32_t position) {
      index.Remove(HashKey(element.Key()), position);
      --size;
    }
    void Erase(std::uint32_t unwanted) {
      chunks.erase(chunks.begin() + static_cast<std::ptrdiff_t>(LowerBound(unwanted)));
    }
    // Null: without it.
    void Put(std::uint32_t which, ChunkPtr chunk) {
      const std::size_t at = LowerBound(which);
      if (at < chunks.size() && chunks[at]->number == which) {
        chunks[at]->ForEach([&](const T& slot, std::uint32_t where) { Remove(slot, where); });
        Erase(which);
      }
      if (!chunk) return;
      chunk->ForEach([&](const T& slot, std::uint32_t where) { Insert(slot, where); });
      chunks.insert(chunks.begin() + static_cast<std::ptrdiff_t>(at), std::move(chunk));
    }

    std::vector<ChunkPtr> chunks;  // ascending numbers; each but the last one has an element
    FlatIndex index;
    std::size_t size = 0;
  };

  bool IsLong() const { return head_ != nullptr && head_->number == kTable; }
  Chunk& Only() const { return *static_cast<Chunk*>(head_); }
  ChunkTable& Table() const { return *static_cast<ChunkTable*>(head_); }
  Chunk& Last() const { return IsLong() ? *Table().chunks.back() : Only(); }

  // Null when there is none.
  Chunk* FindChunk(std::uint32_t number) const {
    if (!IsLong()) return head_ != nullptr && head_->number == number ? &Only() : nullptr;
    const auto& chunks = Table().chunks;
    const std::size_t at = Table().LowerBound(number);
    return at < chunks.size() && chunks[at]->number == number ? chunks[at].get() : nullptr;
  }

  // Room for as many slots, and for what the allocator rounds them up to.
  static ChunkPtr NewChunk(std::uint32_t number, std::size_t slots) {
    constexpr std::size_t kStep = 16;
    constexpr std::size_t kOverhead = 8;
    const std::size_t needed = sizeof(Chunk) + slots * sizeof(T) + kOverhead;
    const std::size_t bytes = std::max<std::size_t>((needed + kStep - 1) / kStep, 2) * kStep;
    const std::size_t room = (bytes - kOverhead - sizeof(Chunk)) / sizeof(T);
    ChunkPtr chunk(::new (::operator new(bytes - kOverhead)) Chunk{{number}});
    chunk->capacity = static_cast<std::uint8_t>(std::min<std::size_t>(room, kSlotsPerChunk));
    return chunk;
  }

  static ChunkPtr FilledChunk(std::uint32_t number, std::span<const T> slots) {
    ChunkPtr chunk = NewChunk(number, slots.size());
    std::copy(slots.begin(), slots.end(), chunk->Slots());
    chunk->count = static_cast<std::uint8_t>(slots.size());
    chunk->live = static_cast<std::uint8_t>(
        std::ranges::count_if(slots, [](const T& slot) { return !slot.IsHole(); }));
    return chunk;
  }

  // The chunk in which this position, the next one, has room.
  Chunk& MakeRoom(std::uint32_t position) {
    if (position % kSlotsPerChunk == 0) return AddChunk(position / kSlotsPerChunk, 1);
    Chunk& full = Last();
    if (full.count < full.capacity) return full;
    const std::size_t slots = full.count + 1U + full.count / 4U;
    ChunkPtr larger = NewChunk(full.number, std::min<std::size_t>(slots, kSlotsPerChunk));
    std::copy_n(full.Slots(), full.count, larger->Slots());
    larger->count = full.count;
    larger->live = full.live;
    if (IsLong()) {
      Table().chunks.back() = std::move(larger);
    } else {
      FreeChunk()(&Only());
      head_ = larger.release();
    }
    return Last();
  }

  Chunk& AddChunk(std::uint32_t number, std::size_t slots) {
    ChunkPtr chunk = NewChunk(number, slots);
    if (head_ == nullptr) {
      head_ = chunk.release();
      return Only();
    }
    if (!IsLong()) MakeTable();
    auto& chunks = Table().chunks;
    if (chunks.back()->live == 0) chunks.pop_back();
    chunks.push_back(std::move(chunk));
    return *chunks.back();
  }

  void MakeTable() {
    auto table = std::make_unique<ChunkTable>();
    table->chunks.reserve(2);
    Only().ForEach([&](const T& slot, std::uint32_t where) { table->Insert(slot, where); });
    table->chunks.emplace_back(&Only());
    head_ = table.release();
  }

  Head* head_ = nullptr;
};

}  // namespace ncc
