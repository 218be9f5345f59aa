// What stands in the values: rows in blocks, and the records that tell of them.
#pragma once

#include "platform/cluster/layout.h"
#include "platform/storage/row.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace ncc::etcd {

// Written by each commit. `fence` is drawn by an owner who settles a commit: it makes the head
// another without changing anything.
struct Head {
  StoredState state;
  std::uint64_t fence = 0;
};

struct Base {
  std::uint64_t revision = 0;  // 0: there is none
  std::uint32_t blocks = 0;
  std::uint64_t size = 0;  // of them all
};

struct Unit {
  StoredState state;  // that it led to
  Stage stage;
  std::uint32_t staged = 0;  // blocks
  std::string block;         // the last one
};

struct Entry {
  HistoryEntry entry;  // `replaced` without its pieces
  Stage stage;
  std::uint32_t pieces = 0;
  std::uint32_t sum = 0;  // over the whole entry
};

// The others throw StorageError "database is damaged: ..." for what the first ones did not write,
// where it can be told a newer version of them.
std::string Encode(const Head& head);
std::string Encode(const Base& base);
std::string Encode(const Unit& unit);
std::string Encode(const Entry& entry);
Head DecodeHead(std::string_view value);
Base DecodeBase(std::string_view value);
Unit DecodeUnit(std::string_view value);
Entry DecodeEntry(std::string_view value);

// Of all that an entry holds.
std::uint32_t SumOf(const HistoryEntry& entry);

// Makes blocks of a stream of rows.
class BlockWriter {
 public:
  // Each block but the last goes to `sink`, at once.
  using Sink = std::function<void(const std::string& block)>;
  explicit BlockWriter(Sink sink) : sink_(std::move(sink)) {}

  // A null row was removed.
  void Add(const RowKey& key, const RowView* row, std::uint32_t sum);
  std::string Finish();

 private:
  std::string stream_;
  Sink sink_;
};

// Gives the rows of a stream whose blocks come one after the other.
class BlockReader {
 public:
  // A row lives until `visit` returns; null for one that was removed.
  using Visit = std::function<void(const RowKey&, const RowView* row, std::uint32_t sum)>;
  explicit BlockReader(Visit visit) : visit_(std::move(visit)) {}

  // Throws StorageError "database is damaged: ...", also for a row that does not match its sum.
  void Take(std::string_view block);
  void Finish() const;

 private:
  std::string stream_;
  Visit visit_;
};

}  // namespace ncc::etcd
