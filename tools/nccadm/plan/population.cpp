// The part of a plan that is about node groups, Deps and users.
#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <set>

#include <fmt/format.h>

#include "description/description.h"
#include "network/network.h"
#include "network/object.h"
#include "network/view.h"
#include "plan/builder.h"

namespace ncc::tool {
namespace {

class PopulationPlanner {
 public:
  explicit PopulationPlanner(PlanBuilder& builder) : builder_(builder) {}

  void Run() {
    const Description& wanted = builder_.Wanted();
    const Network& present = builder_.Present();
    // Names of every kind first: whatever stands in the file can be referred to.
    groups_ = PlanObjects(Item::kGroup, wanted.groups);
    deps_ = PlanObjects(Item::kDep, wanted.deps);
    users_ = PlanObjects(Item::kUser, wanted.users);
    PlanRest(Item::kUser, present.users);
    PlanRest(Item::kGroup, present.groups);
    PlanRest(Item::kDep, present.deps);
    PlanGroups();
    PlanDepLinks();
    PlanGroupsThatCount();
    PlanUserDeps();
    PlanUsers();
  }

 private:
  using Refs = std::vector<std::optional<Ref>>;  // beside the descriptions

  template <class Objects>
  Refs PlanObjects(Item item, const Objects& objects) {
    Refs refs;
    refs.reserve(objects.size());
    for (const auto& object : objects) {
      const auto described = builder_.FindOrAdd(item, object);
      refs.push_back(described ? std::optional(described->ref) : std::nullopt);
      if (described && described->is_new) {
        builder_.PlanNew(object, {Step::Kind::kAdd, item, *refs.back()});
      }
    }
    return refs;
  }

  template <class Views>
  void PlanRest(Item item, const Views& views) {
    for (const auto& view : views) {
      if (!builder_.IsDescribed(view.entry.id)) builder_.PlanSurplus(item, view.entry.id);
    }
  }

  static void Want(RefPairs& pairs, std::optional<Ref> one, std::optional<Ref> other) {
    if (one && other) pairs.emplace_back(*one, *other);
  }

  template <class Views, class View>
  static RefPairs PairsOf(const Views& views, std::vector<std::uint32_t> View::*others) {
    RefPairs pairs;
    for (const View& view : views) {
      for (const std::uint32_t other : view.*others) pairs.emplace_back(view.entry.id, other);
    }
    return pairs;
  }

  void PlanGroups() {
    const Description& wanted = builder_.Wanted();
    RefPairs nodes;
    for (std::size_t i = 0; i < groups_.size(); ++i) {
      for (const NodeName& node : wanted.groups[i].nodes) {
        Want(nodes, groups_[i], builder_.ResolveNode(node));
      }
      for (const NamePlace& dep : wanted.groups[i].deps) {
        Want(group_deps_, groups_[i], builder_.Resolve(Item::kDep, dep));
      }
    }
    for (const auto& [group, node] : wanted.group_nodes) {
      const auto from = builder_.Resolve(Item::kGroup, group);
      Want(nodes, from, builder_.ResolveNode(node));
    }
    for (const auto& [group, dep] : wanted.group_deps) {
      const auto from = builder_.Resolve(Item::kGroup, group);
      Want(group_deps_, from, builder_.Resolve(Item::kDep, dep));
    }
    const std::vector<GroupView>& present = builder_.Present().groups;
    for (const GroupView& group : present) {
      for (const std::uint32_t dep : group.deps) deps_of_groups_[group.entry.id].insert(dep);
    }
    const auto node_changes =
        builder_.PlanPairs(Item::kGroupNode, nodes, PairsOf(present, &GroupView::nodes));
    const auto dep_changes =
        builder_.PlanPairs(Item::kGroupDep, group_deps_, PairsOf(present, &GroupView::deps));
    FollowGroups(node_changes, dep_changes);
  }

