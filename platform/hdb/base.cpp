#include "platform/hdb/base.h"

#include "platform/hdb/history_codec.h"
#include "platform/hdb/row_codec.h"
#include "platform/process.h"
#include "platform/storage/copy.h"
#include "platform/text/code_page.h"
#include "platform/token.h"

#include <utility>

using ncc::Row;
using ncc::RowChange;
using ncc::RowDecoder;
using ncc::RowKey;
using ncc::RowKind;
using ncc::RowView;
using ncc::StorageError;

namespace {

[[noreturn]] void Damaged(std::uint32_t number, const char* fault) {
  throw StorageError("database is damaged: object " + std::to_string(number) + ": " + fault);
}

constexpr std::int64_t kMicrosecondsOfDay = std::int64_t{24} * 60 * 60 * 1000000;

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

// Units of work ---------------------------------------------------------------------------------

void CHDBase::CheckUsable() const {
  if (!broken_) return;
  throw StorageError("the database cannot be read any more; close it and open it again: " +
                     broken_reason_);
}

// What the unit that ends leads to.
class CHDBase::Changes final : public ncc::ChangeSet {
 public:
  explicit Changes(CHDBase& base) : base_(base), history_(base.NextHistory(now_)) {}

  std::uint64_t Revision() const { return base_.state_.revision + 1; }
  std::uint64_t Unit() const { return unit_; }

  ncc::StoredState ForEach(const std::function<void(const RowChange&)>& visit) const override {
    ncc::StoredState state{Revision(), base_.state_.totals, unit_, history_};
    const auto encode = [this](const RowKey& key, Row& row) { return base_.EncodeRow(key, row); };
    former_ = {};
    base_.unit_.ForEachChange(encode, [&](const RowChange& change) {
      former_.Add(change.key, change.before);
      if (change.before != nullptr) TakeFrom(state.totals, SumOf(*change.before));
      if (change.now != nullptr) AddTo(state.totals, change.sum);
      visit(change);
    });
    return state;
  }

  void ForEachEntry(const std::function<void(const ncc::HistoryEntry&)>& visit) const override {
    if (history_.first > Revision()) return;
    visit({Revision(), now_, base_.manager_.Origin(), former_.Pack()});
  }

 private:
  CHDBase& base_;
  const std::uint64_t unit_ = ncc::DrawToken();
  const std::int64_t now_ = ncc::MicrosecondsNow();
  const ncc::HistoryBounds history_;
  mutable ncc::RowPacker former_;  // the rows as they were, in the order of the last visit
};

ncc::HistoryBounds CHDBase::NextHistory(std::int64_t now) const {
  using Keep = ncc::HistoryRule::Keep;
  const std::uint64_t next = state_.revision + 1;
  ncc::HistoryBounds history = state_.history;
  if (new_rule_) history.rule = *new_rule_;
  const auto& [keep, count] = history.rule;
  if (keep == Keep::kNone) history.first = next + 1;
  if (keep == Keep::kUnits && next > count)
    history.first = std::max(history.first, next - count + 1);
  if (keep == Keep::kDays)
    history.first = std::max(history.first, engine_->FirstSince(now - count * kMicrosecondsOfDay));
  return history;
}

void CHDBase::Commit() {
  const std::uint64_t next = state_.revision + 1;
  std::uint64_t unit = 0;
  try {
    if (unit_.HasFailed()) throw StorageError(unit_.Failure());
    const Changes changes(*this);
    unit = changes.Unit();
    const auto encode = [this](const RowKey& key, Row& row) { return EncodeRow(key, row); };
    if (unit_.HasDifference(encode) || new_rule_) state_ = engine_->Commit(changes);
    ClearUnit();
  } catch (...) {
    Reload();
    // An engine that reports an error may have stored the unit all the same.
    if (state_.revision != next || state_.unit != unit) throw;
  }
}

void CHDBase::CopyTo(const std::string& file) { ncc::CopyToFile(*engine_, file); }

void CHDBase::ClearUnit() noexcept {
  unit_.Clear();
  new_rule_.reset();
}

void CHDBase::AbandonUnit(std::string_view why) noexcept {
  unit_.Fail(why);
  if (!unit_.Leave()) return;
  if (unit_.HasChanges()) {
    Reload();
  } else {
    ClearUnit();
  }
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
