#include "description/description.h"

#include <algorithm>
#include <functional>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "console/text.h"
#include "network/link_order.h"

namespace ncc::tool {
namespace {

using Ids = std::vector<std::uint32_t>;

// The names of one kind.
class Names {
 public:
  Names(const char* word, bool with_ids) : word_(word), with_ids_(with_ids) {}

  void Add(const Object& object, std::vector<std::string>& problems) {
    const std::string& name = object.name;
    const std::uint32_t id = object.id;
    positions_.emplace(id, names_.size());
    names_.push_back(&name);
    ids_.push_back(id);
    const auto [first, added] = seen_.emplace(FoldName(name), id);
    if (!added && with_ids_) {
      shared_.insert(FoldName(name));
    } else if (!added) {
      problems.push_back(fmt::format("the {}s id:{} and id:{} have one name, \"{}\"", word_,
                                     first->second, id, PrintableName(name)));
    }
    const std::string reason = BytesFromName(Utf8FromBytes(name)).reason;
    if (!reason.empty()) {
      problems.push_back(fmt::format("the name \"{}\" of the {} id:{} {}", PrintableName(name),
                                     word_, id, reason));
    }
  }

  bool Has(const std::string& name) const { return seen_.contains(FoldName(name)); }
  std::size_t Size() const { return names_.size(); }

  // A reference to one: its name or, where others have it too, its id.
  NamePlace At(std::size_t position) const {
    const std::string& name = *names_[position];
    if (shared_.empty() || !shared_.contains(FoldName(name))) return {name, {}};
    return {{}, {}, ids_[position]};
  }

  std::optional<std::size_t> PositionOf(std::uint32_t id) const {
    const auto position = positions_.find(id);
    if (position == positions_.end()) return std::nullopt;
    return position->second;
  }

  // None when there is none of this id.
  NamePlace Of(std::uint32_t id) const {
    const auto position = PositionOf(id);
    return position ? At(*position) : NamePlace();
  }

 private:
  const char* word_;
  const bool with_ids_;
  std::vector<const std::string*> names_;
  Ids ids_;
  std::unordered_set<std::string> shared_;  // folded names
  std::unordered_map<std::uint32_t, std::size_t> positions_;
  std::unordered_map<std::string, std::uint32_t> seen_;  // folded name, first id
};

class Describer {
 public:
  Describer(const Network& network, bool with_ids, std::vector<std::string>& notes)
      : network_(network), notes_(notes), with_ids_(with_ids) {}

  Description Run() {
    CollectNames();
    if (!problems_.empty()) throw Failed();
    result_.network = network_.preferences.net_number;
    VisitPreferences([](const char*, const auto& present, auto& said) { said = present; },
                     network_.preferences, result_.preferences);
    if (with_ids_) {
      VisitCounters([](const char*, const auto& present, auto& said) { said = present; },
                    network_.preferences, result_.preferences);
    }
    for (const ServerView& server : network_.servers) DescribeServer(server);
    DescribeLinks(servers_, network_.servers, &ServerView::linked, result_.servers, result_.links);
    DescribeGroups();
    DescribeDeps();
    for (const UserView& user : network_.users) DescribeUser(user);
    TellLeftOut();
    return std::move(result_);
  }

 private:
  void CollectNames() {
    for (const ServerView& server : network_.servers) {
      servers_.Add(server.entry, problems_);
      for (const Object& ap : server.aps) aps_.Add(ap, problems_);
    }
    for (const GroupView& group : network_.groups) groups_.Add(group.entry, problems_);
    for (const DepView& dep : network_.deps) deps_.Add(dep.entry, problems_);
    for (const UserView& user : network_.users) users_.Add(user.entry, problems_);
  }

  Failure Failed() const {
    std::vector<std::string> told(
        problems_.begin(),
        problems_.begin() + static_cast<std::ptrdiff_t>(std::min(problems_.size(), kMaxProblems)));
    if (problems_.size() > told.size()) {
      told.push_back(fmt::format("and {} more", problems_.size() - told.size()));
    }
    return Failure(fmt::format("the network cannot be described: {}", fmt::join(told, "; ")),
                   "Give each object a name of its own, for example: nccadm ap rename id:NUMBER "
                   "NAME. With --ids two can share one.");
  }

