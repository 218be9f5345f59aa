#include "platform/storage/sqlite_rows.h"

#include "platform/storage/database_files.h"
#include "platform/storage/history_rows.h"
#include "platform/storage/row_sum.h"

#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <utility>

namespace ncc {
namespace {

constexpr int kListBits = 3;
constexpr int kChunkBits = 26;
constexpr std::uint32_t kMaxList = (1U << kListBits) - 1;
constexpr std::uint32_t kMaxChunk = (1U << kChunkBits) - 1;
constexpr std::uint8_t kMetaTag = 0xFF;

constexpr std::array kTables = {
    "CREATE TABLE meta(id INTEGER PRIMARY KEY CHECK(id=1), revision INTEGER, row_count INTEGER, "
    "row_sum INTEGER, unit INTEGER, open INTEGER, history_first INTEGER, keep INTEGER, keep_count "
    "INTEGER, sum INTEGER)",
    "CREATE TABLE definition(id INTEGER PRIMARY KEY, type INTEGER, name TEXT, body TEXT, sum "
    "INTEGER)",
    "CREATE TABLE object(id INTEGER PRIMARY KEY, type INTEGER, name TEXT, data BLOB, lists TEXT, "
    "sum INTEGER)",
    "CREATE TABLE page(key INTEGER PRIMARY KEY, body TEXT, sum INTEGER)",
    "CREATE TABLE note(id INTEGER PRIMARY KEY, body TEXT, sum INTEGER)",
    kHistoryTable};

// An element of an id list is a number, or [space, number] outside the usual space.
constexpr std::array kViews = {
    R"(CREATE VIEW chunk AS
  SELECT object.id AS owner, part.key AS list, 0 AS first, part.value AS body
  FROM object JOIN json_each(object.lists) AS part
  WHERE part.type = 'array'
  UNION ALL
  SELECT key >> 29, key >> 26 & 7, (key & 0x3FFFFFF) * 64, body FROM page)",
    R"(CREATE VIEW item AS
  SELECT chunk.owner AS folder, chunk.first + slot.key AS position,
         slot.value ->> 0 AS kind, slot.value ->> 1 AS number,
         coalesce(slot.value ->> 2, object.name) AS name
  FROM chunk JOIN json_each(chunk.body) AS slot
       LEFT JOIN object ON object.id = (slot.value ->> 1)
  WHERE chunk.list = 0 AND slot.type = 'array')",
    R"(CREATE VIEW link AS
  SELECT chunk.owner AS owner, chunk.list + 3 AS list, chunk.first + slot.key AS position,
         CASE slot.type WHEN 'array' THEN slot.value ->> 1 ELSE slot.value END AS number
  FROM chunk JOIN json_each(chunk.body) AS slot
  WHERE chunk.list BETWEEN 1 AND 3 AND slot.type <> 'null')",
    R"(CREATE VIEW membership AS
  SELECT chunk.owner AS user, chunk.first + slot.key AS position,
         slot.value ->> 0 AS dep, slot.value ->> 1 AS node, slot.value ->> 2 AS kind
  FROM chunk JOIN json_each(chunk.body) AS slot
  WHERE chunk.list = 4 AND slot.type = 'array')"};

constexpr const char* kPutMeta =
    "INSERT INTO meta VALUES(1, ?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9) ON CONFLICT(id) DO UPDATE SET "
    "revision = ?1, row_count = ?2, row_sum = ?3, unit = ?4, open = ?5, history_first = ?6, "
    "keep = ?7, keep_count = ?8, sum = ?9";

[[noreturn]] void ThrowDamaged(const Connection& db, const std::string& what) {
  throw StorageError("database is damaged: " + what + " (" + db.Name() + ")");
}

std::int64_t TableKey(const RowKey& key) {
  if (key.kind != RowKind::kChunk) return key.number;
  if (key.list > kMaxList || key.chunk > kMaxChunk) {
    throw StorageError("list " + std::to_string(key.list) + " of object " +
                       std::to_string(key.number) + " is too long to be stored");
  }
  return static_cast<std::int64_t>((std::uint64_t{key.number} << (kListBits + kChunkBits)) |
                                   (std::uint64_t{key.list} << kChunkBits) | key.chunk);
}

