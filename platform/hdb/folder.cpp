#include "platform/hdb/folder.h"

#include "platform/hdb/base.h"

#include <utility>

using ncc::StorageError;

namespace {

constexpr std::uint8_t kEntryList = 0;

}  // namespace

CHDBase& CHDBFolder::Base() const {
  if (base_ == nullptr) throw StorageError("a folder was used after it was removed or reloaded");
  return *base_;
}

const CHDBEntryList& CHDBFolder::Empty() {
  static const CHDBEntryList kEmpty;
  return kEmpty;
}

std::string_view CHDBFolder::EntryName(std::uint32_t position) const {
  const CHDBFolderEntry& entry = Entries().At(position);
  if (entry.Label() != nullptr) return *entry.Label();
  return Base().Object(entry.Object()).record.Name();
}

void CHDBFolder::Append(const TDBObjId& object, std::uint8_t kind, std::string_view name) {
  CHDBase& base = Base();
  const std::string_view own_name = base.Object(object).record.Name();
  if (!entries_) entries_ = std::make_unique<CHDBEntryList>();
  base.TouchChunk(number_, kEntryList, entries_->EndPosition());
  base.AddParent(object.number, number_);
  if (name == own_name) {
    entries_->Append(CHDBFolderEntry(object, kind));
  } else {
    entries_->Append(CHDBFolderEntry(object, kind, name));
  }
}

void CHDBFolder::Remove(std::uint32_t position) {
  CHDBase& base = Base();
  base.TouchChunk(number_, kEntryList, position);
  const std::uint32_t child = entries_->At(position).Object().number;
  entries_->Remove(position);
  base.RemoveParent(child, *this);
}

void CHDBFolder::Rename(std::uint32_t position, std::string_view name) {
  CHDBFolderEntry& entry = entries_->At(position);
  if (EntryName(position) == name) {
    // The target may have taken the name since: then the entry needs none of its own.
    if (entry.Label() == nullptr || Base().Object(entry.Object()).record.Name() != name) return;
  }
  Base().TouchChunk(number_, kEntryList, position);
  const bool own = Base().Object(entry.Object()).record.Name() == name;
  entry.label_ = own ? nullptr : std::make_unique<std::string>(name);
}

TRef<CHDBFolder> CHDBFolderManager::FolderCreateRoot(std::uint32_t) {
  return FolderCreate(ncc::kRootNumber);
}

TRef<CHDBFolder> CHDBFolderManager::FolderOpenRoot(std::uint32_t space) {
  return FolderOpen({space, ncc::kRootNumber});
}

TRef<CHDBFolder> CHDBFolderManager::FolderCreate(std::uint32_t number) {
  auto& slot = base_.objects_.At(number);
  if (slot) throw StorageError("object " + std::to_string(number) + " exists");
  auto object = std::make_shared<CHDBObject>(&base_, number);
  base_.TouchObject(object->record);
  slot = std::move(object);
  return base_.FolderRef(number);
}

TRef<CHDBFolder> CHDBFolderManager::FolderOpen(const TDBObjId& id) {
  if (id.space != ncc::kFolderSpace || base_.FindObject(id.number) == nullptr) {
    throw StorageError("folder " + std::to_string(id.number) + " is missing");
  }
  return base_.FolderRef(id.number);
}

void CHDBFolderManager::FolderRemove(const TDBObjId& id) {
  const TRef<CHDBFolder> folder = FolderOpen(id);
  const TRef<CHDBObject> object = base_.objects_.At(id.number);
  if (object->record.exists_) CHDBRecordManager(base_).RecRemove(folder->RecordId());
  const auto& entries = folder->Entries();
  for (auto at = entries.First(); at != ncc::kNoPosition; at = entries.Next(at)) folder->Remove(at);
  base_.TouchObject(object->record);
  folder->base_ = nullptr;
  object->record.base_ = nullptr;
  base_.objects_.At(id.number).reset();
}