  void DescribeServer(const ServerView& view) {
    ServerDescription& server = result_.servers.emplace_back();
    DescribeNode(view.entry, server);
    server.value = view.entry.value;
    for (const Object& ap : view.aps) DescribeNode(ap, server.aps.emplace_back());
  }

  void DescribeHead(const Object& entry, ObjectDescription& object) const {
    object.name = entry.name;
    const auto notes = network_.notes.find(entry.id);
    if (notes != network_.notes.end()) object.notes = notes->second;
    if (!with_ids_) return;
    object.id = entry.id;
    if (entry.number != 0) object.number = entry.number;
  }

  void DescribeNode(const Object& entry, ApDescription& node) const {
    DescribeHead(entry, node);
    if (entry.flags != 0) node.applications = entry.flags;
    if (entry.settings != network_.preferences.node_settings) node.settings = entry.settings;
  }

  // Links among the objects of one kind, at the objects where that gives each its own order.
  template <class View, class Part>
  static void DescribeLinks(const Names& names, const std::vector<View>& views, Ids View::*linked,
                            std::vector<Part>& objects, std::vector<NamePair>& pairs) {
    Neighbours links(views.size());
    for (std::size_t i = 0; i < links.size(); ++i) {
      for (const std::uint32_t id : views[i].*linked) {
        if (const auto position = names.PositionOf(id)) links[i].push_back(*position);
      }
    }
    if (!HasPlainOrder(links)) {
      for (const auto& [one, other] : OrderLinks(links)) {
        pairs.emplace_back(names.At(one), names.At(other));
      }
      return;
    }
    for (std::size_t i = 0; i < links.size(); ++i) {
      for (const std::size_t other : links[i]) {
        if (other >= i) objects[i].links.push_back(names.At(other));
      }
    }
  }

  void DescribeGroups() {
    for (const GroupView& group : network_.groups) {
      DescribeHead(group.entry, result_.groups.emplace_back());
    }
    const auto groups_of_dep = [this](std::uint32_t id) -> const Ids* {
      const auto position = deps_.PositionOf(id);
      return position ? &network_.deps[*position].groups : nullptr;
    };
    const auto groups_of_node = [this](std::uint32_t id) -> const Ids* {
      const auto groups = network_.groups_of_nodes.find(id);
      return groups == network_.groups_of_nodes.end() ? nullptr : &groups->second;
    };
    const auto dep_name = [this](std::uint32_t id) { return deps_.Of(id); };
    const auto node_name = [this](std::uint32_t id) { return NodeOf(id); };
    DescribeMembers(&GroupView::nodes, groups_of_node, node_name, &GroupDescription::nodes,
                    result_.group_nodes);
    DescribeMembers(&GroupView::deps, groups_of_dep, dep_name, &GroupDescription::deps,
                    result_.group_deps);
  }

  // The same for links between the groups and what is in them, which lists its groups too.
  template <class GroupsOf, class NameOf, class Name>
  void DescribeMembers(Ids GroupView::*members, GroupsOf groups_of, NameOf name_of,
                       std::vector<Name> GroupDescription::*names,
                       std::vector<std::pair<NamePlace, Name>>& pairs) {
    const std::size_t count = network_.groups.size();
    Neighbours links(count);
    Ids ids;
    std::unordered_map<std::uint32_t, std::size_t> positions;
    for (std::size_t i = 0; i < count; ++i) {
      for (const std::uint32_t id : network_.groups[i].*members) {
        const auto [known, added] = positions.emplace(id, count + ids.size());
        if (added) {
          ids.push_back(id);
          links.emplace_back();
        }
        links[i].push_back(known->second);
        if (groups_of(id) == nullptr) links[known->second] = {i};
      }
    }
    for (std::size_t k = 0; k < ids.size(); ++k) {
      const Ids* groups = groups_of(ids[k]);
      for (std::size_t g = 0; groups != nullptr && g < groups->size(); ++g) {
        if (const auto position = groups_.PositionOf((*groups)[g])) {
          links[count + k].push_back(*position);
        }
      }
    }
    if (!HasPlainOrder(links)) {
      for (const auto& [group, member] : OrderLinks(links)) {
        pairs.emplace_back(groups_.At(group), name_of(ids[member - count]));
      }
      return;
    }
    for (std::size_t i = 0; i < count; ++i) {
      for (const std::size_t member : links[i]) {
        (result_.groups[i].*names).push_back(name_of(ids[member - count]));
      }
    }
  }

