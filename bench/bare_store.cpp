#include "bare_store.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace {

void BindEntry(sqlite3_stmt* statement, int parameter, const CNNEntry& entry) {
  sqlite3_bind_blob(statement, parameter, &entry, sizeof(entry), SQLITE_STATIC);
}

}  // namespace

BareTable::BareTable(const std::string& file) : db_(CreateFile(file)) {
  Execute(
      "CREATE TABLE object(id INTEGER PRIMARY KEY, type INTEGER, name TEXT, parent INTEGER, data "
      "BLOB)");
  Execute("CREATE INDEX by_name ON object(name COLLATE NOCASE)");
  Execute("CREATE INDEX by_parent ON object(parent)");
  insert_ = Prepare(db_.get(), "INSERT INTO object VALUES(?1, ?2, ?3, ?4, ?5)");
  by_id_ = Prepare(db_.get(), "SELECT data FROM object WHERE id = ?1");
  by_name_ =
      Prepare(db_.get(),
              "SELECT data FROM object WHERE name = ?1 COLLATE NOCASE AND type = ?2 ORDER BY id");
}

void BareTable::Execute(const char* sql) { ExecuteOn(db_.get(), sql); }

void BareTable::Insert(const CNNEntry& entry, std::uint32_t parent) {
  sqlite3_stmt* statement = insert_.get();
  sqlite3_bind_int64(statement, 1, entry.id);
  sqlite3_bind_int64(statement, 2, entry.type);
  sqlite3_bind_text(statement, 3, entry.name, -1, SQLITE_STATIC);
  sqlite3_bind_int64(statement, 4, parent);
  BindEntry(statement, 5, entry);
  Run(statement);
}

void BareTable::BeginReading() { ::BeginReading(db_.get()); }

bool BareTable::TakeEntry(sqlite3_stmt* statement, CNNEntry& entry) {
  const bool found = sqlite3_step(statement) == SQLITE_ROW &&
                     sqlite3_column_bytes(statement, 0) == sizeof(CNNEntry);
  if (found) {
    std::memcpy(static_cast<void*>(&entry), sqlite3_column_blob(statement, 0), sizeof(CNNEntry));
  }
  sqlite3_reset(statement);
  return found;
}

bool BareTable::FindById(unsigned long id, CNNEntry& entry) {
  sqlite3_bind_int64(by_id_.get(), 1, static_cast<sqlite3_int64>(id));
  return TakeEntry(by_id_.get(), entry);
}

bool BareTable::FindByName(const std::string& name, std::uint8_t type, CNNEntry& entry) {
  sqlite3_bind_text(by_name_.get(), 1, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
  sqlite3_bind_int64(by_name_.get(), 2, type);
  return TakeEntry(by_name_.get(), entry);
}

void StorePlain(const std::string& database, const std::string& file) {
  const SqliteHandle db = OpenFile(file, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  const SqliteStatement attach = Prepare(db.get(), "ATTACH ?1 AS stored");
  sqlite3_bind_text(attach.get(), 1, database.data(), static_cast<int>(database.size()),
                    SQLITE_STATIC);
  Run(attach.get());
  ExecuteOn(db.get(), R"(
    CREATE TABLE object(id INTEGER PRIMARY KEY, type INTEGER, name TEXT, data BLOB);
    CREATE TABLE element(position INTEGER PRIMARY KEY, owner INTEGER, list INTEGER, number INTEGER,
                         kind INTEGER, node INTEGER);
    BEGIN;
    INSERT INTO object SELECT id, type, name, data FROM stored.object ORDER BY id;
    INSERT INTO element(owner, list, number, kind, node)
      SELECT * FROM (SELECT folder AS owner, 0 AS list, number, kind, NULL FROM stored.item
                     ORDER BY folder, position)
      UNION ALL SELECT * FROM (SELECT owner, list, number, NULL, NULL FROM stored.link
                               ORDER BY owner, list, position)
      UNION ALL SELECT * FROM (SELECT user, 7, dep, kind, node FROM stored.membership
                               ORDER BY user, position);
    COMMIT)");
}

PlainNetwork ScanPlain(const std::string& file) {
  const SqliteHandle db = OpenFile(file, SQLITE_OPEN_READONLY);
  PlainNetwork network;
  const SqliteStatement objects = Prepare(db.get(), "SELECT id, type, name, data FROM object");
  while (sqlite3_step(objects.get()) == SQLITE_ROW) {
    PlainObject& object = network.objects.emplace_back();
    object.id = Number(objects.get(), 0);
    object.type = Number(objects.get(), 1);
    object.name = reinterpret_cast<const char*>(sqlite3_column_text(objects.get(), 2));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(objects.get(), 3));
    const void* data = sqlite3_column_blob(objects.get(), 3);
    if (data != nullptr) std::memcpy(object.data.data(), data, std::min(size, object.data.size()));
  }
  const SqliteStatement elements =
      Prepare(db.get(), "SELECT owner, list, number, kind, node FROM element");
  while (sqlite3_step(elements.get()) == SQLITE_ROW) {
    PlainElement& element = network.elements.emplace_back();
    element.owner = Number(elements.get(), 0);
    element.list = Number(elements.get(), 1);
    element.number = Number(elements.get(), 2);
    element.kind = Number(elements.get(), 3);
    element.node = Number(elements.get(), 4);
  }
  return network;
}