  // What the library does to Deps and memberships beside the changes of groups.
  void FollowGroups(const PlanBuilder::PairChanges& nodes, const PlanBuilder::PairChanges& deps) {
    for (const DepView& dep : builder_.Present().deps) {
      const std::uint32_t group = dep.entry.group;
      const bool goes = builder_.Prunes() && group != 0 && !builder_.IsDescribed(group);
      counting_[dep.entry.id] = goes ? 0 : group;
    }
    for (const GroupView& group : builder_.Present().groups) {
      if (!builder_.Prunes() || builder_.IsDescribed(group.entry.id)) continue;
      touched_deps_.insert(group.deps.begin(), group.deps.end());
    }
    for (const auto& [group, node] : nodes.removed) {
      const auto& in_group = deps_of_groups_[group];
      touched_deps_.insert(in_group.begin(), in_group.end());
    }
    for (const auto& [group, dep] : deps.removed) {
      touched_deps_.insert(dep);
      deps_of_groups_[group].erase(dep);
      if (counting_[dep] == group) counting_[dep] = 0;
    }
    for (const auto& [group, dep] : deps.added) {
      counting_[dep] = group;
      deps_of_groups_[group].insert(dep);
    }
  }

  void PlanDepLinks() {
    const Description& wanted = builder_.Wanted();
    RefPairs links;
    for (std::size_t i = 0; i < deps_.size(); ++i) {
      for (const NamePlace& link : wanted.deps[i].links) {
        Want(links, deps_[i], builder_.Resolve(Item::kDep, link));
      }
    }
    for (const auto& [one, other] : wanted.dep_links) {
      const auto from = builder_.Resolve(Item::kDep, one);
      Want(links, from, builder_.Resolve(Item::kDep, other));
    }
    builder_.PlanPairs(Item::kDepLink, links, PairsOf(builder_.Present().deps, &DepView::links));
  }

  // Which node group counts is the last that a Dep was put into, unless the file says another.
  void PlanGroupsThatCount() {
    std::unordered_map<Ref, Ref> present;
    for (const DepView& dep : builder_.Present().deps) present[dep.entry.id] = dep.entry.group;
    std::unordered_map<Ref, Ref> last;
    for (const auto& [group, dep] : group_deps_) last[dep] = group;
    for (std::size_t i = 0; i < deps_.size(); ++i) {
      if (!deps_[i]) continue;
      const Ref dep = *deps_[i];
      const auto had = present.find(dep);
      const Ref before = had == present.end() ? 0 : had->second;
      const auto& said = builder_.Wanted().deps[i].group;
      std::optional<Ref> wanted;
      if (said) {
        wanted = said->IsNone() ? Ref{0} : ResolveCounting(*said, dep);
      } else if (before != 0 && counting_[dep] == 0 && last.contains(dep)) {
        wanted = last[dep];
      }
      if (wanted && *wanted != counting_[dep]) PlanCounting(dep, *wanted);
      const bool changed = said && wanted && *wanted != before;
      if (changed) {
        builder_.AddDetail(dep, '~', "group that counts", before, *wanted);
      }
      if (had == present.end()) continue;
      Tally& tally = builder_.Of(Item::kDep);
      ++(changed || builder_.IsRewritten(dep) ? tally.changed : tally.unchanged);
    }
    for (const auto& group : groups_) {
      if (!group || *group >= kFirstNew) continue;
      Tally& tally = builder_.Of(Item::kGroup);
      ++(builder_.IsRewritten(*group) ? tally.changed : tally.unchanged);
    }
  }

  std::optional<Ref> ResolveCounting(const NamePlace& name, Ref dep) {
    const auto group = builder_.Resolve(Item::kGroup, name);
    if (!group || deps_of_groups_[*group].contains(dep)) return group;
    builder_.Complain(name.place, fmt::format("the Dep {} is not in the node group {}",
                                              builder_.Quote(dep), builder_.Quote(*group)));
    return std::nullopt;
  }

  void PlanCounting(Ref dep, Ref group) {
    if (group != 0) {
      builder_.AddStep(Phase::kLink, {Step::Kind::kLink, Item::kGroupDep, group, dep});
      return;
    }
    builder_.AddStep(Phase::kLink, {Step::Kind::kClearGroup, Item::kDep, dep});
    touched_deps_.insert(dep);
  }

  std::string QuoteOrNone(Ref ref) const { return ref == 0 ? "none" : builder_.Quote(ref); }

