// The model's side of Describe.
#include "model.h"
#include "network.h"

#include <functional>

namespace {

// Numbers of the objects of a list for which `wanted` is true.
template <class Kind>
std::vector<unsigned long> Where(const std::list<Kind>& list,
                                 const std::function<bool(const Kind&)>& wanted) {
  std::vector<unsigned long> numbers;
  for (const Kind& each : list) {
    if (wanted(each)) numbers.push_back(each.id);
  }
  return numbers;
}

std::vector<unsigned long> Flat(const std::vector<CColAb>& memberships) {
  std::vector<unsigned long> numbers;
  for (const CColAb& membership : memberships) {
    numbers.insert(numbers.end(), {membership.id.dep, membership.id.node, membership.kind});
  }
  return numbers;
}

bool Has(const std::vector<unsigned long>& list, unsigned long number) {
  return std::find(list.begin(), list.end(), number) != list.end();
}

}  // namespace

std::string Model::Describe() const {
  Model copy = *this;  // look-ups give pointers that may be written through
  std::string text = DescribePreferences(preferences_);
  for (const Server& server : servers_) {
    const unsigned long found = copy.FindServer(server.Name())->id;
    text += DescribeNode(server.Image(), found, server.type, 0);
    text += DescribeList(" links", server.links) + DescribeList(" groups", server.groups);
    for (const Node& ap : server.aps) {
      const unsigned long first = copy.FindAP(ap.Name())->id;
      text += " ap " + DescribeNode(ap.Image(), first, ap.type, server.id);
      text += DescribeList("  groups", ap.groups);
    }
  }
  std::map<unsigned long, std::string> notes;
  for (const char kind : {'N', 'U', 'D', 'G'}) {
    for (const Object* each : Objects(kind)) {
      for (const auto& [key, value] : each->notes)
        notes[each->id] += DescribeNote(each->id, key, value);
    }
  }
  for (const auto& [id, lines] : notes) text += lines;
  for (const char kind : {'U', 'D', 'G'}) {
    auto objects = Objects(kind);
    std::sort(objects.begin(), objects.end(),
              [](const Object* a, const Object* b) { return a->added < b->added; });
    Numbers added;
    for (const Object* each : objects) added.push_back(each->id);
    text += DescribeList("added", added);
  }
  return text + copy.DescribeUsers() + copy.DescribeDeps() + copy.DescribeLoose();
}

Model::Numbers Model::PossibleOf(const User& user) {
  Numbers numbers;
  for (const Dep& dep : deps_) {
    const Group* const group = FindNGrp(dep.ngrp_id);
    if (group == nullptr || !Has(dep.Linked(kTypeAB), user.id)) continue;
    for (const unsigned long node : group->nodes) numbers.insert(numbers.end(), {dep.id, node});
  }
  return numbers;
}

std::string Model::DescribeUsers() {
  std::string text;
  for (const User& user : users_) {
    text += DescribeNode(user.Image(), FindAB(user.Name())->id, kTypeAB, 0);
    text += DescribeList(" memberships", Flat(user.memberships));
    text += DescribeList(" possible", PossibleOf(user));
  }
  return text;
}

std::string Model::DescribeDeps() {
  std::string text;
  for (const Dep& dep : deps_) {
    text += DescribeNode(dep.Image(), FindDep(dep.Name())->id, kTypeDep, 0);
    text += DescribeList(" users", dep.Linked(kTypeAB));
    text += DescribeList(" Deps", dep.Linked(kTypeDep)) + DescribeList(" groups", dep.groups);
    for (const Item& item : dep.items) {
      const std::uint32_t id = item.object.number;
      const std::string name = FindDep(id) != nullptr ? FindDep(id)->Name() : FindAB(id)->Name();
      text += DescribeItem(item.kind, item.object, item.label.value_or(name));
    }
  }
  for (const Group& group : groups_) {
    text += DescribeNode(group.Image(), FindNGrp(group.Name())->id, kTypeNGrp, 0);
    text += DescribeList(" nodes", group.nodes) + DescribeList(" Deps", group.deps);
  }
  return text;
}

// In the order of the lists that the checks fill, the free Deps last.
std::string Model::DescribeLoose() {
  std::list<Node> aps;
  for (const Server& server : servers_) aps.insert(aps.end(), server.aps.begin(), server.aps.end());
  aps.sort([](const Node& a, const Node& b) { return a.id < b.id; });
  const auto in_no_dep = [&](const User& user) {
    return std::none_of(deps_.begin(), deps_.end(),
                        [&](const Dep& dep) { return Has(dep.Linked(kTypeAB), user.id); });
  };
  const auto unnamed = [&](const Node& node) {
    return std::none_of(users_.begin(), users_.end(), [&](const User& user) {
      return std::any_of(user.memberships.begin(), user.memberships.end(),
                         [&](const CColAb& membership) { return membership.id.node == node.id; });
    });
  };
  const auto in_no_group = [](const Object& object) { return object.groups.empty(); };
  const Numbers lists[] = {
      Where<Node>(aps, [](const Node&) { return true; }),
      Where<User>(users_, in_no_dep),
      Where<User>(users_, [](auto& user) { return !user.primary.dep || !user.primary.node; }),
      Where<User>(users_, [](auto& user) { return user.memberships.empty(); }),
      Where<Server>(servers_, [](auto& each) { return each.aps.empty() && each.links.empty(); }),
      Where<Server>(servers_, in_no_group),
      Where<Server>(servers_, unnamed),
      Where<Node>(aps, in_no_group),
      Where<Node>(aps, unnamed),
      Where<Group>(groups_, [](const Group& group) { return group.nodes.empty(); }),
      Where<Group>(groups_, [](const Group& group) { return group.deps.empty(); }),
      Where<Dep>(deps_, [](const Dep& dep) { return dep.Linked(kTypeAB).empty(); }),
      Where<Dep>(deps_, in_no_group),
      Where<Dep>(deps_, [](const Dep& dep) { return dep.ngrp_id == 0; })};
  std::string text;
  for (const Numbers& list : lists) text += DescribeList("loose", list);
  return text;
}

std::vector<const Model::Object*> Model::Objects(char kind) const {
  std::vector<const Object*> objects;
  const auto append = [&](const auto& list) {
    for (const auto& each : list) objects.push_back(&each);
  };
  if (kind == 'S' || kind == 'N') append(servers_);
  for (const Server& server : servers_) {
    if (kind == 'A' || kind == 'N') append(server.aps);
  }
  if (kind == 'U') append(users_);
  if (kind == 'D') append(deps_);
  if (kind == 'G') append(groups_);
  return objects;
}
