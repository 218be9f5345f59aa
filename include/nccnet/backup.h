/// \file
/// What can be asked of databases and their copies that are not open, and done to them. Failures
/// show in LastFailure() and in LastError() of any network object.
#pragma once

#include "nccnet/export.h"
#include "nccnet/failure.h"
#include "nccnet/records.h"

#include <cstdint>
#include <functional>
#include <list>

/// Who owns the database `name` in the folder `path`: "process 4711 (nccadm apply city.yaml), since
/// 2026-03-01 14:02:11". Empty when nobody does.
/// \throws std::bad_alloc
NCC_API CString DatabaseOwner(const char* path, const char* name);

/// What is known of a database from outside.
struct CDatabaseStatus {
  struct Node {
    CString place;         ///< "https://ncc1.example.org:2379"
    bool is_well = false;  ///< whether it does its part
    CString text;          ///< "leader, 12 MB"; what is wrong with it
  };
  struct Follower {
    CString who;  ///< as DatabaseOwner tells it
    std::uint64_t revision = 0;
  };

  bool is_shared = false;      ///< several machines can open it; false: it is a file
  CString owner;               ///< see DatabaseOwner
  std::uint64_t revision = 0;  ///< 0: it cannot be told
  std::list<Node> nodes;       ///< what keeps a shared one
  std::list<Follower> followers;
};

/// Asks what keeps the database, as far as it tells; changes nothing. \return false when there is
/// none, it cannot be read, or nothing answers; the nodes are told then too
NCC_API bool GetDatabaseStatus(const char* path, const char* name, CDatabaseStatus& status);

/// Copies a database with its history, as it was stored last, to one that does not exist yet: from
/// a file into a cluster, or back. Checks that the two are equal. `progress`, where it is not null,
/// is called for each row with how many there are. \return the revision of both; 0 when it failed
NCC_API std::uint64_t CopyDatabase(
    const char* from_path, const char* from_name, const char* to_path, const char* to_name,
    const std::function<void(std::uint64_t done, std::uint64_t rows)>& progress = nullptr);

/// Checks a copy as opening checks a database; touches nothing. `preferences`, where it is not
/// null, gets the preferences block of a whole one. \return its revision; 0 when it is not whole
NCC_API std::uint64_t CheckBackup(const char* file, CNetPref* preferences = nullptr);

/// Puts a copy in the place of a database, which may be missing or damaged but must have no owner.
/// The copy is checked wholly first. What is replaced stays beside it as a database whose file goes
/// to `kept`, which is empty when there was none. Whenever the process or the power ends, the old
/// database or the new one is there. Where the file system has no hard links a copy is kept, and a
/// database with a log that cannot be brought into it is refused, and so is one in a cluster.
/// \return false when nothing was replaced, or the system could not make durable what was
NCC_API bool RestoreBackup(const char* path, const char* name, const char* backup, CString& kept);
