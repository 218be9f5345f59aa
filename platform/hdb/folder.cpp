#include "platform/hdb/folder.h"

#include "platform/hdb/base.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

using ncc::StorageError;

CHDBObject::~CHDBObject() { Retire(); }

void CHDBObject::Retire() {
  LetGo();
  entries_.Clear();
  pairs_.Clear();
  rarities_.reset();
  type_ = name_size_ = 0;
  data_size_ = has_record_ = has_own_name_ = 0;
  if (!has_many_parents_) return;
  delete parents_.many;
  parents_.few = {};
  has_many_parents_ = 0;
}

ncc::ObjectOwner& CHDBFolder::Owner() const {
  if (owner_ == nullptr) throw StorageError("a folder was used after it was removed or reloaded");
  return *owner_;
}

void CHDBFolder::TouchEntry(std::uint32_t position) {
  Owner().Touch(ncc::RowOfChunk(number_, ncc::kEntryList, position / ncc::kSlotsPerChunk));
}

// Parents ---------------------------------------------------------------------------------------

std::span<const std::uint32_t> CHDBFolder::Parents() const {
  if (has_many_parents_) return *parents_.many;
  const auto& few = parents_.few;
  return {few.data(), static_cast<std::size_t>(std::ranges::count_if(few, std::identity{}))};
}

void CHDBFolder::AddParent(std::uint32_t parent) {
  const std::span<const std::uint32_t> known = Parents();
  const auto at = std::lower_bound(known.begin(), known.end(), parent);
  if (at != known.end() && *at == parent) return;
  const auto before = at - known.begin();
  if (!has_many_parents_ && known.size() == parents_.few.size()) {
    parents_.many = new std::vector<std::uint32_t>(known.begin(), known.end());
    has_many_parents_ = 1;
  }
  if (has_many_parents_) {
    parents_.many->insert(parents_.many->begin() + before, parent);
  } else {
    if (before == 0) parents_.few[1] = parents_.few[0];
    parents_.few[static_cast<std::size_t>(before)] = parent;
  }
}

void CHDBFolder::RemoveParent(std::uint32_t parent) {
  if (has_many_parents_) {
    std::erase(*parents_.many, parent);
  } else {
    const auto rest = std::remove(parents_.few.begin(), parents_.few.end(), parent);
    std::fill(rest, parents_.few.end(), 0);
  }
}

// Entries ---------------------------------------------------------------------------------------

const std::string* CHDBFolder::Label(std::uint32_t position) const {
  return entries_.At(position).HasLabel() ? &rarities_->labels->at(position) : nullptr;
}

std::string_view CHDBFolder::EntryName(std::uint32_t position) const {
  if (const std::string* label = Label(position); label != nullptr) return *label;
  return Owner().Object(entries_.At(position).Object().number).Name();
}

void CHDBFolder::Append(const TDBObjId& object, std::uint8_t kind, std::string_view name) {
  const CHDBFolderEntry entry(object, kind);
  if (entry.IsHole()) throw StorageError("an object of no space cannot be in a folder");
  CHDBRecord& child = Owner().Object(object.number);
  TouchEntry(entries_.EndPosition());
  child.AddParent(number_);
  const std::uint32_t position = entries_.Append(entry);
  if (name != child.Name()) PutLabel(position, name);
}

void CHDBFolder::Remove(std::uint32_t position) {
  TouchEntry(position);
  const CHDBFolderEntry entry = entries_.At(position);
  if (entry.HasLabel()) rarities_->labels->erase(position);
  entries_.Remove(position);
  const std::uint32_t number = entry.Object().number;
  for (const std::uint32_t space : {ncc::kFolderSpace, ncc::kRecordSpace}) {
    if (Find({space, number}) != ncc::kNoPosition) return;
  }
  CHDBFolder& child = Owner().Object(number);
  child.RemoveParent(number_);
}

void CHDBFolder::RemoveAll() {
  for (auto at = entries_.First(); at != ncc::kNoPosition; at = entries_.Next(at)) Remove(at);
  entries_.Clear();
}

void CHDBFolder::Rename(std::uint32_t position, std::string_view name) {
  // Where the target has the name, too, the entry needs none of its own.
  const bool has_label = entries_.At(position).HasLabel();
  const bool needs_label = name != Owner().Object(entries_.At(position).Object().number).Name();
  if (has_label == needs_label && EntryName(position) == name) return;
  TouchEntry(position);
  if (needs_label) {
    PutLabel(position, name);
  } else {
    const CHDBFolderEntry entry = entries_.At(position);
    entries_.At(position) = {entry.Object(), entry.Kind()};
    rarities_->labels->erase(position);
  }
}

void CHDBFolder::PutLabel(std::uint32_t position, std::string_view label) {
  auto& labels = MakeRarities().labels;
  if (!labels) labels = std::make_unique<Labels>();
  (*labels)[position] = label;
  const CHDBFolderEntry entry = entries_.At(position);
  entries_.At(position) = {entry.Object(), entry.Kind(), true};
}

void CHDBFolder::PutStored(std::uint32_t chunk, std::span<const CHDBFolderEntry> entries,
                           const Labels& labels) {
  if (rarities_ && rarities_->labels) {
    const auto from = rarities_->labels->lower_bound(chunk * ncc::kSlotsPerChunk);
    rarities_->labels->erase(from,
                             rarities_->labels->lower_bound((chunk + 1) * ncc::kSlotsPerChunk));
  }
  entries_.SetChunk(chunk, entries);
  for (const auto& [slot, label] : labels) {
    PutLabel(chunk * ncc::kSlotsPerChunk + slot, label);
  }
}

// Managing --------------------------------------------------------------------------------------

TRef<CHDBFolder> CHDBFolderManager::FolderCreateRoot(std::uint32_t) {
  return FolderCreate(ncc::kRootNumber);
}

TRef<CHDBFolder> CHDBFolderManager::FolderOpenRoot(std::uint32_t space) {
  return FolderOpen({space, ncc::kRootNumber});
}

TRef<CHDBFolder> CHDBFolderManager::FolderCreate(std::uint32_t number) {
  return base_.CreateObject(number);
}

TRef<CHDBFolder> CHDBFolderManager::FolderOpen(const TDBObjId& id) {
  const TRef<CHDBRecord> object = base_.OpenObject(id.number);
  if (id.space != ncc::kFolderSpace || object == nullptr) {
    throw StorageError("folder " + std::to_string(id.number) + " is missing");
  }
  return object;
}

void CHDBFolderManager::FolderRemove(const TDBObjId& id) {
  const TRef<CHDBFolder> folder = FolderOpen(id);
  if (folder->HasRecord()) CHDBRecordManager(base_).RecRemove(folder->RecordId());
  folder->RemoveAll();
  base_.RemoveObject(id.number);
}
