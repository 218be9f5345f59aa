// Compares lists of entries, as the library fills them, with lists of the same entries filled from
// SQLite tables by prepared selects, cached whole, inside one transaction. Lists of a whole kind,
// and short ones: the objects that are linked to one, for each object of a kind in turn.

#include "compare.h"
#include "network.h"
#include "scratch.h"
#include "tables.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace {

template <class Entry>
void TakeHead(sqlite3_stmt* row, Entry& entry) {
  entry.id = Number(row, 0);
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(row, 1));
  std::memcpy(entry.name, sqlite3_column_text(row, 1), std::min(size, kMaxNameLength) + 1);
}

void Take(sqlite3_stmt* row, CABEntry& user) {
  TakeHead(row, user);
  user.type = kTypeAB;
  user.primary = {Number(row, 2), Number(row, 3)};
  user.flags = static_cast<std::uint8_t>(Number(row, 4));
}

void Take(sqlite3_stmt* row, CDepEntry& dep) {
  TakeHead(row, dep);
  dep.type = kTypeDep;
  dep.ngrp_id = Number(row, 2);
  dep.value = Number(row, 3);
  dep.kind = static_cast<std::uint8_t>(Number(row, 4));
}

void Take(sqlite3_stmt* row, CNNEntry& ap) {
  TakeHead(row, ap);
  ap.type = kTypeAP;
  ap.attribute = 0;
  ap.server_id = Number(row, 2);
  ap.number = Number(row, 3);
  ap.flags = Number(row, 4);
  ap.settings = static_cast<std::uint8_t>(Number(row, 5));
  ap.ap_count = 0;
  ap.value = 0;
}

void Take(sqlite3_stmt* row, CColAb& place) {
  place.id = {Number(row, 0), Number(row, 1)};
  place.kind = static_cast<std::uint8_t>(Number(row, 2));
}

template <class Entry>
std::size_t Fill(sqlite3_stmt* select, std::list<Entry>& list) {
  list.clear();
  while (sqlite3_step(select) == SQLITE_ROW) Take(select, list.emplace_back());
  sqlite3_reset(select);
  return list.size();
}

// The full network, as it is after opening, and the same in tables.
struct Networks {
  Networks() {
    BuildDatabase(scratch.Path("db"), kFull);
    OpenDatabase(net, scratch.Path("db"));
    tables = std::make_unique<NetworkTables>(scratch.Path("tables.db"));
    const NetworkRows rows = ReadRows(net);
    tables->Insert(rows);
    BeginReading(tables->Get());
    for (const CNNEntry& server : rows.servers) servers.push_back(server.id);
    for (const CDepEntry& dep : rows.deps) deps.push_back(dep.id);
    for (const CNGrpEntry& group : rows.groups) groups.push_back(group.id);
    for (const CABEntry& user : rows.users) users.push_back(user.id);
  }

  ScratchFolder scratch;
  CNCCNet net;
  std::unique_ptr<NetworkTables> tables;
  Ids servers, deps, groups, users;
};

Networks& TheNetworks() {
  static Networks networks;
  return networks;
}

// Both fill() return how many rows they have listed; the same number.
template <class FillOurs, class FillBare>
void Compare(benchmark::State& state, FillOurs fill_ours, FillBare fill_bare) {
  const std::size_t rows = fill_ours();
  if (rows == 0 || fill_bare() != rows) throw std::runtime_error("the lists differ");
  Comparison comparison;
  for (auto _ : state) {
    fill_ours();
    const double ours = CpuSeconds(fill_ours);
    fill_bare();
    comparison.Add(state, ours, CpuSeconds(fill_bare));
  }
  comparison.Report(state, static_cast<double>(rows));
}

template <class Entry, class Query>
void CompareWhole(benchmark::State& state, Query query, const char* sql) {
  const SqliteStatement select = Prepare(TheNetworks().tables->Get(), sql);
  std::list<Entry> list;
  Compare(
      state, [&] { return query(TheNetworks().net, list); },
      [&] { return Fill(select.get(), list); });
}

