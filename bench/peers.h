// What other programs would keep the same network in: LMDB, and plain tables in memory.
#pragma once

#include "tables.h"

#include <lmdb.h>

#include <array>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// An object's entry as the library hands it out.
struct PeerEntry {
  std::uint32_t id;
  std::uint8_t type;
  std::uint8_t size;
  std::array<char, sizeof(CNNEntry)> bytes;

  std::string_view Name() const { return bytes.data(); }
  std::string_view Bytes() const { return {bytes.data(), size}; }
};
struct PeerLink {
  std::uint32_t owner;
  std::uint32_t list;
  std::uint32_t number;
  std::uint32_t node = 0;  // of a membership
};
struct PeerRows {
  explicit PeerRows(const NetworkRows& rows);

  std::vector<PeerEntry> entries;  // by their numbers
  std::vector<PeerLink> links;     // both ways
};

inline constexpr std::uint32_t kUsersOfDep = 1;

// An ordered table of the entries by number, one of the numbers by kind and folded name, and one of
// links, sorted within an owner's list. Everything here throws std::runtime_error.
class LmdbStore {
 public:
  explicit LmdbStore(const std::string& file);

  // All of it in one transaction that is on the disk when it returns.
  void Insert(const PeerRows& rows);

  void BeginReading();
  bool FindById(std::uint32_t id, void* entry) const;
  bool FindByName(std::uint8_t type, std::string_view name, void* entry) const;
  void ListUsers(std::uint32_t dep, std::list<CABEntry>& list) const;

 private:
  struct CloseEnvironment {
    void operator()(MDB_env* environment) const { mdb_env_close(environment); }
  };
  struct EndTransaction {
    void operator()(MDB_txn* transaction) const { mdb_txn_abort(transaction); }
  };
  struct CloseCursor {
    void operator()(MDB_cursor* cursor) const { mdb_cursor_close(cursor); }
  };

  std::unique_ptr<MDB_env, CloseEnvironment> environment_;
  std::unique_ptr<MDB_txn, EndTransaction> reading_;
  std::unique_ptr<MDB_cursor, CloseCursor> cursor_;
  MDB_dbi by_id_ = 0;
  MDB_dbi by_name_ = 0;
  MDB_dbi links_ = 0;
};

// The least that any program needs: an array of entries, a hash table of names, an array of users.
class FlatTables {
 public:
  explicit FlatTables(const PeerRows& rows);

  bool FindById(std::uint32_t id, void* entry) const;
  bool FindByName(std::uint8_t type, std::string_view name, void* entry) const;
  void ListUsers(std::uint32_t dep, std::list<CABEntry>& list) const;

 private:
  struct Slot {
    std::uint32_t hash = 0;
    std::uint32_t id = 0;  // 0: empty
  };

  std::vector<PeerEntry> entries_;  // at their numbers
  std::vector<Slot> names_;
  std::vector<std::vector<std::uint32_t>> users_;  // at the Dep's number
};