  NodeName NodeOf(std::uint32_t id) const {
    NodeName node;
    const bool is_server = servers_.PositionOf(id).has_value();
    static_cast<NamePlace&>(node) = is_server ? servers_.Of(id) : aps_.Of(id);
    if (!node.id && servers_.Has(node.name) && aps_.Has(node.name)) {
      node.sort = is_server ? NodeName::Sort::kServer : NodeName::Sort::kAp;
    }
    return node;
  }

  void DescribeDeps() {
    for (const DepView& view : network_.deps) {
      DepDescription& dep = result_.deps.emplace_back();
      DescribeHead(view.entry, dep);
      DescribeUsersOf(view, dep);
      const std::uint32_t last = view.groups.empty() ? 0 : view.groups.back();
      if (view.entry.group != last) dep.group = groups_.Of(view.entry.group);
    }
    DescribeLinks(deps_, network_.deps, &DepView::links, result_.deps, result_.dep_links);
  }

  // Users name their Deps themselves where that gives the Dep its order.
  void DescribeUsersOf(const DepView& view, DepDescription& dep) {
    const Ids& users = view.users;
    const bool ascending =
        std::adjacent_find(users.begin(), users.end(), [this](std::uint32_t a, std::uint32_t b) {
          return users_.PositionOf(a) >= users_.PositionOf(b);
        }) == users.end();
    for (const std::uint32_t user : users) {
      if (ascending) {
        deps_of_users_[user].push_back(view.entry.id);
      } else {
        dep.users.push_back(users_.Of(user));
      }
    }
  }

  void DescribeUser(const UserView& view) {
    UserDescription& user = result_.users.emplace_back();
    DescribeHead(view.entry, user);
    for (const std::uint32_t dep : deps_of_users_[view.entry.id]) {
      user.deps.push_back(deps_.Of(dep));
    }
    std::set<std::pair<std::uint32_t, std::uint32_t>> seen;
    for (const Membership& held : view.memberships) {
      MembershipDescription membership{deps_.Of(held.dep), NodeOf(held.node), held.kind};
      if (membership.dep.IsNone() || membership.node.IsNone()) {
        ++dangling_memberships_;
      } else if (!seen.emplace(held.dep, held.node).second) {
        ++repeated_memberships_;
      } else {
        user.memberships.push_back(std::move(membership));
      }
    }
    const Object& entry = view.entry;
    PrimaryDescription primary{deps_.Of(entry.primary_dep), NodeOf(entry.primary_node)};
    const bool dangles = (entry.primary_dep != 0 && primary.dep.IsNone()) ||
                         (entry.primary_node != 0 && primary.node.IsNone());
    if (dangles) {
      ++dangling_primaries_;
    } else if (entry.primary_dep != 0 || entry.primary_node != 0) {
      user.primary = std::move(primary);
    }
  }

  void TellLeftOut() {
    const auto tell = [this](std::size_t count, const char* one, const char* many,
                             const char* rest) {
      if (count > 0)
        notes_.push_back(fmt::format("{} {} {}", count, count == 1 ? one : many, rest));
    };
    tell(dangling_memberships_, "membership names", "memberships name",
         "what does not exist any more: left out.");
    tell(dangling_primaries_, "primary collective names", "primary collectives name",
         "what does not exist any more: left out.");
    tell(repeated_memberships_, "membership stands", "memberships stand",
         "there more than once: written once.");
  }

  const Network& network_;
  std::vector<std::string>& notes_;
  Description result_;
  const bool with_ids_;
  Names servers_{"server", with_ids_};
  Names aps_{"AP", with_ids_};
  Names groups_{"node group", with_ids_};
  Names deps_{"Dep", with_ids_};
  Names users_{"user", with_ids_};
  std::unordered_map<std::uint32_t, Ids> deps_of_users_;
  std::size_t dangling_memberships_ = 0;
  std::size_t dangling_primaries_ = 0;
  std::size_t repeated_memberships_ = 0;
  std::vector<std::string> problems_;
};

}  // namespace

Description DescribeNetwork(const Network& network, bool with_ids,
                            std::vector<std::string>& notes) {
  return Describer(network, with_ids, notes).Run();
}

}  // namespace ncc::tool
