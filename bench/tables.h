// What a program without the library would design: a table per kind of object and per relation.
#pragma once

#include "nccnet/nccnet.h"

#include "sqlite.h"

#include <cstdint>
#include <list>
#include <string>
#include <vector>

// A network row by row.
struct Pair {
  std::uint32_t first;
  std::uint32_t second;
};
struct Membership {
  std::uint32_t user;
  CColAb place;
};
struct NetworkRows {
  std::list<CNNEntry> servers;
  std::list<CNNEntry> aps;
  std::list<CABEntry> users;
  std::list<CDepEntry> deps;
  std::list<CNGrpEntry> groups;
  std::vector<Pair> server_links;  // each once
  std::vector<Pair> dep_links;     // each once
  std::vector<Pair> users_of_deps;
  std::vector<Pair> nodes_of_groups;  // APs alone
  std::vector<Pair> deps_of_groups;
  std::vector<Membership> memberships;
};

// The rows of an open network in which only APs are in node groups.
NetworkRows ReadRows(CNCCNet& net);

// Foreign keys everywhere, each with an index of its child's side; names unique within their kind
// in any letter case. Unlike the library the tables keep no order of links. Everything here throws
// std::runtime_error.
class NetworkTables {
 public:
  explicit NetworkTables(const std::string& file);

  // All of it in one transaction, with prepared statements.
  void Insert(const NetworkRows& rows);
  sqlite3* Get() const { return db_.get(); }

 private:
  void InsertNodes(const NetworkRows& rows);
  void InsertGroupings(const NetworkRows& rows);
  void InsertPairs(const char* sql, const std::vector<Pair>& pairs);

  SqliteHandle db_;
};
