#include "peers.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace {

constexpr std::size_t kMapSize = std::size_t{1} << 30;

template <class Entry>
void AddEntries(std::vector<PeerEntry>& entries, const std::list<Entry>& list) {
  for (const Entry& entry : list) {
    PeerEntry& added = entries.emplace_back();
    added = {entry.id, entry.type, sizeof(Entry), {}};
    std::memcpy(added.bytes.data(), &entry, sizeof(Entry));
  }
}

void AddLinks(std::vector<PeerLink>& links, const std::vector<Pair>& pairs, std::uint32_t list) {
  for (const Pair& pair : pairs) {
    links.push_back({pair.first, list, pair.second});
    links.push_back({pair.second, list + 1, pair.first});
  }
}

char Fold(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; }

// A kind and a name in one letter case.
std::string NameKey(std::uint8_t type, std::string_view name) {
  std::string key(1, static_cast<char>(type));
  for (const char c : name) key += Fold(c);
  return key;
}

std::uint32_t HashName(std::uint8_t type, std::string_view name) {
  std::uint32_t hash = 2166136261U ^ type;
  for (const char c : name) hash = (hash ^ static_cast<unsigned char>(Fold(c))) * 16777619U;
  return hash ^ (hash >> 15);
}

bool SameName(std::string_view one, std::string_view other) {
  return std::ranges::equal(one, other, {}, Fold, Fold);
}

void Check(int code) {
  if (code != MDB_SUCCESS) throw std::runtime_error(mdb_strerror(code));
}

MDB_val Value(const void* bytes, std::size_t size) { return {size, const_cast<void*>(bytes)}; }
MDB_val Value(std::string_view bytes) { return Value(bytes.data(), bytes.size()); }

}  // namespace

PeerRows::PeerRows(const NetworkRows& rows) {
  AddEntries(entries, rows.servers);
  AddEntries(entries, rows.aps);
  AddEntries(entries, rows.users);
  AddEntries(entries, rows.deps);
  AddEntries(entries, rows.groups);
  std::ranges::sort(entries, {}, &PeerEntry::id);
  AddLinks(links, rows.users_of_deps, kUsersOfDep);
  AddLinks(links, rows.server_links, 3);
  AddLinks(links, rows.dep_links, 5);
  AddLinks(links, rows.nodes_of_groups, 7);
  AddLinks(links, rows.deps_of_groups, 9);
  for (const Membership& membership : rows.memberships) {
    links.push_back({membership.user, 11, membership.place.id.dep, membership.place.id.node});
  }
  for (const CNNEntry& ap : rows.aps) {
    links.push_back({ap.server_id, 12, ap.id});
  }
}

LmdbStore::LmdbStore(const std::string& file) {
  MDB_env* environment = nullptr;
  Check(mdb_env_create(&environment));
  environment_.reset(environment);
  Check(mdb_env_set_mapsize(environment, kMapSize));
  Check(mdb_env_set_maxdbs(environment, 3));
  Check(mdb_env_open(environment, file.c_str(), MDB_NOSUBDIR, 0600));
}

void LmdbStore::Insert(const PeerRows& rows) {
  MDB_txn* writing = nullptr;
  Check(mdb_txn_begin(environment_.get(), nullptr, 0, &writing));
  std::unique_ptr<MDB_txn, EndTransaction> transaction(writing);
  Check(mdb_dbi_open(writing, "id", MDB_CREATE | MDB_INTEGERKEY, &by_id_));
  Check(mdb_dbi_open(writing, "name", MDB_CREATE, &by_name_));
  Check(mdb_dbi_open(writing, "link", MDB_CREATE | MDB_DUPSORT | MDB_DUPFIXED, &links_));
  for (const PeerEntry& entry : rows.entries) {
    MDB_val id = Value(&entry.id, sizeof(entry.id));
    MDB_val bytes = Value(entry.Bytes());
    Check(mdb_put(writing, by_id_, &id, &bytes, MDB_APPEND));
    const std::string key = NameKey(entry.type, entry.Name());
    MDB_val name = Value(key);
    Check(mdb_put(writing, by_name_, &name, &id, 0));
  }
  for (const PeerLink& link : rows.links) {
    MDB_val owner = Value(&link, 2 * sizeof(std::uint32_t));
    MDB_val linked = Value(&link.number, 2 * sizeof(std::uint32_t));
    Check(mdb_put(writing, links_, &owner, &linked, 0));
  }
  Check(mdb_txn_commit(transaction.release()));
}