std::string DescribeRow(RowKind kind, std::int64_t table_key) {
  if (kind == RowKind::kDefinition) return "definition " + std::to_string(table_key);
  if (kind == RowKind::kObject) return "object " + std::to_string(table_key);
  if (kind == RowKind::kNote) return "the notes of object " + std::to_string(table_key);
  return "page " + std::to_string(table_key) + " (list " +
         std::to_string(table_key >> kChunkBits & kMaxList) + " of object " +
         std::to_string(table_key >> (kListBits + kChunkBits)) + ")";
}

std::int64_t SumMeta(const MetaRow& meta) {
  SumHead head;
  head.Add(kMetaTag, 1);
  head.Add(meta.state.revision, 8);
  head.Add(meta.state.totals.rows, 8);
  head.Add(meta.state.totals.sum, 8);
  head.Add(meta.state.unit, 8);
  head.Add(meta.open ? 1 : 0, 1);
  head.Add(meta.state.history.first, 8);
  head.Add(static_cast<std::uint8_t>(meta.state.history.rule.keep), 1);
  head.Add(meta.state.history.rule.count, 4);
  return head.Sum();
}

void PutMeta(Statement& put_meta, const MetaRow& meta) {
  const HistoryBounds& history = meta.state.history;
  put_meta.Bind(1, static_cast<std::int64_t>(meta.state.revision))
      .Bind(2, static_cast<std::int64_t>(meta.state.totals.rows))
      .Bind(3, static_cast<std::int64_t>(meta.state.totals.sum))
      .Bind(4, static_cast<std::int64_t>(meta.state.unit))
      .Bind(5, meta.open ? 1 : 0)
      .Bind(6, static_cast<std::int64_t>(history.first))
      .Bind(7, static_cast<std::int64_t>(history.rule.keep))
      .Bind(8, history.rule.count)
      .Bind(9, SumMeta(meta))
      .Run();
}

bool FitsNumber(std::int64_t value) {
  return value >= 0 && value <= std::numeric_limits<std::uint32_t>::max();
}

RowKey KeyFromTable(RowKind kind, std::int64_t table_key) {
  RowKey key;
  key.kind = kind;
  if (kind != RowKind::kChunk) {
    key.number = static_cast<std::uint32_t>(table_key);
    return key;
  }
  key.number = static_cast<std::uint32_t>(table_key >> (kListBits + kChunkBits));
  key.list = static_cast<std::uint8_t>(table_key >> kChunkBits & kMaxList);
  key.chunk = static_cast<std::uint32_t>(table_key & kMaxChunk);
  return key;
}

bool FitsKey(RowKind kind, std::int64_t table_key) {
  return FitsNumber(kind == RowKind::kChunk ? table_key >> (kListBits + kChunkBits) : table_key);
}

// The columns behind the key and the sum; gives the type as it stands there.
std::int64_t TakeColumns(const Statement& from, RowView& row) {
  if (row.key.kind == RowKind::kChunk || row.key.kind == RowKind::kNote) {
    row.body = from.Bytes(2);
    return 0;
  }
  row.name = from.Bytes(3);
  row.body = from.Bytes(4);
  if (row.key.kind == RowKind::kObject) row.lists = from.Bytes(5);
  return from.Integer(2);
}

// Adds the table's rows to the totals.
void ReadTable(const Connection& db, RowKind kind, std::string_view sql, RowTotals& totals,
               const std::function<void(const RowView&)>& row) {
  Statement statement(db, sql);
  while (statement.Step()) {
    const std::int64_t table_key = statement.Integer(0);
    RowView found{KeyFromTable(kind, table_key)};
    const std::int64_t type = TakeColumns(statement, found);
    found.type = static_cast<std::uint32_t>(type);
    const std::uint32_t sum = SumOf(found);
    if (!FitsKey(kind, table_key) || !FitsNumber(type) || sum != statement.Integer(1)) {
      ThrowDamaged(db, DescribeRow(kind, table_key) + " does not match its checksum");
    }
    AddTo(totals, sum);
    row(found);
  }
}

}  // namespace

