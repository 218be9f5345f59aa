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

CHDBObject& CHDBase::Object(const TDBObjId& id) const {
  CHDBObject* object = FindObject(id.number);
  if (object == nullptr) throw StorageError("object " + std::to_string(id.number) + " is missing");
  return *object;
}

TRef<CHDBFolder> CHDBase::FolderRef(std::uint32_t number) const {
  const auto& object = *objects_.Find(number);
  return {object, &object->folder};
}

TRef<CHDBRecord> CHDBase::RecordRef(std::uint32_t number) const {
  const auto& object = *objects_.Find(number);
  return {object, &object->record};
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
  for (std::uint32_t number : Object(object).folder.parents_) {
    parents.push_back({ncc::kFolderSpace, number});
  }
  return parents;
}

std::uint32_t CHDBase::FirstNamesake(std::uint32_t type, std::string_view name) const {
  std::uint32_t first = ncc::kNoPosition;
  names_.ForEach(ncc::HashFolded(name, type), [&](std::uint32_t number) {
    const CHDBRecord& record = FindObject(number)->record;
    if (record.type_ != type || !ncc::EqualFolded(record.Name(), name)) return true;
    first = number;
    return false;
  });
  return first;
}

void CHDBase::IndexRecord(CHDBRecord& record) {
  if (record.type_ == 0) return;
  types_[record.type_].Insert(record.number_);
  const std::uint32_t first = FirstNamesake(record.type_, record.Name());
  if (first == ncc::kNoPosition) {
    names_.Insert(ncc::HashFolded(record.Name(), record.type_), record.number_);
    return;
  }
  CHDBRecord& head = FindObject(first)->record;  // the new one becomes the second of the chain
  record.previous_namesake_ = first;
  record.next_namesake_ = head.next_namesake_;
  if (head.next_namesake_ != ncc::kNoPosition) {
    FindObject(head.next_namesake_)->record.previous_namesake_ = record.number_;
  }
  head.next_namesake_ = record.number_;
}

void CHDBase::UnindexRecord(CHDBRecord& record) {
  if (record.type_ == 0) return;
  types_[record.type_].Remove(record.number_);
  const std::uint32_t previous = std::exchange(record.previous_namesake_, ncc::kNoPosition);
  const std::uint32_t next = std::exchange(record.next_namesake_, ncc::kNoPosition);
  if (next != ncc::kNoPosition) FindObject(next)->record.previous_namesake_ = previous;
  if (previous != ncc::kNoPosition) {
    FindObject(previous)->record.next_namesake_ = next;
    return;
  }
  const std::uint32_t hash = ncc::HashFolded(record.Name(), record.type_);
  names_.Remove(hash, record.number_);
  if (next != ncc::kNoPosition) names_.Insert(hash, next);
}

void CHDBase::AddParent(std::uint32_t child, std::uint32_t parent) {
  auto& parents = Object({ncc::kFolderSpace, child}).folder.parents_;
  if (parents.empty()) parents.reserve(2);  // the root folder and a Dep, most often
  const auto at = std::lower_bound(parents.begin(), parents.end(), parent);
  if (at == parents.end() || *at != parent) parents.insert(at, parent);
}

void CHDBase::RemoveParent(std::uint32_t child, const CHDBFolder& parent) {
  for (const std::uint32_t space : {ncc::kFolderSpace, ncc::kRecordSpace}) {
    if (parent.Find({space, child}) != ncc::kNoPosition) return;
  }
  auto& parents = Object({ncc::kFolderSpace, child}).folder.parents_;
  parents.erase(std::lower_bound(parents.begin(), parents.end(), parent.number_));
}

// Rows ------------------------------------------------------------------------------------------

void CHDBase::TouchObject(const CHDBRecord& record) {
  const RowKey key{RowKind::kObject, record.number_};
  unit_.Touch(key, [&] { return EncodeRow(key); });
}

