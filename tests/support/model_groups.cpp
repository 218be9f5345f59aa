// The model's users, Deps and node groups.
#include "model.h"

#include <map>

namespace {

TDBObjId Folder(const Model::Object& object) { return {200, object.id}; }
TDBObjId Record(const Model::Object& object) { return {100, object.id}; }

void Insert(Model::Numbers& list, unsigned long id) {
  if (std::count(list.begin(), list.end(), id) == 0) list.push_back(id);
}

}  // namespace

std::string Model::Dep::Image() const {
  return Head() + LittleEndian(ngrp_id, 4) + std::string(5, '\0');
}

std::string Model::User::Image() const {
  return Head() + LittleEndian(primary.dep, 4) + LittleEndian(primary.node, 4) + '\0';
}

std::string Model::Group::Image() const { return Head() + LittleEndian(number, 4); }

Model::Numbers Model::Dep::Linked(std::uint8_t kind) const {
  Numbers numbers;
  for (const Item& item : items) {
    if (item.kind == kind) numbers.push_back(item.object.number);
  }
  return numbers;
}

Model::Item* Model::Dep::Find(const TDBObjId& object) {
  const auto at = std::find_if(items.begin(), items.end(),
                               [&](const Item& item) { return item.object == object; });
  return at != items.end() ? &*at : nullptr;
}

void Model::Dep::Append(const Object& other, std::uint8_t kind, const std::string& name) {
  const auto label = name == other.Name() ? std::nullopt : std::optional(name);
  items.push_back({Folder(other), kind, label});
  items.push_back({Record(other), 6, label});
}

void Model::Dep::Remove(const TDBObjId& object) {
  if (const Item* const item = Find(object)) items.erase(items.begin() + (item - items.data()));
}

template <class Kind>
bool Model::Modify(std::list<Kind>& all, Kind* object, const std::string& name) {
  if (object == nullptr || !Fits(name) || FindIn(all, name) != nullptr) return false;
  object->Rename(name);
  for (Dep& dep : deps_) {
    for (const TDBObjId& id : {Folder(*object), Record(*object)}) {
      if (Item* const item = dep.Find(id)) item->label.reset();
    }
  }
  return true;
}

bool Model::ModifyAB(User* user, const std::string& name) { return Modify(users_, user, name); }
bool Model::ModifyDep(Dep* dep, const std::string& name) { return Modify(deps_, dep, name); }
bool Model::ModifyNGrp(Group* group, const std::string& name) {
  return Modify(groups_, group, name);
}

void Model::ForgetNode(const Node& node) {
  for (Group& group : groups_) std::erase(group.nodes, node.id);
}

void Model::ForgetItems(const Object& object) {
  for (Dep& dep : deps_) {
    std::erase_if(dep.items, [&](const Item& item) { return item.object.number == object.id; });
  }
}

// All memberships of the Dep that its users have.
void Model::EndMemberships(const Dep& dep) {
  for (const unsigned long id : dep.Linked(kTypeAB)) {
    std::erase_if(FindAB(id)->memberships,
                  [&](const CColAb& membership) { return membership.id.dep == dep.id; });
  }
}

unsigned long Model::CreateAB(const std::string& name, const Wish& as) {
  const User* const user = AddTo(users_, name, kTypeAB, as);
  return user != nullptr ? user->id : 0;
}

bool Model::DeleteAB(User* user) {
  if (user == nullptr) return false;
  ForgetItems(*user);
  users_.remove_if([&](const User& each) { return &each == user; });
  return true;
}

bool Model::LinkABToDep(Dep* dep, User* user, bool collectives) {
  if (dep == nullptr || user == nullptr) return false;
  const Group* const group = FindNGrp(dep->ngrp_id);
  const Numbers nodes = group != nullptr ? group->nodes : Numbers();
  if (user->primary.dep == 0 && user->primary.node == 0 && !nodes.empty()) {
    user->primary = {dep->id, static_cast<std::uint32_t>(nodes.front())};
  }
  if (collectives) {
    for (const unsigned long node : nodes) {
      user->memberships.push_back({{dep->id, static_cast<std::uint32_t>(node)}, 0});
    }
  }
  dep->Append(*user, kTypeAB, user->Name());
  return true;
}

bool Model::LinkABToDep(const std::string& dep, const std::string& user, bool collectives) {
  if (!Fits(dep) || !Fits(user)) return false;
  if (FindDep(dep) == nullptr) CreateDep(dep);
  if (FindAB(user) == nullptr) CreateAB(user);
  return LinkABToDep(FindDep(dep), FindAB(user), collectives);
}

bool Model::DeleteABFromDep(Dep* dep, User* user) {
  if (dep == nullptr || user == nullptr || dep->Find(Folder(*user)) == nullptr) return false;
  std::erase_if(user->memberships,
                [&](const CColAb& membership) { return membership.id.dep == dep->id; });
  dep->Remove(Folder(*user));
  dep->Remove(Record(*user));
  return true;
}

bool Model::DeleteABFromDep(Dep* dep, const std::string& user) {
  if (dep == nullptr) return false;
  for (const unsigned long id : dep->Linked(kTypeAB)) {
    if (SameName(FindAB(id)->Name(), user)) return DeleteABFromDep(dep, FindAB(id));
  }
  return false;
}

bool Model::DeleteAllAb(Dep* dep) {
  if (dep == nullptr) return false;
  for (const unsigned long id : dep->Linked(kTypeAB)) DeleteABFromDep(dep, FindAB(id));
  return true;
}

bool Model::SetPrimary(User* user, CColId collective) {
  if (user == nullptr) return false;
  user->primary = collective;
  return true;
}

