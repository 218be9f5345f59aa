#include "platform/hdb/record.h"

#include "platform/hdb/base.h"

#include <algorithm>
#include <cstring>

using ncc::StorageError;

namespace {

const ncc::IdList& EmptyList() {
  static const ncc::IdList kEmpty;
  return kEmpty;
}

std::size_t ListIndex(int position) {
  if (position < ncc::kFirstListPosition || position > ncc::kLastListPosition) {
    throw StorageError("a record has no list at value " + std::to_string(position));
  }
  return static_cast<std::size_t>(position - ncc::kFirstListPosition);
}

// Number of a list within the rows of its object; 0 are the folder's entries.
std::uint8_t RowList(std::size_t index) { return static_cast<std::uint8_t>(index + 1); }
constexpr std::uint8_t kPairRowList = 4;

}  // namespace

CHDBase& CHDBRecord::Base() const {
  if (base_ == nullptr) throw StorageError("a record was used after it was removed or reloaded");
  return *base_;
}

void CHDBRecord::SetData(std::string_view data) {
  if (data.size() > ncc::kMaxDataSize) throw StorageError("a data image has more than 80 bytes");
  if (data == Data()) return;
  Base().TouchObject(*this);
  PutData(data);
}

// The name stays what it is: when the new image begins with another one it is kept apart.
void CHDBRecord::PutData(std::string_view data) {
  const bool name_stays = !own_name_ && data.size() > name_size_ && data.starts_with(Name()) &&
                          data[name_size_] == '\0';
  const std::string name(name_stays ? std::string_view() : Name());
  std::memcpy(data_.data(), data.data(), data.size());
  data_size_ = static_cast<std::uint8_t>(data.size());
  if (!name_stays) PutName(name);
}

void CHDBRecord::PutName(std::string_view name) {
  const bool in_data = name.empty() || (name.size() < data_size_ && Data().starts_with(name) &&
                                        data_[name.size()] == '\0');
  if (in_data) {
    name_size_ = static_cast<std::uint8_t>(name.size());
    own_name_.reset();
  } else {
    own_name_ = std::make_unique<std::string>(name);
  }
}

void CHDBRecord::SetName(std::string_view name) {
  if (name == Name()) return;
  Base().TouchObject(*this);
  Base().UnindexRecord(*this);
  PutName(name);
  Base().IndexRecord(*this);
}

void CHDBRecord::SetType(std::uint32_t type) {
  if (type == type_) return;
  Base().TouchObject(*this);
  Base().UnindexRecord(*this);
  type_ = type;
  Base().IndexRecord(*this);
}

const ncc::IdList& CHDBRecord::List(int position) const {
  const auto& list = lists_[ListIndex(position)];
  return list ? *list : EmptyList();
}

bool CHDBRecord::AddToList(int position, const TDBObjId& object) {
  const std::size_t index = ListIndex(position);
  const ncc::IdListElement element{object};
  if (List(position).Find(element.Key()) != ncc::kNoPosition) return false;
  auto& list = lists_[index];
  if (!list) list = std::make_unique<ncc::IdList>();
  Base().TouchChunk(number_, RowList(index), list->EndPosition());
  list->Append(element);
  return true;
}

bool CHDBRecord::RemoveFromList(int position, std::uint32_t number) {
  const std::size_t index = ListIndex(position);
  const std::uint32_t at = List(position).Find(number);
  if (at == ncc::kNoPosition) return false;
  Base().TouchChunk(number_, RowList(index), at);
  lists_[index]->Remove(at);
  return true;
}

const ncc::PairList& CHDBRecord::Pairs() const {
  static const ncc::PairList kEmpty;
  return pairs_ ? *pairs_ : kEmpty;
}

void CHDBRecord::AppendPair(const ncc::PairValue& value) {
  if (!pairs_) pairs_ = std::make_unique<ncc::PairList>();
  Base().TouchChunk(number_, kPairRowList, pairs_->EndPosition());
  pairs_->Append(value);
}

void CHDBRecord::RemovePair(std::uint32_t at) {
  Base().TouchChunk(number_, kPairRowList, at);
  pairs_->Remove(at);
}

void CHDBRecord::SetPairKind(std::uint32_t at, std::uint8_t kind) {
  if (pairs_->At(at).kind == kind) return;
  Base().TouchChunk(number_, kPairRowList, at);
  pairs_->At(at).kind = kind;
}

void CHDBList::Append(const CHDBVal& value) {
  using namespace ncc;
  struct Layout {
    std::uint32_t kind;
    std::uint32_t attribute;
  };
  static constexpr std::array<Layout, 7> kLayout = {{{kDataValue, 0},
                                                     {kNumberValue, kIdAttribute},
                                                     {kStringValue, kNameAttribute},
                                                     {kNumberValue, kTypeAttribute},
                                                     {kListValue, 0},
                                                     {kListValue, 0},
                                                     {kListValue, 0}}};
  const auto at = static_cast<std::size_t>(next_);
  if (at >= kLayout.size() || value.kind != kLayout[at].kind ||
      value.attribute != kLayout[at].attribute) {
    throw StorageError("a record does not take this value at " + std::to_string(next_));
  }
  if (value.kind == kDataValue) record_->SetData(value.bytes);
  if (value.attribute == kNameAttribute) record_->SetName(value.bytes);
  if (value.attribute == kTypeAttribute) record_->SetType(value.number);
  if (value.attribute == kIdAttribute && value.number != record_->Number()) {
    throw StorageError("a record was given the identifier of another object");
  }
  ++next_;
}

TRef<CHDBRecord> CHDBRecordManager::RecCreate(const TDBObjId& id) {
  CHDBObject& object = base_.Object({ncc::kFolderSpace, id.number});
  if (object.record.exists_) throw StorageError("record " + std::to_string(id.number) + " exists");
  base_.TouchObject(object.record);
  object.record.exists_ = true;
  return base_.RecordRef(id.number);
}

TRef<CHDBRecord> CHDBRecordManager::RecOpen(const TDBObjId& id) {
  if (base_.FindRecord(id.number) == nullptr) {
    throw StorageError("record " + std::to_string(id.number) + " is missing");
  }
  return base_.RecordRef(id.number);
}

void CHDBRecordManager::RecRemove(const TDBObjId& id) {
  CHDBRecord& record = *RecOpen(id);
  base_.TouchObject(record);
  const auto drop = [&](auto& list, std::uint8_t row_list) {
    if (!list) return;
    for (const auto& chunk : list->Chunks()) {
      base_.TouchChunk(id.number, row_list, chunk.number * ncc::kSlotsPerChunk);
    }
    list.reset();
  };
  for (std::size_t i = 0; i < record.lists_.size(); ++i) drop(record.lists_[i], RowList(i));
  drop(record.pairs_, kPairRowList);
  base_.UnindexRecord(record);
  record.exists_ = false;
  record.base_ = nullptr;
}
