#include "platform/hdb/record.h"

#include "platform/hdb/base.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>

using ncc::StorageError;

namespace {

static_assert(sizeof(CHDBRecord) == 128, "two cache lines");

std::size_t ListIndex(int position) {
  if (position < ncc::kFirstListPosition || position > ncc::kLastListPosition) {
    throw StorageError("a record has no list at value " + std::to_string(position));
  }
  return static_cast<std::size_t>(position - ncc::kFirstListPosition);
}

}  // namespace

ncc::ObjectOwner& CHDBRecord::Owner() const {
  if (owner_ == nullptr || !has_record_) {
    throw StorageError("a record was used after it was removed or reloaded");
  }
  return *owner_;
}

void CHDBRecord::TouchValues() { Owner().Touch({ncc::RowKind::kObject, number_}); }

void CHDBRecord::TouchList(std::uint8_t list, std::uint32_t position) {
  Owner().Touch(ncc::RowOfChunk(number_, list, position / ncc::kSlotsPerChunk));
}

void CHDBRecord::TouchIdList(std::size_t index, std::uint32_t position) {
  TouchList(static_cast<std::uint8_t>(ncc::kFirstIdList + index), position);
}

// Values ----------------------------------------------------------------------------------------

void CHDBRecord::SetData(std::string_view data) {
  if (data.size() > ncc::kMaxDataSize) throw StorageError("a data image has more than 80 bytes");
  if (data == Data()) return;
  TouchValues();
  PutData(data);
}

// The name stays what it is: when the new image begins with another one it is kept apart.
void CHDBRecord::PutData(std::string_view data) {
  const bool name_stays = !has_own_name_ && data.size() > name_size_ && data.starts_with(Name()) &&
                          data[name_size_] == '\0';
  const std::string name(name_stays ? std::string_view() : Name());
  std::copy(data.begin(), data.end(), data_.begin());
  data_size_ = static_cast<std::uint8_t>(data.size() & 0x7F);
  if (!name_stays) PutName(name);
}

void CHDBRecord::PutName(std::string_view name) {
  const bool in_data = name.empty() || (name.size() < data_size_ && Data().starts_with(name) &&
                                        data_[name.size()] == '\0');
  if (in_data) {
    name_size_ = static_cast<std::uint8_t>(name.size());
    has_own_name_ = 0;
  } else {
    MakeRarities().name = std::make_unique<std::string>(name);
    has_own_name_ = 1;
  }
}

void CHDBRecord::SetName(std::string_view name) {
  if (name == Name()) return;
  TouchValues();
  Owner().Unindex(*this);
  PutName(name);
  Owner().Index(*this);
}

void CHDBRecord::SetType(std::uint32_t type) {
  if (type == type_) return;
  if (type > std::numeric_limits<std::uint8_t>::max()) {
    throw StorageError("a type code has more than 8 bits");
  }
  TouchValues();
  Owner().Unindex(*this);
  type_ = static_cast<std::uint8_t>(type);
  Owner().Index(*this);
}

// Lists -----------------------------------------------------------------------------------------

const ncc::IdList& CHDBRecord::List(int position) const {
  static const ncc::IdList kEmpty;
  const std::size_t index = ListIndex(position);
  return rarities_ ? rarities_->id_lists[index] : kEmpty;
}

bool CHDBRecord::AddToList(int position, const TDBObjId& object) {
  const std::size_t index = ListIndex(position);
  const ncc::IdListElement element{object};
  if (element.IsHole()) throw StorageError("an object of no space cannot be in a list");
  if (List(position).Find(element.Key()) != ncc::kNoPosition) return false;
  TouchIdList(index, List(position).EndPosition());
  MakeRarities().id_lists[index].Append(element);
  return true;
}

bool CHDBRecord::RemoveFromList(int position, std::uint32_t number) {
  const std::size_t index = ListIndex(position);
  const std::uint32_t at = List(position).Find(number);
  if (at == ncc::kNoPosition) return false;
  TouchIdList(index, at);
  rarities_->id_lists[index].Remove(at);
  return true;
}

void CHDBRecord::AppendPair(const ncc::PairValue& value) {
  TouchList(ncc::kPairList, pairs_.EndPosition());
  pairs_.Append(value);
}

void CHDBRecord::RemovePair(std::uint32_t at) {
  TouchList(ncc::kPairList, at);
  pairs_.Remove(at);
}

void CHDBRecord::SetPairKind(std::uint32_t at, std::uint8_t kind) {
  if (pairs_.At(at).kind == kind) return;
  TouchList(ncc::kPairList, at);
  pairs_.At(at).kind = kind;
}

// The whole record ------------------------------------------------------------------------------

void CHDBRecord::Create() {
  CHDBFolder::Owner().Touch({ncc::RowKind::kObject, number_});
  has_record_ = 1;
}

void CHDBRecord::Remove() {
  TouchValues();
  const auto drop = [this](auto& list, std::uint8_t number) {
    list.ForEachChunk([&](std::uint32_t chunk) { TouchList(number, chunk * ncc::kSlotsPerChunk); });
    list.Clear();
  };
  if (rarities_) {
    std::uint8_t number = ncc::kFirstIdList;
    for (ncc::IdList& list : rarities_->id_lists) drop(list, number++);
  }
  drop(pairs_, ncc::kPairList);
  Owner().Unindex(*this);
  type_ = 0;
  data_size_ = 0;
  PutName({});
  has_record_ = 0;
}

void CHDBRecord::Restore(std::uint32_t type, std::string_view name, std::string_view data) {
  if (data.size() > ncc::kMaxDataSize || type > std::numeric_limits<std::uint8_t>::max()) {
    throw StorageError("database is damaged: object " + std::to_string(number_) +
                       ": no object has such values");
  }
  PutData(data);
  PutName(name);
  type_ = static_cast<std::uint8_t>(type);
  has_record_ = number_ != ncc::kRootNumber;
}

void CHDBRecord::PutStored(int list, std::uint32_t chunk,
                           std::span<const ncc::IdListElement> elements) {
  MakeRarities().id_lists[ListIndex(list)].SetChunk(chunk, elements);
}

void CHDBRecord::PutStored(std::uint32_t chunk, std::span<const ncc::PairValue> values) {
  pairs_.SetChunk(chunk, values);
}

void CHDBRecord::DropStored(std::uint8_t list, std::uint32_t chunk) {
  if (list == ncc::kEntryList) {
    PutStored(chunk, std::span<const CHDBFolderEntry>(), {});
  } else if (list == ncc::kPairList) {
    pairs_.SetChunk(chunk, {});
  } else if (rarities_) {
    rarities_->id_lists.at(list - ncc::kFirstIdList).SetChunk(chunk, {});
  }
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
  TRef<CHDBRecord> record = base_.OpenObject(id.number);
  const std::string name = "record " + std::to_string(id.number);
  if (record == nullptr) throw StorageError(name + " has no folder to stand on");
  if (record->HasRecord()) throw StorageError(name + " exists");
  record->Create();
  return record;
}

TRef<CHDBRecord> CHDBRecordManager::RecOpen(const TDBObjId& id) {
  TRef<CHDBRecord> record = base_.OpenObject(id.number);
  if (record == nullptr || !record->HasRecord()) {
    throw StorageError("record " + std::to_string(id.number) + " is missing");
  }
  return record;
}

void CHDBRecordManager::RecRemove(const TDBObjId& id) { RecOpen(id)->Remove(); }
