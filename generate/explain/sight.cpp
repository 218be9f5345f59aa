// Why one node sees another, and why a user is a member at a node; or what is wanting.

#include "nccnet/explain.h"

#include "core/entry.h"
#include "core/links.h"
#include "generate/directories/directory_files.h"
#include "generate/visible_nodes.h"
#include "structure/collectives.h"
#include "structure/nodes.h"
#include "structure/objects.h"

#include <algorithm>
#include <optional>

using namespace ncc;

namespace {

using Numbers = std::vector<std::uint32_t>;

bool Has(const Numbers& numbers, std::uint32_t number) {
  return std::ranges::find(numbers, number) != numbers.end();
}

// Sight -------------------------------------------------------------------------------------------

// A node as one end of a way.
struct End {
  End(const NetState& net, const CHDBRecord& record)
      : node(record.Number()), groups(OutputCache::GroupsOf(record)) {
    for (const std::uint32_t home : groups) {
      const Numbers held = ListOf(net, home, kTypeNGrp, kDepsOfGroup);
      if (!held.empty() && deps.empty()) group = home;
      deps.insert(deps.end(), held.begin(), held.end());
    }
  }

  std::uint32_t node;
  Numbers groups;
  Numbers deps;             // of the groups
  std::uint32_t group = 0;  // the first that holds a Dep
};

// What keeps a way from beginning or ending at the node.
void AddMissing(const End& end, ReasonList& missing) {
  if (end.groups.empty()) missing.push_back({CReason::kNodeInGroup, end.node});
  if (!end.deps.empty()) return;
  for (const std::uint32_t group : end.groups) missing.push_back({CReason::kDepInGroup, 0, group});
}

// Where neither node has a Dep: brings both into one group with a Dep.
std::optional<ReasonList> NewMeeting(const NetState& net, const End& from, const End& to) {
  const Numbers deps = NumbersOf(net, kTypeDep);
  const Numbers groups = NumbersOf(net, kTypeNGrp);
  if (deps.empty() || groups.empty()) return std::nullopt;
  const auto holds_dep = [&](std::uint32_t group) {
    return !ListOf(net, group, kTypeNGrp, kDepsOfGroup).empty();
  };
  std::uint32_t group = groups.front();
  if (const auto ready = std::ranges::find_if(groups, holds_dep); ready != groups.end())
    group = *ready;
  if (!to.groups.empty()) group = to.groups.front();
  if (!from.groups.empty()) group = from.groups.front();
  ReasonList mend;
  if (!holds_dep(group)) {
    const auto is_free = [&](std::uint32_t dep) {
      return ListOf(net, dep, kTypeDep, kGroupsOfDep).empty();
    };
    const auto free = std::ranges::find_if(deps, is_free);
    mend.push_back({CReason::kDepInGroup, free != deps.end() ? *free : deps.front(), group});
  }
  if (!Has(from.groups, group)) mend.push_back({CReason::kNodeInGroup, from.node, group});
  if (!Has(to.groups, group) && to.node != from.node)
    mend.push_back({CReason::kNodeInGroup, to.node, group});
  return mend;
}

void ExplainBlindness(const NetState& net, const End& from, const End& to, CSight& sight) {
  AddMissing(from, sight.missing);
  if (to.node != from.node) AddMissing(to, sight.missing);
  if (from.group != 0) sight.mends.push_back({{CReason::kNodeInGroup, to.node, from.group}});
  if (to.group != 0) sight.mends.push_back({{CReason::kNodeInGroup, from.node, to.group}});
  if (from.group != 0 && to.group != 0) {
    sight.mends.push_back({{CReason::kDepLink, from.deps.front(), to.deps.front()}});
    for (const std::uint32_t group : from.groups)
      sight.missing.push_back({CReason::kNodeInGroup, to.node, group});
    for (const std::uint32_t dep : from.deps) {
      for (const std::uint32_t other : to.deps)
        sight.missing.push_back({CReason::kDepLink, dep, other});
    }
  }
  if (from.group != 0 || to.group != 0) return;
  if (auto mend = NewMeeting(net, from, to)) sight.mends.push_back(*std::move(mend));
}

// The lines that such a node's file has for such a node, and the flags that are wanting.
void AddLines(const CNNEntry& from, const CNNEntry& to, CSight& sight) {
  for (const SightRule& rule : SightRules()) {
    if (rule.reader != from.type || rule.seen != to.type) continue;
    CSightLine& line = sight.lines.emplace_back();
    line.kind = rule.kind;
    if (!rule.IsFor(from))
      line.missing.push_back({CReason::kFlags, from.id, 0, 0, rule.reader_flag});
    const CReason of_seen = {CReason::kFlags, to.id, 0, 0, rule.seen_flag};
    if (!rule.Takes(to) && !std::ranges::count(line.missing, of_seen))
      line.missing.push_back(of_seen);
  }
}

// Membership --------------------------------------------------------------------------------------

bool IsInDep(const NetState& net, const CHDBRecord& user, std::uint32_t dep) {
  return FindObject(net, dep, kTypeDep) != nullptr &&
         OpenFolder(net, dep)->Find(FolderOf(user)) != kNoPosition;
}

std::uint32_t GroupOf(const NetState& net, std::uint32_t dep) {
  const CHDBRecord* const record = FindObject(net, dep, kTypeDep);
  if (record == nullptr) return 0;
  const std::uint32_t group = EntryOf<CDepEntry>(*record).ngrp_id;
  return FindObject(net, group, kTypeNGrp) != nullptr ? group : 0;
}

// The memberships at the node, and of the first one what it rests on.
void ExplainMember(const NetState& net, const CHDBRecord& user, std::uint32_t node, CSight& sight) {
  const CColId primary = EntryOf<CABEntry>(user).primary;
  for (auto at = user.Pairs().First(); at != kNoPosition; at = user.Pairs().Next(at)) {
    const PairValue& membership = user.Pairs().At(at);
    if (membership.second != node) continue;
    const std::uint32_t dep = membership.first;
    const std::uint32_t group = GroupOf(net, dep);
    if (!sight.is_there && IsInDep(net, user, dep))
      sight.reasons.push_back({CReason::kUserInDep, user.Number(), dep});
    if (!sight.is_there && group != 0) {
      sight.reasons.push_back({CReason::kDepInGroup, dep, group});
      if (Has(ListOf(net, group, kTypeNGrp, kNodesOfGroup), node))
        sight.reasons.push_back({CReason::kNodeInGroup, node, group});
    }
    sight.is_there = true;
    sight.reasons.push_back({CReason::kMembership, user.Number(), dep, node});
    if (primary.dep == dep && primary.node == node)
      sight.reasons.push_back({CReason::kPrimary, user.Number(), dep, node});
  }
}

// What it takes to make the user a member of the Dep at the node; nothing when there is no group.
std::optional<ReasonList> WantingFor(const NetState& net, const CHDBRecord& user, std::uint32_t dep,
                                     const CHDBRecord& node) {
  ReasonList wanting;
  if (!IsInDep(net, user, dep)) wanting.push_back({CReason::kUserInDep, user.Number(), dep});
  std::uint32_t group = GroupOf(net, dep);
  if (group == 0) {
    const Numbers own = OutputCache::GroupsOf(node);
    const Numbers all = own.empty() ? NumbersOf(net, kTypeNGrp) : own;
    if (all.empty()) return std::nullopt;
    group = all.front();
    wanting.push_back({CReason::kDepInGroup, dep, group});
  }
  if (!Has(ListOf(net, group, kTypeNGrp, kNodesOfGroup), node.Number()))
    wanting.push_back({CReason::kNodeInGroup, node.Number(), group});
  wanting.push_back({CReason::kMembership, user.Number(), dep, node.Number()});
  return wanting;
}

void ExplainStranger(const NetState& net, const CHDBRecord& user, const CHDBRecord& node,
                     CSight& sight) {
  Numbers deps;
  for (const CHDBRecord* dep : DepsOf(net, FolderOf(user))) deps.push_back(dep->Number());
  if (deps.empty()) {
    sight.missing.push_back({CReason::kUserInDep, user.Number()});
    deps = NumbersOf(net, kTypeDep);
  }
  std::optional<ReasonList> best;
  for (const std::uint32_t dep : deps) {
    auto wanting = WantingFor(net, user, dep, node);
    if (wanting && (!best || wanting->size() < best->size())) best = std::move(wanting);
  }
  if (sight.missing.empty() && best) sight.missing = *best;
  if (sight.missing.empty()) sight.missing.push_back({CReason::kDepInGroup, deps.front()});
  if (best) sight.mends.push_back(*std::move(best));
}

}  // namespace