  void PlanUserDeps() {
    const Description& wanted = builder_.Wanted();
    RefPairs pairs;
    std::set<RefPair> said;  // at the Dep already
    for (std::size_t i = 0; i < deps_.size(); ++i) {
      for (const NamePlace& name : wanted.deps[i].users) {
        const auto user = builder_.Resolve(Item::kUser, name);
        Want(pairs, user, deps_[i]);
        if (user && deps_[i]) said.emplace(*user, *deps_[i]);
      }
    }
    for (std::size_t i = 0; i < users_.size(); ++i) {
      for (const NamePlace& name : wanted.users[i].deps) {
        const auto dep = builder_.Resolve(Item::kDep, name);
        if (users_[i] && dep && said.emplace(*users_[i], *dep).second) {
          pairs.emplace_back(*users_[i], *dep);
        }
      }
    }
    RefPairs present;
    for (const DepView& dep : builder_.Present().deps) {
      for (const std::uint32_t user : dep.users) present.emplace_back(user, dep.entry.id);
    }
    const auto changes = builder_.PlanPairs(Item::kUserDep, pairs, present);
    for (const auto& [user, dep] : changes.added) joining_.insert(user);
    for (const auto& [user, dep] : changes.removed) leaving_.insert(user);
  }

  void PlanUsers() {
    const Network& network = builder_.Present();
    std::unordered_map<Ref, const UserView*> present;
    for (const UserView& user : network.users) present.emplace(user.entry.id, &user);
    static const UserView kNobody;
    for (std::size_t i = 0; i < users_.size(); ++i) {
      if (!users_[i]) continue;
      const auto known = present.find(*users_[i]);
      const bool is_new = known == present.end();
      const UserView& view = is_new ? kNobody : *known->second;
      const UserDescription& wanted = builder_.Wanted().users[i];
      const bool changed =
          PlanPrimary(*users_[i], wanted, view) || builder_.IsRewritten(*users_[i]);
      PlanMemberships(*users_[i], wanted, view);
      Tally& tally = builder_.Of(Item::kUser);
      if (!is_new) ++(changed ? tally.changed : tally.unchanged);
    }
    for (const UserView& user : network.users) {
      if (builder_.IsDescribed(user.entry.id)) continue;
      builder_.Of(Item::kMembership).before += user.memberships.size();
      if (builder_.Prunes()) continue;
      PlanPrimary(user.entry.id, {}, user);
      RestoreMemberships(user.entry.id, StoredOf(user));
    }
  }

  // Joining a Dep can set the primary collective, which the file has to say instead.
  bool PlanPrimary(Ref user, const UserDescription& wanted, const UserView& view) {
    const PlannedMembership before{view.entry.primary_dep, view.entry.primary_node, 0};
    PlannedMembership planned = before;
    if (wanted.primary) {
      const auto& [dep, node] = *wanted.primary;
      planned.dep = dep.IsNone() ? 0 : builder_.Resolve(Item::kDep, dep).value_or(0);
      planned.node = node.IsNone() ? 0 : builder_.ResolveNode(node).value_or(0);
    }
    const bool changed = planned.dep != before.dep || planned.node != before.node;
    const bool is_none = planned.dep == 0 && planned.node == 0;
    if (changed || (is_none && joining_.contains(user))) {
      Step step{Step::Kind::kPrimary, Item::kUser, user};
      step.memberships = {planned};
      builder_.AddStep(Phase::kPrimary, std::move(step));
    }
    if (changed)
      builder_.AddDetail(user, {'~', "primary", QuoteWhere(before), QuoteWhere(planned)});
    return changed;
  }

  std::string QuoteWhere(const PlannedMembership& held) const {
    if (held.dep == 0 && held.node == 0) return "none";
    return fmt::format("{} at {}", QuoteOrNone(held.dep), QuoteOrNone(held.node));
  }

  static std::vector<PlannedMembership> StoredOf(const UserView& view) {
    std::vector<PlannedMembership> stored;
    for (const Membership& held : view.memberships)
      stored.push_back({held.dep, held.node, held.kind});
    return stored;
  }