void CHDBase::TouchChunk(std::uint32_t number, std::uint8_t list, std::uint32_t position) {
  const RowKey key{RowKind::kChunk, number, list, position / ncc::kSlotsPerChunk};
  unit_.Touch(key, [&] { return EncodeRow(key); });
}

std::optional<Row> CHDBase::EncodeRow(const RowKey& key) const {
  if (key.kind == RowKind::kDefinition) {
    const CHDBDefinition& definition = definitions_[key.number];
    return Row{key, static_cast<std::uint32_t>(definition.what), Utf8FromCp1251(definition.name),
               ncc::EncodeDefinition(definition)};
  }
  const CHDBObject* object = FindObject(key.number);
  if (object == nullptr) return std::nullopt;
  if (key.kind == RowKind::kObject) {
    return Row{key, object->record.type_, Utf8FromCp1251(object->record.Name()),
               std::string(object->record.Data())};
  }
  const auto encode = [&](const auto& list) -> std::optional<Row> {
    const auto* chunk = list ? list->FindChunk(key.chunk) : nullptr;
    if (chunk == nullptr) return std::nullopt;
    return Row{key, 0, {}, ncc::EncodeChunk(*chunk)};
  };
  if (key.list == 0) return encode(object->folder.entries_);
  if (key.list > object->record.lists_.size()) return encode(object->record.pairs_);
  return encode(object->record.lists_[key.list - 1U]);
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
  objects_.ForEach([](const TRef<CHDBObject>& object) {
    object->folder.base_ = nullptr;
    object->record.base_ = nullptr;
  });
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
  state_ = engine_->Load([this](Row&& row) { LoadRow(std::move(row)); });
  DeriveParents();
  if (state_.revision != 0) manager_.Examine(*this);
}

void CHDBase::LoadRow(Row&& row) {
  const std::uint32_t number = row.key.number;
  if (row.key.kind == RowKind::kChunk) {
    CHDBObject* const object = FindObject(number);
    if (object == nullptr) Damaged(number, "it is missing, and a list of it is there");
    const auto append = [](auto& list, auto chunk) {
      if (!list) list = std::make_unique<typename std::decay_t<decltype(list)>::element_type>();
      list->AppendChunk(std::move(chunk));
    };
    if (row.key.list == 0) {
      append(object->folder.entries_, ncc::DecodeEntryChunk(row.key.chunk, row.body));
    } else if (row.key.list <= object->record.lists_.size()) {
      append(object->record.lists_[row.key.list - 1U], ncc::DecodeIdChunk(row.key.chunk, row.body));
    } else if (row.key.list == object->record.lists_.size() + 1) {
      append(object->record.pairs_, ncc::DecodePairChunk(row.key.chunk, row.body));
    } else {
      Damaged(number, "it has a list of an unknown kind");
    }
    return;
  }
  const std::string name = ncc::DecodeName(row.name);
  if (row.key.kind == RowKind::kDefinition) {
    if (number != definitions_.size()) {
      throw StorageError("database is damaged: its definitions are not numbered through");
    }
    definitions_.push_back(ncc::DecodeDefinition(name, row.type, row.body));
    return;
  }
  const auto object = std::make_shared<CHDBObject>(this, number);
  CHDBRecord& record = object->record;
  if (row.body.size() > ncc::kMaxDataSize) Damaged(number, "it is too long");
  record.PutData(row.body);
  record.PutName(name);
  record.type_ = row.type;
  record.exists_ = number != ncc::kRootNumber;
  objects_.At(number) = object;
  if (record.exists_) IndexRecord(record);
}

// What an entry names is there after this.
void CHDBase::DeriveParents() {
  objects_.ForEach([this](const TRef<CHDBObject>& object) {
    const CHDBEntryList& entries = object->folder.Entries();
    for (auto at = entries.First(); at != ncc::kNoPosition; at = entries.Next(at)) {
      const std::uint32_t child = entries.At(at).Object().number;
      if (FindObject(child) == nullptr) Damaged(child, "it is missing, and a folder lists it");
      AddParent(child, object->folder.number_);
    }
  });
}