bool ExplainSight(CNCCNet& owner, unsigned long from, unsigned long to, CSight& sight) {
  NetState& net = StateOf::Net(owner);
  return Run(net, [&] {
    sight = {};
    const CHDBRecord& one = KnownNode(net, from);
    const CHDBRecord& other = KnownNode(net, to);
    const auto way = FindWays(net, OutputCache::GroupsOf(one)).To(other.Number());
    sight.is_there = way.has_value();
    if (way) {
      AppendWay(sight.reasons, one.Number(), *way, other.Number());
    } else {
      ExplainBlindness(net, {net, one}, {net, other}, sight);
    }
    AddLines(EntryOf<CNNEntry>(one), EntryOf<CNNEntry>(other), sight);
  });
}

bool ExplainMembership(CNCCNet& owner, unsigned long user, unsigned long node, CSight& sight) {
  NetState& net = StateOf::Net(owner);
  return Run(net, [&] {
    sight = {};
    const CHDBRecord* const record = FindObject(net, user, kTypeAB);
    if (record == nullptr) RefuseUnknown(kTypeAB, user);
    const CHDBRecord& at = KnownNode(net, node);
    ExplainMember(net, *record, at.Number(), sight);
    if (!sight.is_there) ExplainStranger(net, *record, at, sight);
  });
}
