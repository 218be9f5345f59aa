// What the planners of the parts share: the names of both sides, the growing plan, and relations.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "description/yaml_tree.h"
#include "network/applications.h"
#include "plan/plan.h"

namespace ncc::tool {

using RefPair = std::pair<Ref, Ref>;
using RefPairs = std::vector<RefPair>;

enum class Phase {
  kSetAside,
  kRename,
  kObjects,
  kUnlink,
  kDelete,
  kLink,
  kPrimary,
  kMemberships,
  kNotes
};

class PlanBuilder {
 public:
  PlanBuilder(const Description& description, const Network& network,
              const Applications& applications, bool prune, ProblemList& problems);

  const Description& Wanted() const { return description_; }
  const Network& Present() const { return network_; }
  const Applications& Apps() const { return applications_; }
  bool Prunes() const { return prune_; }
  Tally& Of(Item item) { return plan_.Of(item); }
  Plan& ThePlan() { return plan_; }

  // The object that the description describes there, with whether it has to be added; nothing when
  // that is a problem. Of one that the description names anew, this plans the renaming.
  struct Described {
    Ref ref;
    bool is_new;
  };
  std::optional<Described> FindOrAdd(Item item, const ObjectDescription& object);
  bool IsDescribed(Ref ref) const { return described_.contains(ref); }
  // Whether it gets another name or other notes.
  bool IsRewritten(Ref ref) const { return IsRenamed(ref) || noted_.contains(ref); }

  // The object of either side that a name in the description means. What it cannot mean is
  // a problem.
  std::optional<Ref> Resolve(Item item, const NamePlace& name);
  std::optional<Ref> ResolveNode(const NodeName& name);

  // Text of an object's name to show, in quotes.
  std::string Quote(Ref ref) const;

  void AddStep(Phase phase, Step step);
  // The entry of the plan about an object; without one yet, that it changes.
  Change& ChangeOf(Ref ref);
  void SetSign(Ref ref, char sign) { ChangeOf(ref).sign = sign; }
  void AddDetail(Ref ref, Detail detail);
  // The same for what is one other object; 0 for none.
  void AddDetail(Ref ref, char sign, const char* field, Ref from, Ref to);

  // Adds the step, the entry and the count of an object that the description adds or lacks.
  void PlanNew(const ObjectDescription& object, Step step);
  void PlanSurplus(Item item, std::uint32_t id);

  // Makes the pairs of a relation what is wanted, in its order.
  struct PairChanges {
    RefPairs added;
    RefPairs removed;
  };
  PairChanges PlanPairs(Item item, const RefPairs& wanted, const RefPairs& present);

  void Complain(Place place, std::string what) { problems_.Add(place, std::move(what)); }
  Plan Finish();

 private:
  using Refs = std::vector<Ref>;
  using Index = std::unordered_map<std::string, Refs>;  // by folded name; empty for none
  struct Named {
    Item item;
    const std::string* name;   // that it has in the end
    std::uint32_t id = 0;      // 0 for the next one
    std::uint32_t number = 0;  // of what is in the database
  };

  void AddPresent(const Object& object);
  Index& IndexOf(Item item) { return indexes_[static_cast<std::size_t>(item)]; }
  const Refs& Find(Item item, const NamePlace& name);
  void ComplainSeveral(Item item, const NamePlace& name, const Refs& refs);
  void ComplainUnknown(const char* word, const NamePlace& name, std::vector<Item> items);
  bool Stays(const Refs& refs) const;
  bool Accept(Item item, const NamePlace& name, const Refs& refs);
  std::optional<Ref> ResolveId(const NamePlace& name, const std::vector<Item>& items,
                               const char* word);

  // identity.cpp: which objects the ids of the description mean, and the names that they change.
  void ClaimIds();
  void Claim(Item item, const ObjectDescription& object);
  void SettleName(Item item, const ObjectDescription& object);
  bool MayShareName(Item item, const ObjectDescription& object, Ref self, Ref other);
  void SetAside(Item item, Ref ref);
  void ReserveNumbers();
  bool IsRenamed(Ref ref) const { return old_names_.contains(ref); }
  void PlanRename(Ref ref, const ObjectDescription& object);
  void PlanNotes(Ref ref, const ObjectDescription& object);

  const Description& description_;
  const Network& network_;
  const Applications& applications_;
  const bool prune_;
  ProblemList& problems_;
  std::array<Index, 5> indexes_;
  std::unordered_map<Ref, Named> objects_;
  std::unordered_map<Ref, std::size_t> changes_;
  std::unordered_set<Ref> described_;
  std::unordered_map<std::uint32_t, Ref> claimed_;  // by the ids of the description
  std::unordered_map<Ref, const std::string*> old_names_;
  std::array<Index, 5> old_index_;  // of what is renamed
  std::unordered_set<Ref> set_aside_;
  std::unordered_set<Ref> noted_;
  bool reserves_ = false;  // numbers that the description gives from those that are counted
  std::array<std::vector<Step>, 9> phases_;
  Ref next_new_ = kFirstNew;
  Plan plan_;
};

// The parts of a plan, in this order.
void PlanNodes(PlanBuilder& builder);
void PlanPopulation(PlanBuilder& builder);

}  // namespace ncc::tool
