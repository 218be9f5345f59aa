#include "platform/hdb/base.h"

#include "platform/hdb/row_codec.h"
#include "platform/storage/copy.h"
#include "platform/text/code_page.h"

#include <utility>

using ncc::Row;
using ncc::RowDecoder;
using ncc::RowKey;
using ncc::RowKind;
using ncc::RowView;
using ncc::StorageError;

namespace {

[[noreturn]] void Damaged(std::uint32_t number, const char* fault) {
  throw StorageError("database is damaged: object " + std::to_string(number) + ": " + fault);
}

constexpr const char* kSnapshotRefusal =
    "this is a snapshot of the database: changes need the database itself";

ncc::OpenMode EngineMode(TDBMode mode) {
  if (mode == TDBMode::kFollow) return ncc::OpenMode::kFollow;
  return mode == TDBMode::kSnapshot ? ncc::OpenMode::kSnapshot : ncc::OpenMode::kOpen;
}

}  // namespace

CHDBase::CHDBase(CHDBMgr& manager, const std::string& path)
    : manager_(manager), engine_(manager.Engines()(path, {ncc::OpenMode::kCreate})) {}

CHDBase::CHDBase(CHDBMgr& manager, const std::string& path, TDBMode mode, bool accepts_loss)
    : CHDBase(manager, manager.Engines()(path, {EngineMode(mode), accepts_loss})) {
  if (mode == TDBMode::kSnapshot) unit_.RefuseChanges(kSnapshotRefusal, NCCFailure::kOther);
  if (mode == TDBMode::kFollow) BeFollowerOf(engine_->Owner().value_or(std::string()));
}

CHDBase::CHDBase(CHDBMgr& manager, std::unique_ptr<ncc::StorageEngine> engine)
    : manager_(manager), engine_(std::move(engine)) {
  Load();
}

CHDBase::~CHDBase() { DropObjects(); }

// Objects ---------------------------------------------------------------------------------------

CHDBRecord& CHDBase::Object(std::uint32_t number) const {
  CHDBRecord* object = objects_.Find(number);
  if (object == nullptr) throw StorageError("object " + std::to_string(number) + " is missing");
  return *object;
}

TRef<CHDBFolder> CHDBase::CreateObject(std::uint32_t number) {
  if (number == 0) throw StorageError("0 is no identifier");
  if (objects_.Find(number) != nullptr) {
    throw StorageError("object " + std::to_string(number) + " exists");
  }
  Touch({RowKind::kObject, number});
  objects_.Create(*this, number);
  return objects_.Open(number);
}

void CHDBase::RemoveObject(std::uint32_t number) {
  if (NotesOf(number) != nullptr) SetNotes(number, {});
  Touch({RowKind::kObject, number});
  objects_.Remove(number);
}

void CHDBase::SetNotes(std::uint32_t number, ncc::Notes notes) {
  Object(number);
  Touch({RowKind::kNote, number});
  if (notes.empty()) {
    notes_.erase(number);
  } else {
    notes_[number] = std::move(notes);
  }
}

// Definitions -----------------------------------------------------------------------------------

void CHDBase::AddDefinition(CHDBDefinition definition) {
  definition.name = manager_.VarMap().Expand(definition.name);
  const auto ordinal = static_cast<std::uint32_t>(definitions_.size());
  unit_.Touch({RowKind::kDefinition, ordinal}, [](Row&) { return false; });
  definitions_.push_back(std::move(definition));
}

void CHDBase::IndexCreate(const std::string& name, std::uint32_t attribute, std::uint32_t kind,
                          std::uint32_t length) {
  AddDefinition({CHDBDefinition::What::kIndex, name, attribute, kind, length});
}

void CHDBase::RecSpcCreate(const std::string& name, std::uint32_t number) {
  AddDefinition({CHDBDefinition::What::kRecordSpace, name, number, 0, 0, kRecordTag});
}

void CHDBase::ParentLinkCreate(const std::string& name) {
  AddDefinition({CHDBDefinition::What::kParentLink, name});
}

std::uint32_t CHDBase::FolderSpcCreate(const std::string& name, std::uint32_t number) {
  AddDefinition({CHDBDefinition::What::kFolderSpace, name, number, 0, 0, kFolderTag});
  return number;
}

// Indexes ---------------------------------------------------------------------------------------

const ncc::IdSet& CHDBase::RecSelect(std::uint32_t type) const {
  static const ncc::IdSet kNone;
  const auto found = types_.find(type);
  return found != types_.end() ? found->second : kNone;
}

std::vector<TDBObjId> CHDBase::ParentLinkSelect(const TDBObjId& object) const {
  std::vector<TDBObjId> parents;
  for (const std::uint32_t number : Object(object.number).Parents()) {
    parents.push_back({ncc::kFolderSpace, number});
  }
  return parents;
}

// A record has type 0 until its type is written, and is in no index then.
void CHDBase::Index(const CHDBRecord& record) {
  if (record.Type() == 0) return;
  types_[record.Type()].Insert(record.Number());
  names_.Insert(record);
}

void CHDBase::Unindex(const CHDBRecord& record) {
  if (record.Type() == 0) return;
  types_[record.Type()].Remove(record.Number());
  names_.Remove(record);
}

// Rows ------------------------------------------------------------------------------------------

