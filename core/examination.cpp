#include "core/examination.h"

#include "core/entry.h"
#include "core/links.h"
#include "core/walk.h"
#include "platform/hdb/paged_table.h"

#include <array>
#include <cstring>
#include <initializer_list>

namespace ncc {
namespace {

// A set of types.
constexpr std::uint32_t Types(std::initializer_list<std::uint8_t> types) {
  std::uint32_t set = 0;
  for (const std::uint8_t type : types) set |= 1U << type;
  return set;
}
constexpr bool Contains(std::uint32_t set, std::uint32_t type) {
  return type < 32 && (set >> type & 1) != 0;
}

// What the folder of an object of a type may hold.
constexpr std::uint32_t TypesBelow(std::uint32_t type) {
  if (type == kTypeServer) return Types({kTypeAP});
  if (type == kTypeDep) return Types({kTypeDep, kTypeAB});
  return 0;
}
constexpr std::uint32_t kTypesBelowRoot = Types({0, kTypeServer, kTypeDep, kTypeAB, kTypeNGrp});

// 0 for a type that is not known.
constexpr std::size_t EntrySize(std::uint32_t type) {
  switch (type) {
    case kTypeServer:
    case kTypeAP:
      return sizeof(CNNEntry);
    case kTypeDep:
      return sizeof(CDepEntry);
    case kTypeAB:
      return sizeof(CABEntry);
    case kTypeNGrp:
      return sizeof(CNGrpEntry);
    default:
      return 0;
  }
}

std::string NameOf(std::uint32_t type, std::uint32_t number) {
  if (number == kRootNumber) return "the root folder";
  if (number == kNetworkNumber) return "the network record";
  const auto kind = static_cast<std::uint8_t>(EntrySize(type) != 0 ? type : kTypeNone);
  return std::string(KindName(kind)) + " " + std::to_string(number);
}

// The type of each object, one beside the other: what items name is looked up here many times.
using TypeTable = PagedTable<std::uint8_t>;

// One object under examination.
class Examination {
 public:
  Examination(const CHDBase& base, const TypeTable& types, const CHDBRecord& object)
      : base_(base), types_(types), folder_(object), record_(object), type_(record_.Type()) {}

  // What the object is by itself.
  void ExamineValues() const {
    if (folder_.Number() == kRootNumber) {
      Expect(type_ == 0 && record_.Data().empty() && record_.Name().empty(),
             "it has values of an object");
    } else if (folder_.Number() == kNetworkNumber) {
      Expect(type_ == 0 && record_.Data().size() == sizeof(CNetPref), "it is no preferences block");
    } else {
      ExamineEntry();
    }
  }

  // What it names, when each object is what its type says.
  void ExamineReferences() const {
    if (type_ != 0) ExamineHome();
    ExamineLists();
    ExamineItems(folder_.Number() == kRootNumber ? kTypesBelowRoot : TypesBelow(type_));
    if (type_ == kTypeServer) ExamineAPs();
  }

 private:
  // `other` is an object that it is about, too.
  [[noreturn]] void Fail(const std::string& fault, std::uint32_t other = 0) const {
    throw UnsoundNetwork(NameOf(type_, folder_.Number()) + ": " + fault, {folder_.Number(), other});
  }
  void Expect(bool right, const char* fault) const {
    if (!right) Fail(fault);
  }
  void Expect(bool right, const char* fault, std::uint32_t type, std::uint32_t number) const {
    if (!right) Fail(fault + (" " + NameOf(type, number)), number);
  }

  void ExamineEntry() const {
    if (EntrySize(type_) == 0) Fail("its type, " + std::to_string(type_) + ", is unknown");
    Expect(record_.Data().size() == EntrySize(type_), "its entry is of a wrong size");
    const auto head = EntryOf<CNCCEntry>(record_);
    Expect(head.id == record_.Number() && head.type == type_, "its entry is another object's");
    const std::size_t length = strnlen(head.name, sizeof(head.name));
    Expect(length <= kMaxNameLength, "the name in its entry does not end");
    Expect(record_.Name() == std::string_view(head.name, length),
           "its name is not that in its entry");
  }

