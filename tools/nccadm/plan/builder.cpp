#include "plan/builder.h"

#include <algorithm>
#include <iterator>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "console/nearest.h"
#include "console/text.h"
#include "description/yaml_tree.h"
#include "network/applications.h"
#include "network/object.h"
#include "plan/difference.h"

namespace ncc::tool {
namespace {

struct RelationWords {
  const char* key;
  const char* one;
  const char* many;
  const char* field;  // in the entry of its first object
};

constexpr std::size_t kObjectItems = 5;

const RelationWords& WordsOf(Item item) {
  static constexpr std::array<RelationWords, kItems - kObjectItems> kWords = {{
      {"links", "link", "links", "link"},
      {"group_nodes", "node in a group", "nodes in groups", "node"},
      {"group_deps", "Dep in a group", "Deps in groups", "Dep"},
      {"dep_links", "link of Deps", "links of Deps", "link"},
      {"user_deps", "user in a Dep", "users in Deps", "Dep"},
      {"memberships", "membership", "memberships", "membership"},
  }};
  return kWords[static_cast<std::size_t>(item) - kObjectItems];
}

bool IsObject(Item item) { return static_cast<std::size_t>(item) < kObjectItems; }

struct HashPair {
  std::size_t operator()(const RefPair& pair) const {
    return std::hash<Ref>()(pair.first * 0x9E3779B97F4A7C15U ^ pair.second);
  }
};
using PairCounts = std::unordered_map<RefPair, std::size_t, HashPair>;

// A user can stand in a Dep more than once; every other relation is there or not.
bool IsRepeatable(Item item) { return item == Item::kUserDep; }

RefPair KeyOfPair(Item item, const RefPair& pair) {
  const bool symmetric = item == Item::kLink || item == Item::kDepLink;
  return symmetric ? RefPair(std::minmax(pair.first, pair.second)) : pair;
}

PairCounts Count(Item item, const RefPairs& pairs) {
  PairCounts counts;
  counts.reserve(pairs.size());
  for (const RefPair& pair : pairs) {
    std::size_t& count = counts[KeyOfPair(item, pair)];
    if (count == 0 || IsRepeatable(item)) ++count;
  }
  return counts;
}

std::size_t CountIn(const PairCounts& counts, const RefPair& key) {
  const auto found = counts.find(key);
  return found == counts.end() ? 0 : found->second;
}

}  // namespace

Kind KindOf(Item item) { return static_cast<Kind>(item); }

const char* KeyOf(Item item) { return IsObject(item) ? KeyOfAll(KindOf(item)) : WordsOf(item).key; }
const char* WordOf(Item item) { return IsObject(item) ? WordOf(KindOf(item)) : WordsOf(item).one; }
const char* WordOfAll(Item item) {
  return IsObject(item) ? WordOfAll(KindOf(item)) : WordsOf(item).many;
}

std::string CountOf(std::size_t count, Item item) {
  return fmt::format("{} {}", count, count == 1 ? WordOf(item) : WordOfAll(item));
}

PlanBuilder::PlanBuilder(const Description& description, const Network& network,
                         const Applications& applications, bool prune, ProblemList& problems)
    : description_(description),
      network_(network),
      applications_(applications),
      prune_(prune),
      problems_(problems) {
  plan_.network = network.preferences.net_number;
  plan_.preferences = network.preferences;
  for (const ServerView& server : network.servers) {
    AddPresent(server.entry);
    for (const Object& ap : server.aps) AddPresent(ap);
  }
  for (const GroupView& group : network.groups) AddPresent(group.entry);
  for (const DepView& dep : network.deps) AddPresent(dep.entry);
  for (const UserView& user : network.users) AddPresent(user.entry);
  ClaimIds();
}

void PlanBuilder::AddPresent(const Object& object) {
  const auto item = static_cast<Item>(object.kind);
  const std::uint32_t id = object.id;
  IndexOf(item)[FoldName(object.name)].push_back(id);
  objects_.emplace(id, Named{item, &object.name, id, object.number});
  ++Of(item).before;
}

std::optional<PlanBuilder::Described> PlanBuilder::FindOrAdd(Item item,
                                                             const ObjectDescription& object) {
  if (object.id) {
    const auto claimed = claimed_.find(*object.id);
    if (claimed == claimed_.end()) return std::nullopt;
    const Ref ref = claimed->second;
    PlanRename(ref, object);
    if (ref < kFirstNew) PlanNotes(ref, object);
    return Described{ref, ref >= kFirstNew};
  }
  Refs& refs = IndexOf(item)[FoldName(object.name)];
  if (refs.size() > 1) {
    ComplainSeveral(item, object, refs);
    return std::nullopt;
  }
  const bool is_new = refs.empty();
  if (is_new) {
    if (IsBlank(object.name)) Complain(object.place, "the name holds nothing but blanks");
    refs.push_back(next_new_++);
    objects_.emplace(refs.front(), Named{item, &object.name});
  }
  const Ref ref = refs.front();
  described_.insert(ref);
  if (ref < kFirstNew) PlanNotes(ref, object);
  return Described{ref, is_new};
}

void PlanBuilder::ComplainSeveral(Item item, const NamePlace& name, const Refs& refs) {
  std::vector<std::string> ids;
  for (const Ref ref : refs) ids.push_back(fmt::format("id:{}", objects_.at(ref).id));
  Complain(name.place, fmt::format("several {} are named {} ({}); give the id of the one that is "
                                   "meant, or rename all but one",
                                   WordOfAll(item), Quote(refs.front()), fmt::join(ids, ", ")));
}

void PlanBuilder::ComplainUnknown(const char* word, const NamePlace& name,
                                  std::vector<Item> items) {
  std::string hint;
  // A walk over all names, for nothing when the problem is only counted.
  if (!problems_.IsFull()) {
    Nearest nearest(name.name);
    for (const auto& [ref, object] : objects_) {
      if (std::find(items.begin(), items.end(), object.item) != items.end()) {
        nearest.Offer(*object.name);
      }
    }
    for (const std::string& found : nearest.Found()) {
      hint = fmt::format("; did you mean \"{}\"?", Utf8FromBytes(found));
    }
  }
  Complain(name.place, fmt::format("no {} \"{}\" is described or in the database{}", word,
                                   Utf8FromBytes(name.name), hint));
}

const PlanBuilder::Refs& PlanBuilder::Find(Item item, const NamePlace& name) {
  static const Refs kNone;
  const auto known = IndexOf(item).find(FoldName(name.name));
  return known == IndexOf(item).end() ? kNone : known->second;
}

bool PlanBuilder::Stays(const Refs& refs) const {
  return !prune_ || std::any_of(refs.begin(), refs.end(), [this](Ref r) { return IsDescribed(r); });
}

bool PlanBuilder::Accept(Item item, const NamePlace& name, const Refs& refs) {
  if (refs.size() > 1) {
    ComplainSeveral(item, name, refs);
    return false;
  }
  if (Stays(refs)) return true;
  Complain(name.place, fmt::format("the {} {} is not in the file and would be removed",
                                   WordOf(item), Quote(refs.front())));
  return false;
}

std::optional<Ref> PlanBuilder::ResolveId(const NamePlace& name, const std::vector<Item>& items,
                                          const char* word) {
  const auto claimed = claimed_.find(*name.id);
  const auto object = objects_.find(claimed != claimed_.end() ? claimed->second : Ref{*name.id});
  if (object == objects_.end()) {
    Complain(name.place,
             fmt::format("no {} with the id {} is described or in the database", word, *name.id));
    return std::nullopt;
  }
  const auto& [ref, found] = *object;
  if (std::find(items.begin(), items.end(), found.item) == items.end()) {
    Complain(name.place, fmt::format("the id {} is that of the {} {}, not of a {}", *name.id,
                                     WordOf(found.item), Quote(ref), word));
    return std::nullopt;
  }
  if (!Accept(found.item, name, {ref})) return std::nullopt;
  return ref;
}

std::optional<Ref> PlanBuilder::Resolve(Item item, const NamePlace& name) {
  if (name.id) return ResolveId(name, {item}, WordOf(item));
  const Refs& refs = Find(item, name);
  if (refs.empty()) {
    ComplainUnknown(WordOf(item), name, {item});
    return std::nullopt;
  }
  if (!Accept(item, name, refs)) return std::nullopt;
  return refs.front();
}

std::optional<Ref> PlanBuilder::ResolveNode(const NodeName& name) {
  constexpr const char* kWord = "server or AP";
  if (name.id) return ResolveId(name, {Item::kServer, Item::kAp}, kWord);
  if (name.sort == NodeName::Sort::kServer) return Resolve(Item::kServer, name);
  if (name.sort == NodeName::Sort::kAp) return Resolve(Item::kAp, name);
  const Refs& servers = Find(Item::kServer, name);
  const Refs& aps = Find(Item::kAp, name);
  const bool both = !servers.empty() && !aps.empty();
  if (both && Stays(servers) && Stays(aps)) {
    const auto id = [this](const Refs& refs) {
      const std::uint32_t known = objects_.at(refs.front()).id;
      return known == 0 ? std::string() : fmt::format(" (id:{})", known);
    };
    const std::string utf8 = Utf8FromBytes(name.name);
    Complain(name.place,
             fmt::format("both a server{} and an AP{} are named \"{}\"; write {{server: {}}} or "
                         "{{ap: {}}}",
                         id(servers), id(aps), utf8, utf8, utf8));
    return std::nullopt;
  }
  if (servers.empty() && aps.empty()) {
    ComplainUnknown(kWord, name, {Item::kServer, Item::kAp});
    return std::nullopt;
  }
  const bool is_server = !servers.empty() && (aps.empty() || Stays(servers));
  return Resolve(is_server ? Item::kServer : Item::kAp, name);
}

std::string PlanBuilder::Quote(Ref ref) const {
  const auto object = objects_.find(ref);
  if (object == objects_.end()) return fmt::format("id:{} (does not exist)", ref);
  return fmt::format("\"{}\"", PrintableName(*object->second.name));
}

void PlanBuilder::AddStep(Phase phase, Step step) {
  phases_[static_cast<std::size_t>(phase)].push_back(std::move(step));
}

Change& PlanBuilder::ChangeOf(Ref ref) {
  const auto [known, added] = changes_.try_emplace(ref, plan_.changes.size());
  if (added) {
    const Named& object = objects_.at(ref);
    plan_.changes.push_back({'~', object.item, *object.name});
  }
  return plan_.changes[known->second];
}

void PlanBuilder::AddDetail(Ref ref, Detail detail) {
  ChangeOf(ref).details.push_back(std::move(detail));
}

void PlanBuilder::AddDetail(Ref ref, char sign, const char* field, Ref from, Ref to) {
  const auto name = [this](Ref other) {
    return other == 0 ? std::string() : Utf8FromBytes(*objects_.at(other).name);
  };
  AddDetail(ref, {sign, field, name(from), name(to), true});
}

void PlanBuilder::PlanNew(const ObjectDescription& object, Step step) {
  const Ref ref = step.object;
  ++Of(step.item).added;
  step.name = object.name;
  step.id = object.id.value_or(0);
  step.number = object.number.value_or(0);
  AddStep(Phase::kObjects, std::move(step));
  SetSign(ref, '+');
  if (object.id) AddDetail(ref, {'+', "id", {}, std::to_string(*object.id)});
  if (object.number) AddDetail(ref, {'+', "number", {}, std::to_string(*object.number)});
  PlanNotes(ref, object);
}

void PlanBuilder::PlanNotes(Ref ref, const ObjectDescription& object) {
  static const Notes kNone;
  const auto known = network_.notes.find(static_cast<std::uint32_t>(ref < kFirstNew ? ref : 0));
  const Notes& present = known != network_.notes.end() ? known->second : kNone;
  if (!object.notes || *object.notes == present) return;
  for (Detail& detail : DetailsOfNotes(present, *object.notes)) AddDetail(ref, std::move(detail));
  Step step{Step::Kind::kNotes, objects_.at(ref).item, ref};
  step.notes = *object.notes;
  AddStep(Phase::kNotes, std::move(step));
  noted_.insert(ref);
}

void PlanBuilder::PlanSurplus(Item item, std::uint32_t id) {
  if (!prune_) {
    ++Of(item).kept;
    return;
  }
  AddStep(Phase::kDelete, {Step::Kind::kDelete, item, id});
  SetSign(id, '-');
  ++Of(item).removed;
}

PlanBuilder::PairChanges PlanBuilder::PlanPairs(Item item, const RefPairs& wanted,
                                                const RefPairs& present) {
  const PairCounts had = Count(item, present);
  const PairCounts wants = Count(item, wanted);
  const char* const field = WordsOf(item).field;
  Tally& tally = Of(item);
  PairChanges result;
  PairCounts seen;
  for (const RefPair& pair : wanted) {
    const RefPair key = KeyOfPair(item, pair);
    const std::size_t place = seen[key]++;
    if (place >= CountIn(wants, key)) continue;  // from its other end
    if (place < CountIn(had, key)) {
      ++tally.unchanged;
      continue;
    }
    AddStep(Phase::kLink, {Step::Kind::kLink, item, pair.first, pair.second});
    AddDetail(pair.first, '+', field, 0, pair.second);
    result.added.push_back(pair);
    ++tally.added;
  }
  seen.clear();
  for (const RefPair& pair : present) {
    const RefPair key = KeyOfPair(item, pair);
    const std::size_t place = seen[key]++;
    if (place >= CountIn(had, key)) continue;
    ++tally.before;
    // What goes with an object that goes is no change of its own.
    if (place < CountIn(wants, key) || !IsDescribed(pair.first) || !IsDescribed(pair.second)) {
      continue;
    }
    if (!prune_) {
      ++tally.kept;
      continue;
    }
    AddStep(Phase::kUnlink, {Step::Kind::kUnlink, item, pair.first, pair.second});
    AddDetail(pair.first, '-', field, pair.second, 0);
    result.removed.push_back(pair);
    ++tally.removed;
  }
  return result;
}

Plan PlanBuilder::Finish() {
  if (plan_.preferences_changed != 0 || reserves_) {
    plan_.steps.push_back({Step::Kind::kPreferences, Item::kServer});
  }
  for (auto& phase : phases_) {
    std::move(phase.begin(), phase.end(), std::back_inserter(plan_.steps));
  }
  std::stable_sort(plan_.changes.begin(), plan_.changes.end(),
                   [](const Change& a, const Change& b) { return a.item < b.item; });
  return std::move(plan_);
}

Plan MakePlan(const Description& description, const Network& network,
              const Applications& applications, bool prune, ProblemList& problems) {
  const std::uint32_t number = network.preferences.net_number;
  if (description.network != number) {
    problems.Add(description.network_place,
                 fmt::format("this describes network 0x{:04X}, the database holds 0x{:04X}",
                             description.network, number));
    return {};
  }
  PlanBuilder builder(description, network, applications, prune, problems);
  PlanNodes(builder);
  PlanPopulation(builder);
  return builder.Finish();
}

}  // namespace ncc::tool