  void PlanMemberships(Ref user, const UserDescription& wanted, const UserView& view) {
    Tally& tally = builder_.Of(Item::kMembership);
    tally.before += view.memberships.size();
    std::map<RefPair, const MembershipDescription*> said;
    std::vector<PlannedMembership> all = StoredOf(view);
    std::map<RefPair, std::uint8_t> stored;
    for (const PlannedMembership& held : all)
      stored.emplace(RefPair{held.dep, held.node}, held.kind);
    std::vector<PlannedMembership> added;
    for (const MembershipDescription& membership : wanted.memberships) {
      const auto dep = builder_.Resolve(Item::kDep, membership.dep);
      const auto node = builder_.ResolveNode(membership.node);
      if (!dep || !node) continue;
      const PlannedMembership held{*dep, *node, membership.kind};
      if (!said.emplace(RefPair{held.dep, held.node}, &membership).second) {
        builder_.Complain(membership.dep.place,
                          fmt::format("the membership of {} stands here twice", QuoteWhere(held)));
      } else if (!stored.contains({held.dep, held.node})) {
        added.push_back(held);
      }
    }
    bool differs = !added.empty();
    std::erase_if(all, [&](PlannedMembership& held) {
      const auto found = said.find({held.dep, held.node});
      if (found == said.end()) return IsSurplus(user, held, differs);
      Align(user, held, found->second->kind, differs);
      return false;
    });
    for (const PlannedMembership& held : added) {
      builder_.AddDetail(
          user, {'+', "membership", {}, fmt::format("{}, kind {}", QuoteWhere(held), held.kind)});
      ++tally.added;
      all.push_back(held);
    }
    if (differs) {
      AddMembershipStep(user, std::move(all));
    } else {
      RestoreMemberships(user, std::move(all));
    }
  }

  bool IsSurplus(Ref user, const PlannedMembership& membership, bool& differs) {
    Tally& tally = builder_.Of(Item::kMembership);
    if (!builder_.Prunes()) {
      ++tally.kept;
      return false;
    }
    differs = true;
    builder_.AddDetail(user, {'-',
                              "membership",
                              fmt::format("{}, kind {}", QuoteWhere(membership), membership.kind),
                              {}});
    ++tally.removed;
    return true;
  }

  void Align(Ref user, PlannedMembership& membership, std::uint8_t kind, bool& differs) {
    Tally& tally = builder_.Of(Item::kMembership);
    if (membership.kind == kind) {
      ++tally.unchanged;
      return;
    }
    differs = true;
    builder_.AddDetail(user, {'~', "membership",
                              fmt::format("{}, kind {}", QuoteWhere(membership), membership.kind),
                              fmt::format("kind {}", kind)});
    membership.kind = kind;
    ++tally.changed;
  }

  // Leaving a Dep or a group takes memberships along that the file may want to stay.
  void RestoreMemberships(Ref user, std::vector<PlannedMembership> all) {
    const bool touched =
        leaving_.contains(user) ||
        std::any_of(all.begin(), all.end(), [this](const PlannedMembership& membership) {
          return touched_deps_.contains(membership.dep);
        });
    if (touched) AddMembershipStep(user, std::move(all));
  }

  void AddMembershipStep(Ref user, std::vector<PlannedMembership> all) {
    Step step{Step::Kind::kMemberships, Item::kUser, user};
    step.memberships = std::move(all);
    builder_.AddStep(Phase::kMemberships, std::move(step));
  }

  PlanBuilder& builder_;
  Refs groups_;
  Refs deps_;
  Refs users_;
  RefPairs group_deps_;
  std::unordered_map<Ref, std::unordered_set<Ref>> deps_of_groups_;  // all that a group ever has
  std::unordered_map<Ref, Ref> counting_;  // per Dep: the group that counts after the steps so far
  std::unordered_set<Ref> touched_deps_;   // their memberships may be lost by the steps
  std::unordered_set<Ref> joining_;
  std::unordered_set<Ref> leaving_;
};

}  // namespace

void PlanPopulation(PlanBuilder& builder) { PopulationPlanner(builder).Run(); }

}  // namespace ncc::tool