std::string MakeEmptyDataFile() {
  const Connection db(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, "memory");
  db.Execute("PRAGMA page_size = 4096");
  db.Execute(("PRAGMA application_id = " + std::to_string(kApplicationId)).c_str());
  db.Execute(("PRAGMA user_version = " + std::to_string(kFormatVersion)).c_str());
  for (const char* sql : kTables) db.Execute(sql);
  for (const char* sql : kViews) db.Execute(sql);
  Statement put_meta(db, kPutMeta);
  PutMeta(put_meta, {});

  sqlite3_int64 size = 0;
  const std::unique_ptr<unsigned char, decltype(&sqlite3_free)> image(
      sqlite3_serialize(db.Handle(), "main", &size, 0), &sqlite3_free);
  if (!image) throw std::bad_alloc();
  std::string file(reinterpret_cast<const char*>(image.get()), static_cast<std::size_t>(size));
  // The documented marks of a file that is written through a log, so that it need not be converted.
  file[18] = file[19] = 2;
  return file;
}

void CheckStructure(const Connection& db) {
  Statement check(db, "PRAGMA integrity_check(1)");
  if (!check.Step()) ThrowDamaged(db, "the integrity check gives no result");
  if (check.Bytes(0) != "ok") ThrowDamaged(db, std::string(check.Bytes(0)));
  check.Reset();
  std::set<std::string_view> missing(kTables.begin(), kTables.end());
  // An index, a trigger or a table of somebody else would change what a commit does.
  Statement schema(db, "SELECT sql, type, name FROM sqlite_schema");
  while (schema.Step()) {
    const std::string_view sql = schema.Bytes(0);
    if (missing.erase(sql) != 0 || std::find(kViews.begin(), kViews.end(), sql) != kViews.end())
      continue;
    ThrowDamaged(db, "foreign or changed: " + std::string(schema.Bytes(1)) + " " +
                         std::string(schema.Bytes(2)));
  }
  if (!missing.empty()) ThrowDamaged(db, "missing or changed: " + std::string(*missing.begin()));
}

MetaRow ReadMeta(const Connection& db) {
  Statement statement(
      db,
      "SELECT revision, row_count, row_sum, unit, open, history_first, keep, keep_count, sum FROM "
      "meta WHERE id = 1");
  if (!statement.Step()) ThrowDamaged(db, "the revision is missing");
  const auto number = [&](int column) {
    return static_cast<std::uint64_t>(statement.Integer(column));
  };
  const HistoryRule rule{static_cast<HistoryRule::Keep>(number(6)),
                         static_cast<std::uint32_t>(number(7))};
  const MetaRow meta{{number(0), {number(1), number(2)}, number(3), {rule, number(5)}},
                     number(4) != 0};
  if (SumMeta(meta) != statement.Integer(8)) {
    ThrowDamaged(db, "the revision does not match its checksum");
  }
  return meta;
}

void MarkClosed(const Connection& db) {
  const MetaRow meta = ReadMeta(db);
  if (!meta.open) return;
  Statement put_meta(db, kPutMeta);
  PutMeta(put_meta, {meta.state, false});
}

StoredState ReadRows(const Connection& db, const std::function<void(const RowView&)>& row) {
  const StoredState state = ReadMeta(db).state;
  RowTotals found;
  ReadTable(db, RowKind::kDefinition,
            "SELECT id, sum, type, name, body FROM definition ORDER BY id", found, row);
  ReadTable(db, RowKind::kObject, "SELECT id, sum, type, name, data, lists FROM object ORDER BY id",
            found, row);
  ReadTable(db, RowKind::kChunk, "SELECT key, sum, body FROM page ORDER BY key", found, row);
  ReadTable(db, RowKind::kNote, "SELECT id, sum, body FROM note ORDER BY id", found, row);
  CheckTotals(found, state.totals);
  return state;
}

