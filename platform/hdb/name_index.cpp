#include "platform/hdb/name_index.h"

namespace ncc {

std::uint32_t NameIndex::First(std::uint32_t hash, std::uint32_t type,
                               std::string_view name) const {
  std::uint32_t first = kNone;
  table_.ForEach(hash, [&](std::uint32_t number) {
    const CHDBRecord& record = *objects_.Find(number);
    if (record.Type() != type || !EqualFolded(record.Name(), name)) return true;
    first = number;
    return false;
  });
  return first;
}

void NameIndex::Insert(const CHDBRecord& record) {
  const std::uint32_t number = record.Number();
  const std::uint32_t hash = HashFolded(record.Name(), record.Type());
  const std::uint32_t first = First(hash, record.Type(), record.Name());
  if (first == kNone) {
    table_.Insert(hash, number);
    return;
  }
  const std::uint32_t second = Next(first);
  chains_[number] = {first, second};  // the new one becomes the second
  chains_[first].next = number;
  if (second != kNone) chains_[second].previous = number;
}

void NameIndex::Remove(const CHDBRecord& record) {
  Neighbours around;
  if (const auto found = chains_.find(record.Number()); found != chains_.end()) {
    around = found->second;
    chains_.erase(found);
  }
  if (around.next != kNone) chains_[around.next].previous = around.previous;
  if (around.previous != kNone) {
    chains_[around.previous].next = around.next;
    return;
  }
  const std::uint32_t hash = HashFolded(record.Name(), record.Type());
  table_.Remove(hash, record.Number());
  if (around.next != kNone) table_.Insert(hash, around.next);
}

void NameIndex::Clear() noexcept {
  table_.Clear();
  chains_.clear();
}

}  // namespace ncc
