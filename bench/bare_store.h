// What a program without the library would do: the same data in plain SQLite tables.
#pragma once

#include "nccnet/nccnet.h"

#include "sqlite.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

// One table with the indexes that answer what the library answers: by id, by name in any letter
// case, by parent. Everything here throws std::runtime_error.
class BareTable {
 public:
  explicit BareTable(const std::string& file);

  void Execute(const char* sql);
  void Insert(const CNNEntry& entry, std::uint32_t parent);

  // From here on everything is read within one transaction and from memory.
  void BeginReading();
  bool FindById(unsigned long id, CNNEntry& entry);
  bool FindByName(const std::string& name, std::uint8_t type, CNNEntry& entry);

 private:
  bool TakeEntry(sqlite3_stmt* statement, CNNEntry& entry);

  SqliteHandle db_;
  SqliteStatement insert_;
  SqliteStatement by_id_;
  SqliteStatement by_name_;
};

// A whole network in plain structures.
struct PlainObject {
  std::uint32_t id;
  std::uint32_t type;
  std::string name;
  std::array<char, 80> data;
};
struct PlainElement {
  std::uint32_t owner;
  std::uint32_t list;
  std::uint32_t number;
  std::uint32_t kind;
  std::uint32_t node;  // of a membership
};
struct PlainNetwork {
  std::vector<PlainObject> objects;
  std::vector<PlainElement> elements;
};

// Stores the network of a database that is closed in a new file: a row per object and a row per
// element of each of its lists, made with the views that the database has for reading it.
void StorePlain(const std::string& database, const std::string& file);
// Reads such a file from opening it to its last row, and checks nothing.
PlainNetwork ScanPlain(const std::string& file);