bool Model::SetMemberships(User* user, unsigned long dep, std::vector<CColAb> list, bool remove) {
  if (user == nullptr) return false;
  // Copies of the numbers: elements of a vector of packed records are not aligned.
  const auto node_of = [](const CColAb& membership) { return std::uint32_t{membership.id.node}; };
  std::map<std::uint32_t, std::size_t> last;  // of several elements for one node
  for (std::size_t i = 0; i < list.size(); ++i) {
    if (list[i].id.dep == dep) last[node_of(list[i])] = i;
  }
  std::vector<CColAb> result;
  std::vector<bool> stored(list.size());
  for (CColAb membership : user->memberships) {
    const auto found = membership.id.dep == dep ? last.find(node_of(membership)) : last.end();
    if (found != last.end()) {
      membership.kind = list[found->second].kind;
      stored[found->second] = true;
    } else if (membership.id.dep == dep && remove) {
      continue;
    }
    result.push_back(membership);
  }
  for (std::size_t i = 0; i < list.size(); ++i) {
    const bool counts = list[i].id.dep == dep && last[node_of(list[i])] == i;
    if (counts && !stored[i]) result.push_back(list[i]);
  }
  user->memberships = result;
  return true;
}

unsigned long Model::CreateDep(const std::string& name, const Wish& as) {
  const Dep* const dep = AddTo(deps_, name, kTypeDep, as);
  return dep != nullptr ? dep->id : 0;
}

bool Model::DeleteDep(Dep* dep) {
  if (dep == nullptr) return false;
  DeleteAllAb(dep);
  for (Group& group : groups_) std::erase(group.deps, dep->id);
  ForgetItems(*dep);
  deps_.remove_if([&](const Dep& each) { return &each == dep; });
  return true;
}

unsigned long Model::LinkDeps(Dep* one, Dep* other) {
  if (one == nullptr || other == nullptr) return 0;
  return LinkDeps(one->Name(), other->Name(), one, other) ? 2 : 1;
}

bool Model::LinkDeps(const std::string& one, const std::string& other) {
  if (FindDep(one) == nullptr || FindDep(other) == nullptr) return false;
  LinkDeps(one, other, FindDep(one), FindDep(other));
  return true;
}

bool Model::LinkDeps(const std::string& one_name, const std::string& other_name, Dep* one,
                     Dep* other) {
  const auto add = [](Dep* dep, const Dep* to, const std::string& name) {
    if (dep->Find(Folder(*to)) != nullptr) return false;
    dep->Append(*to, kTypeDep, name);
    return true;
  };
  const bool first = add(one, other, other_name);
  return add(other, one, one_name) || first;
}

bool Model::LinkAllDeps() {
  for (Dep& dep : deps_) {
    std::erase_if(dep.items, [](const Item& item) { return item.kind == kTypeDep; });
    for (const Dep& other : deps_) {
      if (&other != &dep) dep.Append(other, kTypeDep, other.Name());
    }
  }
  return true;
}

bool Model::UnlinkDeps(Dep* one, Dep* other) {
  if (one == nullptr || other == nullptr) return false;
  other->Remove(Folder(*one));
  one->Remove(Folder(*other));
  return true;
}

unsigned long Model::CreateNGrp(const std::string& name, const Wish& as) {
  Group* const group = AddTo(groups_, name, kTypeNGrp, as);
  if (group == nullptr) return 0;
  group->number = NumberOf(preferences_.ngrp_counter, as);
  preferences_.ngrp_counter = std::max<std::uint32_t>(preferences_.ngrp_counter, group->number);
  return group->id;
}

bool Model::DeleteNGrp(Group* group) {
  if (group == nullptr) return false;
  for (const unsigned long dep : Numbers(group->deps)) UnlinkDep(group, FindDep(dep));
  for (const unsigned long node : group->nodes) std::erase(FindNode(node)->groups, group->id);
  groups_.remove_if([&](const Group& each) { return &each == group; });
  return true;
}

bool Model::LinkNode(Group* group, Node* node) {
  if (group == nullptr || node == nullptr) return false;
  Insert(group->nodes, node->id);
  Insert(node->groups, group->id);
  return true;
}

bool Model::UnlinkNode(Group* group, Node* node) {
  if (group == nullptr || node == nullptr) return false;
  for (const unsigned long dep : group->deps) {
    for (const unsigned long user : FindDep(dep)->Linked(kTypeAB)) {
      std::erase_if(FindAB(user)->memberships,
                    [&](const CColAb& membership) { return membership.id.node == node->id; });
    }
  }
  std::erase(group->nodes, node->id);
  std::erase(node->groups, group->id);
  return true;
}

bool Model::LinkDep(Group* group, Dep* dep) {
  if (group == nullptr || dep == nullptr) return false;
  dep->ngrp_id = group->id;
  Insert(group->deps, dep->id);
  Insert(dep->groups, group->id);
  return true;
}

bool Model::UnlinkDep(Group* group, Dep* dep) {
  if (group == nullptr || dep == nullptr) return false;
  if (dep->ngrp_id == group->id) dep->ngrp_id = 0;
  EndMemberships(*dep);
  std::erase(group->deps, dep->id);
  std::erase(dep->groups, group->id);
  return true;
}

Model::User* Model::FindAB(const std::string& name) { return FindIn(users_, name); }
Model::User* Model::FindAB(unsigned long id) { return FindIn(users_, id); }
Model::Dep* Model::FindDep(const std::string& name) { return FindIn(deps_, name); }
Model::Dep* Model::FindDep(unsigned long id) { return FindIn(deps_, id); }
Model::Group* Model::FindNGrp(const std::string& name) { return FindIn(groups_, name); }
Model::Group* Model::FindNGrp(unsigned long id) { return FindIn(groups_, id); }