// The statement's parameter is the owner.
template <class Entry, class Query>
void CompareByOwner(benchmark::State& state, const Ids& owners, Query query, const char* sql) {
  const SqliteStatement select = Prepare(TheNetworks().tables->Get(), sql);
  std::list<Entry> list;
  const auto fill_ours = [&] {
    std::size_t rows = 0;
    for (const unsigned long owner : owners) rows += query(TheNetworks().net, owner, list);
    return rows;
  };
  const auto fill_bare = [&] {
    std::size_t rows = 0;
    for (const unsigned long owner : owners) {
      sqlite3_bind_int64(select.get(), 1, static_cast<sqlite3_int64>(owner));
      rows += Fill(select.get(), list);
    }
    return rows;
  };
  Compare(state, fill_ours, fill_bare);
}

constexpr const char* kSelectUsers =
    "SELECT id, name, primary_dep, primary_node, flags FROM usr ORDER BY id";

// What the container itself costs: the best that a library can do which fills lists.
void ListFromArray(benchmark::State& state) {
  std::list<CABEntry> list;
  TheNetworks().net.GetListAB(list);
  const std::vector<CABEntry> array(list.begin(), list.end());
  CompareWhole<CABEntry>(
      state,
      [&](CNCCNet&, auto& copy) {
        copy.clear();
        for (const CABEntry& user : array) copy.emplace_back() = user;
        return copy.size();
      },
      kSelectUsers);
}
BENCHMARK(ListFromArray)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(30);

void ListUsers(benchmark::State& state) {
  CompareWhole<CABEntry>(
      state, [](CNCCNet& net, auto& list) { return net.GetListAB(list); }, kSelectUsers);
}
BENCHMARK(ListUsers)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(30);

void ListDeps(benchmark::State& state) {
  CompareWhole<CDepEntry>(
      state, [](CNCCNet& net, auto& list) { return net.GetListDep(list); },
      "SELECT id, name, ngrp, value, kind FROM dep ORDER BY id");
}
BENCHMARK(ListDeps)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(100);

void ListApsOfServers(benchmark::State& state) {
  CompareByOwner<CNNEntry>(
      state, TheNetworks().servers,
      [](CNCCNet& net, auto server, auto& list) { return net.GetListAP(server, list); },
      "SELECT id, name, server, number, flags, settings FROM ap WHERE server = ?1 ORDER BY id");
}
BENCHMARK(ListApsOfServers)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(60);

void ListUsersOfDeps(benchmark::State& state) {
  CompareByOwner<CABEntry>(
      state, TheNetworks().deps,
      [](CNCCNet& net, auto dep, auto& list) { return net.GetListAB(dep, list); },
      "SELECT id, name, primary_dep, primary_node, flags FROM dep_user JOIN usr ON usr.id = user "
      "WHERE dep = ?1 ORDER BY user");
}
BENCHMARK(ListUsersOfDeps)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(30);

void ListNodesOfGroups(benchmark::State& state) {
  CompareByOwner<CNNEntry>(
      state, TheNetworks().groups,
      [](CNCCNet& net, auto group, auto& list) { return net.GetListNN(group, list); },
      "SELECT id, name, server, number, flags, settings FROM ngrp_node JOIN ap ON ap.id = node "
      "WHERE ngrp = ?1 ORDER BY node");
}
BENCHMARK(ListNodesOfGroups)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(60);

void ListMembershipsOfUsers(benchmark::State& state) {
  CompareByOwner<CColAb>(
      state, TheNetworks().users,
      [](CNCCNet& net, auto user, auto& list) { return net.GetListAvailableColAb(user, list); },
      "SELECT dep, node, kind FROM membership WHERE user = ?1 ORDER BY dep, node");
}
BENCHMARK(ListMembershipsOfUsers)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(30);

}  // namespace
