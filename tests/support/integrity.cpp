#include "integrity.h"

#include "core/entry.h"
#include "core/examination.h"
#include "core/walk.h"
#include "net_access.h"

#include <map>
#include <set>

namespace {

using ncc::kNoPosition;

// The list of the other side for a list of an object of this type; 0 when it must stay empty.
int OtherList(std::uint32_t type, int list) {
  static const std::map<std::pair<std::uint32_t, int>, int> pairs = {
      {{kTypeServer, 4}, 4}, {{kTypeServer, 5}, 4}, {{kTypeAP, 5}, 4},
      {{kTypeDep, 5}, 5},    {{kTypeNGrp, 4}, 5},   {{kTypeNGrp, 5}, 5}};
  const auto found = pairs.find({type, list});
  return found != pairs.end() ? found->second : 0;
}

bool IsNode(std::uint32_t type) { return type == kTypeServer || type == kTypeAP; }

bool MayLink(const CHDBRecord& from, int list, const CHDBRecord& to) {
  if (from.Type() == kTypeServer && list == 4) return to.Type() == kTypeServer;
  if (from.Type() != kTypeNGrp) return to.Type() == kTypeNGrp;
  return list == 4 ? IsNode(to.Type()) : to.Type() == kTypeDep;
}

class Examination {
 public:
  explicit Examination(CNCCNet& net)
      : base_(*NetAccess::HDBase(net)), root_(*NetAccess::RootFolder(net)) {
    for (const unsigned long id : AllObjects(net))
      numbers_.push_back(static_cast<std::uint32_t>(id));
  }

  std::string Run() {
    LookAtItems(root_);
    for (const std::uint32_t number : numbers_) {
      const CHDBRecord& record = *base_.FindRecord(number);
      LookAtEntry(record);
      for (int list = 4; list <= 6; ++list) LookAtList(record, list);
      LookAtItems(Folder(number));
      LookAtParents(number);
    }
    return faults_;
  }

 private:
  void Expect(bool right, std::uint32_t number, const std::string& fault) {
    if (!right) faults_ += "object " + std::to_string(number) + ": " + fault + "\n";
  }
  CHDBFolder& Folder(std::uint32_t number) {
    return *CHDBFolderManager(base_).FolderOpen({ncc::kFolderSpace, number});
  }

  void LookAtEntry(const CHDBRecord& record) {
    const auto head = ncc::EntryOf<CNCCEntry>(record);
    const std::uint32_t number = record.Number();
    Expect(head.id == number && head.type == record.Type(), number, "entry of another object");
    Expect(head.name == record.Name(), number, "name differs from the entry's");
    if (record.Type() == kTypeServer) {
      std::uint32_t aps = 0;
      ncc::WalkEntries(Folder(number), [&](const CHDBFolderEntry& entry, std::uint32_t) {
        if (entry.Kind() == kTypeAP) ++aps;
        return true;
      });
      Expect(ncc::EntryOf<CNNEntry>(record).ap_count == aps, number, "wrong number of APs");
    }
    if (record.Type() == kTypeDep) {
      const std::uint32_t group = ncc::EntryOf<CDepEntry>(record).ngrp_id;
      Expect(group == 0 || record.List(5).Find(group) != kNoPosition, number, "not in its group");
    }
  }

  void LookAtList(const CHDBRecord& record, int list) {
    const std::uint32_t number = record.Number();
    const int other_list = OtherList(record.Type(), list);
    std::set<std::uint32_t> seen;
    ncc::WalkIds(record, list, [&](const TDBObjId& linked) {
      const std::string what =
          "list " + std::to_string(list) + ", " + std::to_string(linked.number);
      const CHDBRecord* const other = base_.FindRecord(linked.number);
      Expect(other_list != 0 && linked.space == ncc::kFolderSpace, number, what + " is misplaced");
      Expect(seen.insert(linked.number).second, number, what + " stands twice");
      Expect(other != nullptr, number, what + " does not exist");
      if (other == nullptr || other_list == 0) return;
      Expect(MayLink(record, list, *other), number, what + " is of a wrong type");
      Expect(other->List(other_list).Find(number) != kNoPosition, number,
             what + " has no link back");
    });
  }

  void LookAtItems(CHDBFolder& folder) {
    ncc::WalkEntries(folder, [&](const CHDBFolderEntry& entry, std::uint32_t at) {
      const std::uint32_t target = entry.Object().number;
      const std::string what = "item of " + std::to_string(target);
      const CHDBRecord* const record = base_.FindRecord(target);
      Expect(record != nullptr, folder.Number(), what + ", which does not exist");
      const auto parents = base_.ParentLinkSelect(entry.Object());
      Expect(std::find(parents.begin(), parents.end(), folder.Id()) != parents.end(),
             folder.Number(), what + ", which has another parent");
      const bool is_named = record == nullptr || entry.Object().space == ncc::kRecordSpace ||
                            ncc::EqualFolded(folder.EntryName(at), record->Name());
      Expect(is_named, folder.Number(), what + " of another name");
      const bool is_record = entry.Object().space == ncc::kRecordSpace;
      Expect(is_record == (entry.Kind() == ncc::kRecordItem), folder.Number(),
             what + " of a wrong kind");
      const bool network = &folder == &root_ && entry.Kind() == 0;
      Expect(record == nullptr || is_record || network || entry.Kind() == record->Type(),
             folder.Number(), what + " of another type");
      return true;
    });
  }

  // Every parent has an item, and the right ones do: an AP's server alone, the root for all others.
  void LookAtParents(std::uint32_t number) {
    const TDBObjId object{ncc::kFolderSpace, number};
    const CHDBRecord& record = *base_.FindRecord(number);
    const auto parents = base_.ParentLinkSelect(object);
    for (const TDBObjId& parent : parents) {
      CHDBFolder& folder = Folder(parent.number);
      Expect(folder.Find(object) != kNoPosition || folder.Find(record.Id()) != kNoPosition, number,
             "no item in its parent " + std::to_string(parent.number));
    }
    const bool is_ap = record.Type() == kTypeAP;
    const std::uint32_t home = is_ap ? ncc::EntryOf<CNNEntry>(record).server_id : root_.Number();
    const bool known = base_.HasFolder({ncc::kFolderSpace, home});
    Expect(known && Folder(home).Find(object) != kNoPosition, number, "not in its home folder");
    Expect(!is_ap || parents.size() == 1, number, "an AP with several parents");
  }

  CHDBase& base_;
  CHDBFolder& root_;
  std::vector<std::uint32_t> numbers_;
  std::string faults_;
};

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
  std::string faults = Examination(net).Run();
  try {
    ncc::ExamineNetwork(*NetAccess::HDBase(net));
  } catch (const ncc::StorageError& error) {
    faults += std::string("it would not be opened again: ") + error.what() + "\n";
  }
  return faults;
}