void CHDBase::Touch(const RowKey& row) {
  CheckPresent();
  unit_.Touch(row, [&](Row& before) { return EncodeRow(row, before); });
}

bool CHDBase::EncodeRow(const RowKey& key, Row& row) const {
  row.key = key;
  row.type = 0;
  for (std::string* text : {&row.name, &row.body, &row.lists}) text->clear();
  if (key.kind == RowKind::kDefinition) {
    const CHDBDefinition& definition = definitions_[key.number];
    row.type = static_cast<std::uint32_t>(definition.what);
    ncc::AppendUtf8(row.name, definition.name);
    ncc::EncodeDefinition(row.body, definition);
    return true;
  }
  if (key.kind == RowKind::kNote) {
    const ncc::Notes* const notes = NotesOf(key.number);
    if (notes != nullptr) ncc::EncodeNotes(row.body, *notes);
    return notes != nullptr;
  }
  const CHDBRecord* object = objects_.Find(key.number);
  if (object == nullptr) return false;
  if (key.kind == RowKind::kChunk) {
    ncc::EncodeChunk(row.body, *object, key.list, key.chunk);
    return !row.body.empty();
  }
  row.type = object->Type();
  ncc::AppendUtf8(row.name, object->Name());
  row.body = object->Data();
  ncc::EncodeFirstChunks(row.lists, *object);
  return true;
}

// Storing and loading -----------------------------------------------------------------------------

void CHDBase::CopyTo(const std::string& file) {
  if (shows_former_)
    throw StorageError("revision " + std::to_string(state_.revision) +
                       " shows, and a copy would be of the last one: show that one first");
  ncc::CopyToFile(*engine_, file);
}

void CHDBase::DropObjects() {
  objects_.Clear();
  notes_.clear();
  types_.clear();
  names_.Clear();
  definitions_.clear();
}

void CHDBase::Reload() noexcept {
  ClearUnit();
  DropObjects();
  ++generation_;
  try {
    Load();
    broken_ = false;
  } catch (const StorageError& error) {
    Break(error.what(), error.Kind());
  } catch (const std::exception& error) {
    Break(error.what(), NCCFailure::kOther);
  }
}

void CHDBase::Break(const char* why, NCCFailure kind) noexcept {
  ClearUnit();
  DropObjects();
  state_ = {};
  broken_ = true;
  broken_kind_ = kind;
  try {
    broken_reason_ = why;
  } catch (const std::bad_alloc&) {
    broken_reason_.clear();
  }
}

void CHDBase::CheckUsable() {
  if (!broken_) return;
  const bool may_return = broken_kind_ == NCCFailure::kUnavailable;
  if (may_return && !InUnit()) Reload();
  if (!broken_) return;
  if (may_return) {
    throw StorageError("the database cannot be read now: " + broken_reason_, broken_kind_);
  }
  throw StorageError("the database cannot be read any more; close it and open it again: " +
                     broken_reason_);
}

void CHDBase::Load() {
  shows_former_ = false;
  RowDecoder decoder;
  state_ = engine_->Load([&](const RowView& row) { LoadRow(row, decoder); });
  DeriveParents();
  if (state_.revision != 0) manager_.Examine(*this);
}

void CHDBase::LoadRow(const RowView& row, RowDecoder& decoder) {
  if (row.key.kind == RowKind::kNote) {
    notes_.emplace(row.key.number, ncc::DecodeNotes(row.body));
    return;
  }
  if (row.key.kind == RowKind::kChunk) return LoadChunk(row, decoder);
  if (row.key.kind == RowKind::kObject) return LoadObject(row, decoder);
  if (row.key.number != definitions_.size()) {
    throw StorageError("database is damaged: its definitions are not numbered through");
  }
  definitions_.push_back(decoder.DecodeDefinition(row.name, row.type, row.body));
}

void CHDBase::LoadObject(const RowView& row, RowDecoder& decoder) {
  const std::uint32_t number = row.key.number;
  if (number == 0) Damaged(number, "that is no identifier");
  CHDBRecord& record = objects_.Create(*this, number);
  record.Restore(row.type, decoder.DecodeName(row.name), row.body);
  decoder.DecodeFirstChunks(record, row.lists);
  if (record.HasRecord()) Index(record);
}

void CHDBase::LoadChunk(const RowView& row, RowDecoder& decoder) {
  const auto& [kind, number, list, chunk] = row.key;
  CHDBRecord* const object = objects_.Find(number);
  if (object == nullptr) Damaged(number, "it is missing, and a list of it is there");
  if (list >= ncc::kLists) Damaged(number, "it has a list of an unknown kind");
  if (chunk == 0) Damaged(number, "the beginning of a list stands beside its row");
  decoder.DecodeChunk(*object, list, chunk, row.body);
}

// What an entry names is there after this.
void CHDBase::DeriveParents() {
  objects_.ForEach([this](const CHDBRecord& folder) {
    const CHDBEntryList& entries = folder.Entries();
    for (auto at = entries.First(); at != ncc::kNoPosition; at = entries.Next(at)) {
      const std::uint32_t number = entries.At(at).Object().number;
      CHDBRecord* const child = objects_.Find(number);
      if (child == nullptr) Damaged(number, "it is missing, and a folder lists it");
      child->AddParent(folder.Number());
    }
  });
}
