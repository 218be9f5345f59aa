// The objects of an open database by their numbers.
#pragma once

#include "platform/hdb/paged_table.h"
#include "platform/hdb/record.h"

#include <array>
#include <cstdint>
#include <memory>
#include <unordered_map>

namespace ncc {

// Objects stand in slabs, each at the place that its number gives it. A handle keeps the slab, so
// what it looks at is there as long as it is: an empty object when that one was removed, the object
// as it was when all of them were dropped.
class ObjectTable {
 public:
  ObjectTable() = default;
  ~ObjectTable() { Clear(); }
  ObjectTable(const ObjectTable&) = delete;
  ObjectTable& operator=(const ObjectTable&) = delete;

  // Null when there is none.
  CHDBRecord* Find(std::uint64_t number) const {
    if (number > 0xFFFFFFFF) return nullptr;
    const auto* slab = slabs_.Find(static_cast<std::uint32_t>(number / kSlab));
    if (slab == nullptr || *slab == nullptr) return nullptr;
    CHDBRecord& place = (**slab)[number % kSlab];
    if (place.IsAlive()) return &place;
    return displaced_.empty() ? nullptr : FindDisplaced(static_cast<std::uint32_t>(number));
  }
  TRef<CHDBRecord> Open(std::uint32_t number) const;

  // A new object, which must not be there.
  CHDBRecord& Create(ObjectOwner& owner, std::uint32_t number);
  void Remove(std::uint32_t number);
  void Clear() noexcept;

  // By ascending numbers, all but few.
  template <class Visit>
  void ForEach(Visit visit) const {
    slabs_.ForEach([&](const std::shared_ptr<Slab>& slab) {
      for (CHDBRecord& object : *slab) {
        if (object.IsAlive()) visit(object);
      }
    });
    for (const auto& [number, object] : displaced_) visit(*object);
  }

 private:
  static constexpr std::uint32_t kSlab = 64;
  using Slab = std::array<CHDBRecord, kSlab>;

  CHDBRecord* FindDisplaced(std::uint32_t number) const;

  PagedTable<std::shared_ptr<Slab>> slabs_;
  // Those whose number was another object's before, at which a handle may still look.
  std::unordered_map<std::uint32_t, std::shared_ptr<CHDBRecord>> displaced_;
};

}  // namespace ncc