  // Where it is an item by rights: an AP in its server's folder alone, all others in the root.
  void ExamineHome() const {
    const auto parents = folder_.Parents();
    if (type_ == kTypeAP) {
      const std::uint32_t server = EntryOf<CNNEntry>(record_).server_id;
      Expect(parents.size() == 1 && parents.front() == server, "it is not under its one server,",
             kTypeServer, server);
    } else {  // the root has the highest number
      Expect(!parents.empty() && parents.back() == kRootNumber, "the root folder lacks it");
    }
    if (type_ != kTypeDep) return;
    const std::uint32_t group = EntryOf<CDepEntry>(record_).ngrp_id;
    Expect(group == 0 || record_.List(kGroupsOfDep).Find(group) != kNoPosition,
           "it is not in its group,", kTypeNGrp, group);
  }

  void ExamineLists() const {
    for (int list = kFirstListPosition; list <= kLastListPosition; ++list) {
      if (record_.List(list).Size() == 0) continue;
      const LinkPair* const pair = FindLinkPair(type_, list);
      Expect(pair != nullptr, "it has links that it cannot have");
      ExamineLinks(record_.List(list), *pair);
    }
    Expect(record_.Pairs().Size() == 0 || type_ == kTypeAB, "it has memberships and is no user");
  }

  // Each link once, and once again on the other side.
  void ExamineLinks(const IdList& links, const LinkPair& pair) const {
    for (auto at = links.First(); at != kNoPosition; at = links.Next(at)) {
      const TDBObjId& linked = links.At(at).object;
      const CHDBRecord* const other = base_.FindRecord(linked.number);
      Expect(other != nullptr && linked.space == kFolderSpace, "it is linked to what is not there,",
             kTypeNone, linked.number);
      Expect(Contains(pair.linked, other->Type()) && other != &record_, "it cannot be linked to",
             other->Type(), linked.number);
      Expect(links.Find(linked.number) == at, "it is linked twice to", other->Type(),
             linked.number);
      Expect(other->List(pair.other_list).Find(record_.Number()) != kNoPosition,
             "it is not linked back by", other->Type(), linked.number);
    }
  }

  void ExamineItems(std::uint32_t allowed) const {
    const CHDBEntryList& items = folder_.Entries();
    // What a Dep lists may stand there more than once.
    const bool once = type_ != kTypeDep;
    for (auto at = items.First(); at != kNoPosition; at = items.Next(at)) {
      const CHDBFolderEntry& item = items.At(at);
      const TDBObjId object = item.Object();
      const std::uint8_t* const known = types_.Find(object.number);
      const std::uint8_t type = known != nullptr ? *known : std::uint8_t{0};
      const bool names_record = object.space == kRecordSpace && folder_.Number() != kRootNumber;
      Expect(Contains(allowed, type) && (names_record || object.space == kFolderSpace) &&
                 item.Kind() == (names_record ? kRecordItem : type),
             "it cannot hold, as this kind of item,", type, object.number);
      Expect(!once || items.Find(item.Key()) == at, "it holds twice", type, object.number);
      Expect(type != 0 || (at == items.First() && object.number == kNetworkNumber),
             "it cannot hold there", type, object.number);
      const std::string* const label = folder_.Label(at);
      Expect(label == nullptr ||
                 (label->size() <= kMaxNameLength && label->find('\0') == std::string::npos),
             "it gives an impossible name to", type, object.number);
    }
  }

