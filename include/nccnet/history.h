/// \file
/// What changed in a database, who changed it, and how it was before.
#pragma once

#include "nccnet/export.h"
#include "nccnet/records.h"

#include <cstdint>
#include <list>
#include <vector>

namespace ncc {
struct NetState;
}  // namespace ncc

/// One unit of changes: what an operation, or a batch, has stored. Texts are UTF-8.
struct CHistoryEntry {
  std::uint64_t revision = 0;  ///< that the unit led to
  std::int64_t time = 0;       ///< microseconds since 1970-01-01 UTC
  CString person;              ///< the operator
  CString program;             ///< the file name of the program
  CString text;                ///< what it was for, as SetOrigin said
  /// Identifiers of the objects of which something stored has changed, ascending; a container of
  /// what was added or removed is among them. Those of the root folder and of the network record
  /// are 0xFFFFFFFF and 0xFFFFFFFE.
  std::vector<std::uint32_t> objects;
};

/// How much of the history a database keeps. What goes, goes whole, with the next change.
struct CHistoryRule {
  enum Keep : std::uint8_t { kAll = 0, kUnits = 1, kDays = 2, kNone = 3 };

  Keep keep = kAll;
  std::uint32_t count = 0;  ///< of the last units or days; 1 or more
};

/// The history of an open database: a part of CNCCNet. Every unit that changes something leaves an
/// entry, stored by the same commit. Members hold the object lock; failures show in the result and
/// in LastError().
class NCC_API CNetHistory {
 public:
  CNetHistory(const CNetHistory&) = delete;
  CNetHistory& operator=(const CNetHistory&) = delete;

  /// Names who makes the changes of this object from now on and what for, in UTF-8 (what is not
  /// becomes '?'); of longer texts the first 200 and 1,000 bytes are kept. Until it is called, and
  /// for a null pointer, the operator is the user that the process runs for and the text is empty.
  /// \return false when the system gives no memory
  bool SetOrigin(const char* person, const char* text);

  /// Fills the list with the units from revision `to` down to `from`, as far as they are kept,
  /// newest first. \return how many there are
  unsigned long GetHistory(std::uint64_t from, std::uint64_t to, std::list<CHistoryEntry>& list);

  /// The revision that the network had at a time (see CHistoryEntry); 0 before the database was
  /// made, and when that is not known any more.
  std::uint64_t GetRevisionAt(std::int64_t time);

  /// Fills the list with the identifiers (see CHistoryEntry) of the objects that the running batch
  /// has changed so far. \return how many there are
  unsigned long GetChangedObjects(std::vector<std::uint32_t>& objects);

  /// Makes what OpenSnapshot has opened show the network as the unit of that revision left it; of
  /// one that is not older than the snapshot, as it is stored now.
  /// \return false, the network as it was stored last, when the history does not go back so far
  bool ShowRevision(std::uint64_t revision);

  /// Takes back what the units of these revisions have changed, as one unit: identifiers, ordinals,
  /// orders and memberships become what they were before them. The counters of the preferences do
  /// not go back, and the block is read anew. Undoing that unit does it all again.
  ///
  /// Refused is what would leave the network less sound: what later units have changed too, or
  /// rest on; a name that another object of the kind has got since; users that name what is gone.
  /// \return false when nothing was done, also because nothing is left of these changes; then
  ///   `in_the_way` has the revisions of later units, ascending, together with which it can be
  ///   done, as was tried; none when there are no such
  bool Undo(const std::list<std::uint64_t>& revisions, std::list<std::uint64_t>& in_the_way);
  bool Undo(std::uint64_t revision);  ///< the same of one

  /// Sets how much is kept, as a unit of its own. \return false when that could not be stored
  bool SetHistoryRule(const CHistoryRule& rule);
  /// The rule, and the oldest revision of which there is an entry; one behind the present revision
  /// when there is none. \return false when no database is open
  bool GetHistoryRule(CHistoryRule& rule, std::uint64_t& oldest);

 protected:
  CNetHistory() = default;
  ~CNetHistory() = default;
  void SetState(ncc::NetState& net) { net_ = &net; }

 private:
  ncc::NetState* net_ = nullptr;
};