void LmdbStore::BeginReading() {
  MDB_txn* reading = nullptr;
  Check(mdb_txn_begin(environment_.get(), nullptr, MDB_RDONLY, &reading));
  reading_.reset(reading);
  MDB_cursor* cursor = nullptr;
  Check(mdb_cursor_open(reading, links_, &cursor));
  cursor_.reset(cursor);
}

bool LmdbStore::FindById(std::uint32_t id, void* entry) const {
  MDB_val key = Value(&id, sizeof(id));
  MDB_val found;
  if (mdb_get(reading_.get(), by_id_, &key, &found) != MDB_SUCCESS) return false;
  std::memcpy(entry, found.mv_data, found.mv_size);
  return true;
}

bool LmdbStore::FindByName(std::uint8_t type, std::string_view name, void* entry) const {
  const std::string folded = NameKey(type, name);
  MDB_val key = Value(folded);
  MDB_val found;
  if (mdb_get(reading_.get(), by_name_, &key, &found) != MDB_SUCCESS) return false;
  std::uint32_t id = 0;
  std::memcpy(&id, found.mv_data, sizeof(id));
  return FindById(id, entry);
}

void LmdbStore::ListUsers(std::uint32_t dep, std::list<CABEntry>& list) const {
  list.clear();
  const std::array<std::uint32_t, 2> owner = {dep, kUsersOfDep};
  MDB_val key = Value(owner.data(), sizeof(owner));
  MDB_val linked;
  int code = mdb_cursor_get(cursor_.get(), &key, &linked, MDB_SET_KEY);
  for (; code == MDB_SUCCESS; code = mdb_cursor_get(cursor_.get(), &key, &linked, MDB_NEXT_DUP)) {
    std::uint32_t user = 0;
    std::memcpy(&user, linked.mv_data, sizeof(user));
    FindById(user, &list.emplace_back());
  }
}

FlatTables::FlatTables(const PeerRows& rows)
    : entries_(rows.entries.back().id + 1), names_(std::size_t{1} << 18), users_(entries_.size()) {
  for (const PeerEntry& entry : rows.entries) {
    entries_[entry.id] = entry;
    const std::uint32_t hash = HashName(entry.type, entry.Name());
    std::size_t at = hash % names_.size();
    while (names_[at].id != 0) at = (at + 1) % names_.size();
    names_[at] = {hash, entry.id};
  }
  for (const PeerLink& link : rows.links) {
    if (link.list == kUsersOfDep) users_[link.owner].push_back(link.number);
  }
}

bool FlatTables::FindById(std::uint32_t id, void* entry) const {
  if (id >= entries_.size() || entries_[id].size == 0) return false;
  std::memcpy(entry, entries_[id].bytes.data(), entries_[id].size);
  return true;
}

bool FlatTables::FindByName(std::uint8_t type, std::string_view name, void* entry) const {
  const std::uint32_t hash = HashName(type, name);
  for (std::size_t at = hash % names_.size(); names_[at].id != 0; at = (at + 1) % names_.size()) {
    if (names_[at].hash != hash) continue;
    const PeerEntry& found = entries_[names_[at].id];
    if (found.type == type && SameName(found.Name(), name)) return FindById(found.id, entry);
  }
  return false;
}

void FlatTables::ListUsers(std::uint32_t dep, std::list<CABEntry>& list) const {
  list.clear();
  for (const std::uint32_t user : users_[dep]) FindById(user, &list.emplace_back());
}