  void ExamineAPs() const {
    std::uint32_t aps = 0;
    const CHDBEntryList& items = folder_.Entries();
    for (auto at = items.First(); at != kNoPosition; at = items.Next(at)) {
      if (items.At(at).Kind() != kTypeAP) continue;
      ++aps;
      const std::uint32_t ap = items.At(at).Object().number;
      Expect(folder_.Find({kRecordSpace, ap}) != kNoPosition, "it lacks the record of", kTypeAP,
             ap);
    }
    Expect(items.Size() == std::size_t{2} * aps && EntryOf<CNNEntry>(record_).ap_count == aps,
           "it has another number of APs than its entry says");
  }

  const CHDBase& base_;
  const TypeTable& types_;
  const CHDBFolder& folder_;
  const CHDBRecord& record_;
  const std::uint32_t type_;
};

// The definitions that BuildLayout makes, whatever their names.
void ExamineDefinitions(const CHDBase& base) {
  using What = CHDBDefinition::What;
  static const std::array<CHDBDefinition, 6> kDefinitions = {
      {{What::kIndex, "", kIdAttribute, kNumberValue},
       {What::kIndex, "", kNameAttribute, kStringValue, kMaxNameLength},
       {What::kIndex, "", kTypeAttribute, kNumberValue},
       {What::kRecordSpace, "", kRecordSpace, 0, 0, CHDBase::kRecordTag},
       {What::kParentLink, ""},
       {What::kFolderSpace, "", kFolderSpace, 0, 0, CHDBase::kFolderTag}}};
  const auto same = [](const CHDBDefinition& one, const CHDBDefinition& other) {
    return one.what == other.what && one.number == other.number && one.kind == other.kind &&
           one.length == other.length && one.tag == other.tag && one.flags == other.flags;
  };
  if (!std::ranges::equal(base.Definitions(), kDefinitions, same)) {
    throw UnsoundNetwork("its definitions are not those of a network", {});
  }
}

void ExamineNote(const CHDBase& base, std::uint32_t number) {
  const CHDBRecord* const object = base.FindRecord(number);
  const std::string name = NameOf(object != nullptr ? object->Type() : 0, number);
  if (number >= kNetworkNumber) throw UnsoundNetwork(name + " has notes", {number});
  if (object == nullptr)
    throw UnsoundNetwork(name + ": it is missing, and notes of it are there", {number});
}

// The faults that were met, the first of each object.
class Faults {
 public:
  explicit Faults(std::size_t most) : most_(most) {}

  template <class Examine>
  void Try(Examine examine) {
    if (faults_.size() == most_) return;
    try {
      examine();
    } catch (const UnsoundNetwork& fault) {
      faults_.push_back(fault);
    }
  }
  bool HasAny() const { return !faults_.empty(); }
  std::vector<UnsoundNetwork> Take() { return std::move(faults_); }

 private:
  const std::size_t most_;
  std::vector<UnsoundNetwork> faults_;
};

}  // namespace

std::vector<UnsoundNetwork> FaultsOf(const CHDBase& base, std::size_t most) {
  Faults faults(most);
  faults.Try([&] { ExamineDefinitions(base); });
  faults.Try([&] {
    if (!base.HasFolder({kFolderSpace, kRootNumber}))
      throw UnsoundNetwork("the root folder is missing", {kRootNumber});
  });
  TypeTable types;
  base.ForEachObject([&](const CHDBRecord& object) {
    faults.Try([&] { Examination(base, types, object).ExamineValues(); });
    types.At(object.Number()) = static_cast<std::uint8_t>(object.Type());
  });
  if (faults.HasAny()) return faults.Take();  // what follows takes all that for granted
  base.ForEachObject([&](const CHDBRecord& object) {
    faults.Try([&] { Examination(base, types, object).ExamineReferences(); });
  });
  for (const auto& [number, notes] : base.AllNotes())
    faults.Try([&base, number = number] { ExamineNote(base, number); });
  return faults.Take();
}

void ExamineNetwork(const CHDBase& base) {
  const std::vector<UnsoundNetwork> faults = FaultsOf(base, 1);
  if (!faults.empty()) throw UnsoundNetwork(faults.front());
}

}  // namespace ncc
