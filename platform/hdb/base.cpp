#include "platform/hdb/base.h"

#include "nccnet/text.h"
#include "platform/hdb/row_codec.h"
#include "platform/token.h"

#include <algorithm>
#include <utility>

using ncc::Row;
using ncc::RowKey;
using ncc::RowKind;
using ncc::StorageError;

namespace {

[[noreturn]] void Damaged(std::uint32_t number, const char* fault) {
  throw StorageError("database is damaged: object " + std::to_string(number) + ": " + fault);
}

// Lists within the rows of an object: the folder's entries, the three id lists, the pair values.
constexpr std::uint8_t kEntryRowList = 0;
constexpr std::uint8_t kPairRowList = 4;
int ListOf(const RowKey& key) { return key.list - 1 + ncc::kFirstListPosition; }

constexpr const char* kSnapshotRefusal =
    "this is a snapshot of the database: changes need the database itself";

}  // namespace

CHDBase::CHDBase(CHDBMgr& manager, const std::string& path)
    : manager_(manager), engine_(manager.Engines()(path, {ncc::OpenMode::kCreate})) {}

CHDBase::CHDBase(CHDBMgr& manager, const std::string& path, TDBMode mode, bool accepts_loss)
    : CHDBase(manager,
              manager.Engines()(path, {mode == TDBMode::kSnapshot ? ncc::OpenMode::kSnapshot
                                                                  : ncc::OpenMode::kOpen,
                                       accepts_loss})) {
  if (mode == TDBMode::kSnapshot) unit_.RefuseChanges(kSnapshotRefusal);
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
  Touch({RowKind::kObject, number});
  objects_.Remove(number);
}

// Definitions -----------------------------------------------------------------------------------

void CHDBase::AddDefinition(CHDBDefinition definition) {
  definition.name = manager_.VarMap().Expand(definition.name);
  const auto ordinal = static_cast<std::uint32_t>(definitions_.size());
  unit_.Touch({RowKind::kDefinition, ordinal}, [] { return std::nullopt; });
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
  unit_.Touch(row, [&] { return EncodeRow(row); });
}

std::optional<Row> CHDBase::EncodeRow(const RowKey& key) const {
  if (key.kind == RowKind::kDefinition) {
    const CHDBDefinition& definition = definitions_[key.number];
    return Row{key, static_cast<std::uint32_t>(definition.what), Utf8FromCp1251(definition.name),
               ncc::EncodeDefinition(definition)};
  }
  const CHDBRecord* object = objects_.Find(key.number);
  if (object == nullptr) return std::nullopt;
  if (key.kind == RowKind::kObject) {
    return Row{key, object->Type(), Utf8FromCp1251(object->Name()), std::string(object->Data())};
  }
  std::string body = key.list == kEntryRowList ? ncc::EncodeChunk(*object, key.chunk)
                     : key.list == kPairRowList
                         ? ncc::EncodeChunk(object->Pairs(), key.chunk)
                         : ncc::EncodeChunk(object->List(ListOf(key)), key.chunk);
  if (body.empty()) return std::nullopt;
  return Row{key, 0, {}, std::move(body)};
}

// Units of work ---------------------------------------------------------------------------------

void CHDBase::CheckUsable() const {
  if (!broken_) return;
  throw StorageError("the database cannot be read any more; close it and open it again: " +
                     broken_reason_);
}

void CHDBase::Commit() {
  const std::uint64_t next = state_.revision + 1;
  std::uint64_t unit = 0;
  try {
    if (unit_.HasFailed()) throw StorageError(unit_.Failure());
    ncc::ChangeSet changes =
        unit_.Collect(state_.totals, [this](const RowKey& key) { return EncodeRow(key); });
    changes.state.revision = next;
    changes.state.unit = unit = ncc::DrawToken();
    if (!changes.put.empty() || !changes.removed.empty()) {
      engine_->Commit(changes);
      state_ = changes.state;
    }
    unit_.Clear();
  } catch (...) {
    Reload();
    // An engine that reports an error may have stored the unit all the same.
    if (state_.revision != next || state_.unit != unit) throw;
  }
}

void CHDBase::AbandonUnit(std::string_view why) noexcept {
  unit_.Fail(why);
  if (!unit_.Leave()) return;
  if (unit_.HasChanges()) {
    Reload();
  } else {
    unit_.Clear();
  }
}

void CHDBase::DropObjects() {
  objects_.Clear();
  types_.clear();
  names_.Clear();
  definitions_.clear();
}

void CHDBase::Reload() noexcept {
  unit_.Clear();
  DropObjects();
  ++generation_;
  try {
    Load();
  } catch (const std::exception& error) {
    DropObjects();
    state_ = {};
    broken_ = true;
    try {
      broken_reason_ = error.what();
    } catch (const std::bad_alloc&) {
      broken_reason_.clear();
    }
  }
}

// Loading ---------------------------------------------------------------------------------------

void CHDBase::Load() {
  state_ = engine_->Load([this](Row&& row) { LoadRow(row); });
  DeriveParents();
  if (state_.revision != 0) manager_.Examine(*this);
}

void CHDBase::LoadRow(const Row& row) {
  if (row.key.kind == RowKind::kChunk) return LoadChunk(row);
  if (row.key.kind == RowKind::kObject) return LoadObject(row);
  if (row.key.number != definitions_.size()) {
    throw StorageError("database is damaged: its definitions are not numbered through");
  }
  definitions_.push_back(ncc::DecodeDefinition(ncc::DecodeName(row.name), row.type, row.body));
}

void CHDBase::LoadObject(const Row& row) {
  const std::uint32_t number = row.key.number;
  if (number == 0) Damaged(number, "that is no identifier");
  CHDBRecord& record = objects_.Create(*this, number);
  record.Restore(row.type, ncc::DecodeName(row.name), row.body);
  if (record.HasRecord()) Index(record);
}

void CHDBase::LoadChunk(const Row& row) {
  const auto& [kind, number, list, chunk] = row.key;
  CHDBRecord* const object = objects_.Find(number);
  if (object == nullptr) Damaged(number, "it is missing, and a list of it is there");
  if (list == kEntryRowList) {
    const ncc::EntrySlots slots = ncc::DecodeEntries(row.body);
    object->AppendStored(chunk, slots.View(), slots.labels);
  } else if (list < kPairRowList) {
    object->AppendStored(ListOf(row.key), chunk, ncc::DecodeIds(row.body).View());
  } else if (list == kPairRowList) {
    object->AppendStored(chunk, ncc::DecodePairs(row.body).View());
  } else {
    Damaged(number, "it has a list of an unknown kind");
  }
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
