#include "tables.h"

namespace {

constexpr const char* kSchema = R"(
  PRAGMA foreign_keys = ON;
  CREATE TABLE server(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE COLLATE NOCASE,
                      number INTEGER, flags INTEGER, settings INTEGER, value INTEGER);
  CREATE TABLE ap(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE COLLATE NOCASE,
                  server INTEGER NOT NULL REFERENCES server, number INTEGER, flags INTEGER,
                  settings INTEGER);
  CREATE INDEX ap_server ON ap(server);
  CREATE TABLE ngrp(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE COLLATE NOCASE,
                    number INTEGER);
  CREATE TABLE dep(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE COLLATE NOCASE,
                   ngrp INTEGER REFERENCES ngrp, value INTEGER, kind INTEGER);
  CREATE INDEX dep_ngrp_id ON dep(ngrp);
  CREATE TABLE usr(id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE COLLATE NOCASE,
                   primary_dep INTEGER REFERENCES dep, primary_node INTEGER REFERENCES ap,
                   flags INTEGER);
  CREATE INDEX usr_primary_dep ON usr(primary_dep);
  CREATE INDEX usr_primary_node ON usr(primary_node);
  CREATE TABLE server_link(one INTEGER REFERENCES server, other INTEGER REFERENCES server,
                           PRIMARY KEY(one, other)) WITHOUT ROWID;
  CREATE INDEX server_link_other ON server_link(other);
  CREATE TABLE dep_link(one INTEGER REFERENCES dep, other INTEGER REFERENCES dep,
                        PRIMARY KEY(one, other)) WITHOUT ROWID;
  CREATE INDEX dep_link_other ON dep_link(other);
  CREATE TABLE dep_user(dep INTEGER REFERENCES dep, user INTEGER REFERENCES usr,
                        PRIMARY KEY(dep, user)) WITHOUT ROWID;
  CREATE INDEX dep_user_user ON dep_user(user);
  CREATE TABLE ngrp_node(ngrp INTEGER REFERENCES ngrp, node INTEGER REFERENCES ap,
                         PRIMARY KEY(ngrp, node)) WITHOUT ROWID;
  CREATE INDEX ngrp_node_node ON ngrp_node(node);
  CREATE TABLE ngrp_dep(ngrp INTEGER REFERENCES ngrp, dep INTEGER REFERENCES dep,
                        PRIMARY KEY(ngrp, dep)) WITHOUT ROWID;
  CREATE INDEX ngrp_dep_dep ON ngrp_dep(dep);
  CREATE TABLE membership(user INTEGER REFERENCES usr, dep INTEGER REFERENCES dep,
                          node INTEGER REFERENCES ap, kind INTEGER,
                          PRIMARY KEY(user, dep, node)) WITHOUT ROWID;
  CREATE INDEX membership_dep ON membership(dep);
  CREATE INDEX membership_node ON membership(node);
)";

void BindHead(sqlite3_stmt* insert, const CNCCEntry& entry) {
  sqlite3_bind_int64(insert, 1, entry.id);
  sqlite3_bind_text(insert, 2, entry.name, -1, SQLITE_STATIC);
}

void BindReference(sqlite3_stmt* insert, int parameter, std::uint32_t id) {
  if (id == 0) {
    sqlite3_bind_null(insert, parameter);
  } else {
    sqlite3_bind_int64(insert, parameter, id);
  }
}

// For each of `rows`: bind(statement, row).
template <class Rows, class Bind>
void InsertAll(sqlite3* db, const char* sql, const Rows& rows, Bind bind) {
  const SqliteStatement insert = Prepare(db, sql);
  for (const auto& row : rows) {
    bind(insert.get(), row);
    Run(insert.get());
  }
}

// query(owner, list) fills the list with what the owner is linked to.
template <class Linked, class Entry, class Query>
std::vector<Pair> ReadPairs(const std::list<Entry>& owners, Query query) {
  std::vector<Pair> pairs;
  std::list<Linked> list;
  for (const Entry& owner : owners) {
    query(owner.id, list);
    for (const Linked& entry : list) pairs.push_back({owner.id, entry.id});
  }
  return pairs;
}

void KeepOneDirection(std::vector<Pair>& pairs) {
  std::erase_if(pairs, [](const Pair& pair) { return pair.first > pair.second; });
}

}  // namespace

