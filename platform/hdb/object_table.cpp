#include "platform/hdb/object_table.h"

namespace ncc {

CHDBRecord* ObjectTable::FindDisplaced(std::uint32_t number) const {
  const auto found = displaced_.find(number);
  return found != displaced_.end() ? found->second.get() : nullptr;
}

TRef<CHDBRecord> ObjectTable::Open(std::uint32_t number) const {
  CHDBRecord* const object = Find(number);
  if (object == nullptr) return nullptr;
  const auto displaced = displaced_.find(number);
  if (displaced != displaced_.end()) return displaced->second;
  return {*slabs_.Find(number / kSlab), object};
}

CHDBRecord& ObjectTable::Create(ObjectOwner& owner, std::uint32_t number) {
  std::shared_ptr<Slab>& slab = slabs_.At(number / kSlab);
  if (!slab) slab = std::make_shared<Slab>();
  CHDBRecord* place = &(*slab)[number % kSlab];
  if (place->WasTaken() && slab.use_count() > 1) {
    place = (displaced_[number] = std::make_shared<CHDBRecord>()).get();
  } else if (place->WasTaken()) {
    std::destroy_at(place);
    std::construct_at(place);
  }
  place->Take(owner, number);
  return *place;
}

void ObjectTable::Remove(std::uint32_t number) {
  Find(number)->Retire();
  displaced_.erase(number);
}

void ObjectTable::Clear() noexcept {
  ForEach([](CHDBRecord& object) { object.LetGo(); });
  slabs_.Clear();
  displaced_.clear();
}

}  // namespace ncc
