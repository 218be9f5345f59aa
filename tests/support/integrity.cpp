#include "integrity.h"

#include "core/examination.h"
#include "net_access.h"
#include "platform/text/ascii_fold.h"

#include <algorithm>

namespace {

// What an examination on opening does not look at: names of items, and the parents, which are
// never stored.
std::string FindItemFaults(const CHDBase& base, const CHDBFolder& folder) {
  std::string faults;
  const auto& items = folder.Entries();
  for (auto at = items.First(); at != ncc::kNoPosition; at = items.Next(at)) {
    const TDBObjId target = items.At(at).Object();
    const CHDBRecord* const record = base.FindRecord(target.number);
    const auto parents = base.ParentLinkSelect(target);
    const bool is_right = record != nullptr &&
                          std::find(parents.begin(), parents.end(), folder.Id()) != parents.end() &&
                          (target.space == ncc::kRecordSpace ||
                           ncc::EqualFolded(folder.EntryName(at), record->Name()));
    if (!is_right) {
      faults += "object " + std::to_string(folder.Number()) + ": item of " +
                std::to_string(target.number) + "\n";
    }
  }
  return faults;
}

std::string FindParentFaults(CHDBase& base, std::uint32_t number) {
  const TDBObjId object{ncc::kFolderSpace, number};
  for (const TDBObjId& parent : base.ParentLinkSelect(object)) {
    const auto folder = CHDBFolderManager(base).FolderOpen(parent);
    if (folder->Find(object) == ncc::kNoPosition &&
        folder->Find({ncc::kRecordSpace, number}) == ncc::kNoPosition)
      return "object " + std::to_string(number) + ": no item in its parent\n";
  }
  return {};
}

}  // namespace

std::vector<unsigned long> AllObjects(CNCCNet& net) {
  std::vector<unsigned long> numbers;
  for (const auto type : {kTypeServer, kTypeAP, kTypeDep, kTypeAB, kTypeNGrp}) {
    NetAccess::HDBase(net)->RecSelect(type).ForEach(
        [&](std::uint32_t number) { numbers.push_back(number); });
  }
  return numbers;
}

std::string FindFaults(CNCCNet& net) {
  CHDBase& base = *NetAccess::HDBase(net);
  std::string faults = FindItemFaults(base, *NetAccess::RootFolder(net));
  for (const unsigned long id : AllObjects(net)) {
    const auto number = static_cast<std::uint32_t>(id);
    const auto folder = CHDBFolderManager(base).FolderOpen({ncc::kFolderSpace, number});
    faults += FindItemFaults(base, *folder) + FindParentFaults(base, number);
  }
  try {
    ncc::ExamineNetwork(base);
  } catch (const ncc::StorageError& error) {
    faults += std::string("it would not be opened again: ") + error.what() + "\n";
  }
  return faults;
}
