// The forms in which a generator is called: for one node, for all of them, for a list.
#pragma once

#include "core/entity.h"
#include "platform/files.h"

#include <cstdint>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace ncc {

// Of the steps of a generation whose result is fixed, keeps the first failure.
class FirstFailure {
 public:
  // After each step, with its result: takes up what the step left as the last error.
  void Note(bool result = true);
  // Folders: what fails is noted.
  void Make(const std::string& folder);
  void Empty(const std::string& folder, std::string_view prefix = "");
  // The same for a step that may well have nothing to do: it counts when nothing else has failed.
  void NoteMinor(bool result);
  // Reports a file that was written to the journal; the observer hears of a failure.
  void Journal(NetState& net, const std::string& path, std::uint32_t node);
  // At the end: leaves the first failure as the last error.
  void Report() const;

 private:
  std::string text_;
  std::string minor_text_;
};

// The folder of a generator that makes folders, with a separator at its end. Nothing, and the last
// error says why, without a folder or while no database is open.
std::optional<std::string> OutputRoot(NetState& net, const char* folder);

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
