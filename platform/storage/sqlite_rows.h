// How rows stand in the tables of the data file.
//
//   meta(id, revision, row_count, row_sum, unit, open, history_first, keep, keep_count, sum)
//                                           one row: the number of the last commit, how many rows
//                                           it left with which sum over all their sums, and what
//                                           was drawn for it; open is 1 from the first commit of an
//                                           owner to its clean close; then the oldest entry of
//                                           the history and how much of it is to stay
//   definition(id, type, name, body, sum)   body is JSON
//   object(id, type, name, data, lists, sum)
//                                           data is the image of the fixed values; lists is JSON:
//                                           an array of the first chunks of the object's lists
//   page(key, body, sum)                    any other chunk of a list: 64 positions as JSON, null
//                                           for a removed one; key = owner << 29 | list << 26 |
//                                           chunk
//   note(id, body, sum)                     the notes of an object: one JSON object of texts by
//   keys
//
//   history(revision, ..., sum)             the commits; see history_rows.h
//
// sum is the CRC-32C of the row's table, key and columns with their lengths. Views join the chunks
// for people: item (contents of folders), link (ties between objects), membership (users in Deps).
#pragma once

#include "platform/storage/history_rows.h"
#include "platform/storage/sqlite_statement.h"

#include <cstdint>
#include <functional>
#include <string>

namespace ncc {

// The whole contents of a data file that nothing was committed to.
std::string MakeEmptyDataFile();

struct MetaRow {
  StoredState state;
  bool open = false;
};

// These three throw StorageError "database is damaged: ..." for what this system did not write.
void CheckStructure(const Connection& db);
MetaRow ReadMeta(const Connection& db);
StoredState ReadRows(const Connection& db, const std::function<void(const RowView&)>& row);

// Takes the mark away that each commit makes.
void MarkClosed(const Connection& db);
// Opens a data file that nobody else knows yet: it needs no journal, and whoever publishes it
// flushes it.
Connection OpenNewFile(const std::string& file);

// Opens what the data file `name` holds without its log, for reading; `bytes` must outlive it.
Connection OpenImage(const std::string& bytes, const std::string& name);

// Writes changes with statements that are prepared once, in one transaction from Begin to Commit.
// After an exception it is still open, or its end is unknown.
class RowWriter {
 public:
  explicit RowWriter(const Connection& db);

  void Begin() { begin_.Run(); }
  void Write(const RowChange& change);
  void Commit(const StoredState& state, const ChangeSet& changes);

 private:
  void Put(const Row& row, std::int64_t sum);
  void Remove(const RowKey& key);

  Statement begin_;
  Statement commit_;
  Statement put_definition_;
  Statement put_object_;
  Statement put_page_;
  Statement put_note_;
  Statement remove_definition_;
  Statement remove_object_;
  Statement remove_page_;
  Statement remove_note_;
  Statement put_meta_;
  HistoryWriter history_;
  std::uint64_t first_entry_ = 0;  // no older one is there; 0 while that is not known
};

}  // namespace ncc
