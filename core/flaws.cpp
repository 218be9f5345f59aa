#include "core/flaws.h"

#include "core/entry.h"
#include "platform/text/ascii_fold.h"

#include <cstddef>

namespace ncc {
namespace {

using What = Flaw::What;

bool IsThere(const CHDBase& base, const CColId& collective) {
  const auto type_of = [&](std::uint32_t number) {
    const CHDBRecord* const record = base.FindRecord(number);
    return record != nullptr ? record->Type() : 0;
  };
  const std::uint32_t node = type_of(collective.node);
  return (collective.dep == 0 || type_of(collective.dep) == kTypeDep) &&
         (collective.node == 0 || node == kTypeServer || node == kTypeAP);
}

void AddFlawsOfUser(const CHDBase& base, const CHDBRecord& user, Flaws& flaws) {
  const auto add = [&](What what, const CColId& collective) {
    if (IsThere(base, collective)) return;
    flaws.insert({what, user.Number(), collective.dep, collective.node});
  };
  const CColId primary = EntryOf<CABEntry>(user).primary;
  add(What::kPrimary, primary);
  const PairList& pairs = user.Pairs();
  for (auto at = pairs.First(); at != kNoPosition; at = pairs.Next(at))
    add(What::kMembership, {pairs.At(at).first, pairs.At(at).second});
}

void AddFlawsOfItems(const CHDBase& base, const CHDBRecord& folder, Flaws& flaws) {
  const CHDBEntryList& items = folder.Entries();
  for (auto at = items.First(); at != kNoPosition; at = items.Next(at)) {
    const std::string* const label = folder.Label(at);
    if (label == nullptr) continue;
    const std::uint32_t number = items.At(at).Object().number;
    const CHDBRecord* const object = base.FindRecord(number);
    if (object == nullptr || !EqualFolded(*label, object->Name()))
      flaws.insert({What::kItemName, folder.Number(), number});
  }
}

// It among them.
std::vector<std::uint32_t> Namesakes(const CHDBase& base, const CHDBRecord& object,
                                     std::size_t most) {
  std::vector<std::uint32_t> numbers;
  base.ForEachNamed(object.Type(), object.Name(), [&](const CHDBRecord& record) {
    numbers.push_back(record.Number());
    return numbers.size() < most;
  });
  return numbers;
}

}  // namespace

Flaws FlawsOf(const CHDBase& base) {
  Flaws flaws;
  base.ForEachObject([&](const CHDBRecord& object) {
    AddFlawsOfItems(base, object, flaws);
    if (object.Type() == 0) return;
    if (Namesakes(base, object, 2).size() > 1) flaws.insert({What::kSharedName, object.Number()});
    if (object.Type() == kTypeAB) AddFlawsOfUser(base, object, flaws);
  });
  return flaws;
}

std::vector<std::uint32_t> ObjectsOf(const CHDBase& base, const Flaw& flaw) {
  if (flaw.what != What::kSharedName) return {flaw.object, flaw.dep, flaw.node};
  constexpr std::size_t kMost = 100;
  return Namesakes(base, *base.FindRecord(flaw.object), kMost);
}

}  // namespace ncc
