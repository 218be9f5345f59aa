// A flat hash table from a 32-bit hash to 32-bit values; equal hashes may stand in it many times.
// The caller compares the keys, which the table does not hold.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ncc {

// Open addressing with linear probing; a removal shifts the run behind it back, so nothing wears
// out.
class FlatIndex {
 public:
  bool IsEmpty() const { return count_ == 0; }
  void Clear() {
    slots_.clear();
    count_ = 0;
  }

  void Insert(std::uint32_t hash, std::uint32_t value) {
    if ((count_ + 1) * 8 > slots_.size() * 7) Reserve(count_ + 1);
    Place({hash, value});
    ++count_;
  }

  // Room for that many values.
  void Reserve(std::size_t count) {
    std::size_t slots = std::max(slots_.size(), kFewestSlots);
    while (slots * 7 < count * 8) slots *= 2;
    if (slots == slots_.size()) return;
    std::vector<Slot> old(slots);
    old.swap(slots_);
    for (const Slot& slot : old) {
      if (slot.value != kEmpty) Place(slot);
    }
  }

  // The pair must be there.
  void Remove(std::uint32_t hash, std::uint32_t value) {
    std::size_t at = Home(hash);
    while (!(slots_[at].hash == hash && slots_[at].value == value)) at = Next(at);
    for (std::size_t next = Next(at); slots_[next].value != kEmpty; next = Next(next)) {
      const std::size_t home = Home(slots_[next].hash);
      const bool may_move = ((next - home) & Mask()) >= ((next - at) & Mask());
      if (may_move) {
        slots_[at] = slots_[next];
        at = next;
      }
    }
    slots_[at] = Slot{};
    --count_;
  }

  // Calls visit(value) for each value under the hash, until it returns false.
  template <class Visit>
  void ForEach(std::uint32_t hash, Visit visit) const {
    if (slots_.empty()) return;
    for (std::size_t at = Home(hash); slots_[at].value != kEmpty; at = Next(at)) {
      if (slots_[at].hash == hash && !visit(slots_[at].value)) return;
    }
  }

 private:
  static constexpr std::uint32_t kEmpty =
      0xFFFFFFFF;  // never a value: no position, no object's number
  static constexpr std::size_t kFewestSlots = 32;

  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t value = kEmpty;
  };

  std::size_t Mask() const { return slots_.size() - 1; }
  std::size_t Home(std::uint32_t hash) const { return hash & Mask(); }
  std::size_t Next(std::size_t at) const { return (at + 1) & Mask(); }

  void Place(Slot slot) {
    std::size_t at = Home(slot.hash);
    while (slots_[at].value != kEmpty) at = Next(at);
    slots_[at] = slot;
  }

  std::vector<Slot> slots_;
  std::size_t count_ = 0;
};

// Mixes a 64-bit key down to the hash that the table wants.
constexpr std::uint32_t HashKey(std::uint64_t key) {
  key *= 0x9E3779B97F4A7C15ULL;
  return static_cast<std::uint32_t>(key >> 32);
}

}  // namespace ncc