NetworkRows ReadRows(CNCCNet& net) {
  NetworkRows rows;
  net.GetListServer(rows.servers);
  net.GetListAP(rows.aps);
  net.GetListAB(rows.users);
  net.GetListDep(rows.deps);
  net.GetListNGrp(rows.groups);
  rows.server_links = ReadPairs<CNNEntry>(
      rows.servers, [&](auto server, auto& list) { net.GetListLinkedSrv(server, list); });
  KeepOneDirection(rows.server_links);
  rows.dep_links = ReadPairs<CDepEntry>(
      rows.deps, [&](auto dep, auto& list) { net.GetListLinkedDep(dep, list); });
  KeepOneDirection(rows.dep_links);
  rows.users_of_deps =
      ReadPairs<CABEntry>(rows.deps, [&](auto dep, auto& list) { net.GetListAB(dep, list); });
  rows.nodes_of_groups =
      ReadPairs<CNNEntry>(rows.groups, [&](auto group, auto& list) { net.GetListNN(group, list); });
  rows.deps_of_groups = ReadPairs<CDepEntry>(
      rows.groups, [&](auto group, auto& list) { net.GetListDepFromNGrp(group, list); });
  std::list<CColAb> places;
  for (const CABEntry& user : rows.users) {
    net.GetListAvailableColAb(user.id, places);
    for (const CColAb& place : places) rows.memberships.push_back({user.id, place});
  }
  return rows;
}

NetworkTables::NetworkTables(const std::string& file) : db_(CreateFile(file)) {
  ExecuteOn(db_.get(), kSchema);
}

void NetworkTables::Insert(const NetworkRows& rows) {
  ExecuteOn(db_.get(), "BEGIN");
  InsertNodes(rows);
  InsertGroupings(rows);
  InsertPairs("INSERT INTO server_link VALUES(?1, ?2)", rows.server_links);
  InsertPairs("INSERT INTO dep_link VALUES(?1, ?2)", rows.dep_links);
  InsertPairs("INSERT INTO dep_user VALUES(?1, ?2)", rows.users_of_deps);
  InsertPairs("INSERT INTO ngrp_node VALUES(?1, ?2)", rows.nodes_of_groups);
  InsertPairs("INSERT INTO ngrp_dep VALUES(?1, ?2)", rows.deps_of_groups);
  InsertAll(db_.get(), "INSERT INTO membership VALUES(?1, ?2, ?3, ?4)", rows.memberships,
            [](sqlite3_stmt* insert, const Membership& membership) {
              sqlite3_bind_int64(insert, 1, membership.user);
              sqlite3_bind_int64(insert, 2, membership.place.id.dep);
              sqlite3_bind_int64(insert, 3, membership.place.id.node);
              sqlite3_bind_int64(insert, 4, membership.place.kind);
            });
  ExecuteOn(db_.get(), "COMMIT");
}

void NetworkTables::InsertNodes(const NetworkRows& rows) {
  InsertAll(db_.get(), "INSERT INTO server VALUES(?1, ?2, ?3, ?4, ?5, ?6)", rows.servers,
            [](sqlite3_stmt* insert, const CNNEntry& server) {
              BindHead(insert, server);
              sqlite3_bind_int64(insert, 3, server.number);
              sqlite3_bind_int64(insert, 4, server.flags);
              sqlite3_bind_int64(insert, 5, server.settings);
              sqlite3_bind_int64(insert, 6, server.value);
            });
  InsertAll(db_.get(), "INSERT INTO ap VALUES(?1, ?2, ?3, ?4, ?5, ?6)", rows.aps,
            [](sqlite3_stmt* insert, const CNNEntry& ap) {
              BindHead(insert, ap);
              sqlite3_bind_int64(insert, 3, ap.server_id);
              sqlite3_bind_int64(insert, 4, ap.number);
              sqlite3_bind_int64(insert, 5, ap.flags);
              sqlite3_bind_int64(insert, 6, ap.settings);
            });
}

void NetworkTables::InsertGroupings(const NetworkRows& rows) {
  InsertAll(db_.get(), "INSERT INTO ngrp VALUES(?1, ?2, ?3)", rows.groups,
            [](sqlite3_stmt* insert, const CNGrpEntry& group) {
              BindHead(insert, group);
              sqlite3_bind_int64(insert, 3, group.number);
            });
  InsertAll(db_.get(), "INSERT INTO dep VALUES(?1, ?2, ?3, ?4, ?5)", rows.deps,
            [](sqlite3_stmt* insert, const CDepEntry& dep) {
              BindHead(insert, dep);
              BindReference(insert, 3, dep.ngrp_id);
              sqlite3_bind_int64(insert, 4, dep.value);
              sqlite3_bind_int64(insert, 5, dep.kind);
            });
  InsertAll(db_.get(), "INSERT INTO usr VALUES(?1, ?2, ?3, ?4, ?5)", rows.users,
            [](sqlite3_stmt* insert, const CABEntry& user) {
              BindHead(insert, user);
              BindReference(insert, 3, user.primary.dep);
              BindReference(insert, 4, user.primary.node);
              sqlite3_bind_int64(insert, 5, user.flags);
            });
}

void NetworkTables::InsertPairs(const char* sql, const std::vector<Pair>& pairs) {
  InsertAll(db_.get(), sql, pairs, [](sqlite3_stmt* insert, const Pair& pair) {
    sqlite3_bind_int64(insert, 1, pair.first);
    sqlite3_bind_int64(insert, 2, pair.second);
  });
}
