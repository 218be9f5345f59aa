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

enum class Phase { kObjects, kUnlink, kDelete, kLink, kPrimary, kMemberships };

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

  // The object that the description names, with whether it has to be added; nothing when the
  // database has several of the name.
  struct Described {
    Ref ref;
    bool is_new;
  };
  std::optional<Described> FindOrAdd(Item item, const NamePlace& name);
  bool IsDescribed(Ref ref) const { return described_.contains(ref); }

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
  void PlanNew(Item item, Ref ref, Step step);
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
  struct Known {
    Ref ref;
    std::vector<std::uint32_t> ids;  // of the database, more than one when they share the name
  };
  using Index = std::unordered_map<std::string, Known>;  // by folded name
  struct Named {
    Item item;
    const std::string* name;
  };

  void AddPresent(const Object& object);
  Index& IndexOf(Item item) { return indexes_[static_cast<std::size_t>(item)]; }
  const Known* Find(Item item, const NamePlace& name);
  void ComplainSeveral(Item item, const NamePlace& name, const Known& known);
  void ComplainUnknown(const char* word, const NamePlace& name, std::vector<Item> items);
  bool Stays(const Known& known) const;
  bool Accept(Item item, const NamePlace& name, const Known& known);

  const Description& description_;
  const Network& network_;
  const Applications& applications_;
  const bool prune_;
  ProblemList& problems_;
  std::array<Index, 5> indexes_;
  std::unordered_map<Ref, Named> objects_;
  std::unordered_map<Ref, std::size_t> changes_;
  std::unordered_set<Ref> described_;
  std::array<std::vector<Step>, 6> phases_;
  Ref next_new_ = kFirstNew;
  Plan plan_;
};

// The parts of a plan, in this order.
void PlanNodes(PlanBuilder& builder);
void PlanPopulation(PlanBuilder& builder);

}  // namespace ncc::tool