Connection OpenNewFile(const std::string& file) {
  Connection db(file.c_str(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW, file);
  db.DistrustContents();
  db.Execute("PRAGMA journal_mode = MEMORY");
  db.Execute("PRAGMA synchronous = OFF");
  return db;
}

Connection OpenImage(const std::string& bytes, const std::string& name) {
  Connection db(":memory:", SQLITE_OPEN_READWRITE, name);
  db.DistrustContents();
  const auto size = static_cast<sqlite3_int64>(bytes.size());
  // The engine only reads it.
  auto* const image = reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data()));
  const int code =
      sqlite3_deserialize(db.Handle(), "main", image, size, size, SQLITE_DESERIALIZE_READONLY);
  if (code != SQLITE_OK) throw SqliteError(db, code);
  return db;
}

RowWriter::RowWriter(const Connection& db)
    : begin_(db, "BEGIN IMMEDIATE"),
      commit_(db, "COMMIT"),
      put_definition_(db,
                      "INSERT INTO definition VALUES(?1, ?2, ?3, ?4, ?5) ON CONFLICT(id) DO UPDATE "
                      "SET type = ?2, name = ?3, body = ?4, sum = ?5"),
      put_object_(db,
                  "INSERT INTO object VALUES(?1, ?2, ?3, ?4, ?5, ?6) ON CONFLICT(id) DO UPDATE SET "
                  "type = ?2, name = ?3, data = ?4, lists = ?5, sum = ?6"),
      put_page_(
          db,
          "INSERT INTO page VALUES(?1, ?2, ?3) ON CONFLICT(key) DO UPDATE SET body = ?2, sum = ?3"),
      put_note_(
          db,
          "INSERT INTO note VALUES(?1, ?2, ?3) ON CONFLICT(id) DO UPDATE SET body = ?2, sum = ?3"),
      remove_definition_(db, "DELETE FROM definition WHERE id = ?1"),
      remove_object_(db, "DELETE FROM object WHERE id = ?1"),
      remove_page_(db, "DELETE FROM page WHERE key = ?1"),
      remove_note_(db, "DELETE FROM note WHERE id = ?1"),
      put_meta_(db, kPutMeta),
      history_(db) {}

void RowWriter::Write(const RowChange& change) {
  if (change.now != nullptr) {
    Put(*change.now, change.sum);
  } else {
    Remove(change.key);
  }
}

void RowWriter::Put(const Row& row, std::int64_t sum) {
  const std::int64_t key = TableKey(row.key);
  if (row.key.kind == RowKind::kChunk || row.key.kind == RowKind::kNote) {
    Statement& put = row.key.kind == RowKind::kChunk ? put_page_ : put_note_;
    put.Bind(1, key).BindText(2, row.body).Bind(3, sum).Run();
    return;
  }
  if (row.key.kind == RowKind::kObject) {
    put_object_.Bind(1, key).Bind(2, row.type).BindText(3, row.name).BindBlob(4, row.body);
    if (row.lists.empty()) {
      put_object_.BindNull(5);
    } else {
      put_object_.BindText(5, row.lists);
    }
    put_object_.Bind(6, sum).Run();
    return;
  }
  put_definition_.Bind(1, key).Bind(2, row.type).BindText(3, row.name);
  put_definition_.BindText(4, row.body).Bind(5, sum).Run();
}

void RowWriter::Remove(const RowKey& key) {
  Statement& statement = key.kind == RowKind::kDefinition ? remove_definition_
                         : key.kind == RowKind::kObject   ? remove_object_
                         : key.kind == RowKind::kNote     ? remove_note_
                                                          : remove_page_;
  statement.Bind(1, TableKey(key)).Run();
}

void RowWriter::Commit(const StoredState& state, const ChangeSet& changes) {
  changes.ForEachEntry([this](const HistoryEntry& entry) { history_.Put(entry); });
  if (state.history.first != first_entry_) history_.Cut(state.history.first);
  PutMeta(put_meta_, {state, true});
  commit_.Run();
  first_entry_ = state.history.first;
}

}  // namespace ncc
