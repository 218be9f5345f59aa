// The forms in which a generator is called: for one node, for all of them, for a list.
#pragma once

#include "core/entity.h"
#include "platform/disk/files.h"

#include <array>
#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace ncc {

// Of the steps of a generation whose result is fixed, keeps the first failure. Needs no memory.
class FirstFailure {
 public:
  // After each step, with its result: takes up what the step left as the last error.
  void Note(bool result = true) noexcept;
  // The same for a step that may well have nothing to do: it counts when nothing else has failed.
  void NoteMinor(bool result) noexcept;
  // Reports a file that was written to the journal; the observer hears of a failure.
  void Journal(NetState& net, const std::string& path, std::uint32_t node);
  // At the end: leaves the first failure as the last error.
  void Report() const noexcept;

 private:
  using Text = std::array<char, 512>;
  static void Keep(Text& text) noexcept;

  Text text_{};
  Text minor_text_{};
};

// The steps of such a generation that are no generators; each leaves its failure as the last error.
// They are for a whole network or, with a number, for one node.

// The path of a folder below the one that was named; nothing without that, or while no database is
// open.
std::optional<std::string> OutputPath(NetState& net, const char* folder, std::string_view below);
// Makes that folder too; nothing when it cannot be used, which the observer is told.
std::optional<std::string> OutputFolder(NetState& net, const char* folder, std::string_view below,
                                        std::uint32_t node = 0);
// Deletes the files of a folder whose names begin with `prefix`.
bool EmptyFolder(NetState& net, const std::string& folder, std::string_view prefix = "");

// The progress callback, called under the lock between two nodes.
bool CallBetweenNodes(NetState& net);

enum class Callback { kNone, kBeforeEach };
enum class Stop { kNever, kAfterEach };

// Runs one(object) for all servers in root order, or all APs by ascending identifier. Always true.
template <class One>
bool ForAll(NetState& net, std::uint8_t type, Callback callback, Stop stop, One one) {
  std::vector<std::uint32_t> numbers;
  const bool listed = Run(net, false, [&] {
    numbers = type == kTypeServer ? RootObjects(net, type) : NumbersOf(net, type);
    return true;
  });
  if (!listed) return true;
  FirstFailure failure;
  for (const std::uint32_t number : numbers) {
    if (callback == Callback::kBeforeEach) CallBetweenNodes(net);
    TDBObjId object{kFolderSpace, number};
    one(object);
    failure.Note();
    if (stop == Stop::kAfterEach && net.StopRequested()) break;
  }
  failure.Report();
  return true;
}

// Which nodes a generator takes: those of a type, or all.
inline const CHDBRecord* FindTaken(const NetState& net, unsigned long id, std::uint8_t type) {
  return type == kTypeNone ? FindNode(net, id) : FindObject(net, id, type);
}

// Runs one(object) for the node of this type (kTypeNone: any); false when there is none.
template <class One>
bool ForKnown(NetState& net, unsigned long id, std::uint8_t type, One one) {
  TDBObjId object;
  const bool known = Run(net, false, [&] {
    const CHDBRecord* record = FindTaken(net, id, type);
    if (record == nullptr) RefuseUnknown(type, id);
    object = FolderOf(*record);
    return true;
  });
  if (!known) return false;
  one(object);
  return true;
}

// Runs one(id) for each of the list. Always true.
template <class One>
bool ForList(NetState& net, const std::list<unsigned long>& ids, Stop stop, FirstFailure& failure,
             One one) {
  for (const unsigned long id : ids) {
    one(id);
    failure.Note();
    if (stop == Stop::kAfterEach && net.StopRequested()) break;
  }
  failure.Report();
  return true;
}

}  // namespace ncc
