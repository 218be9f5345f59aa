// Which objects the ids of a description mean. Names come after them: an object that has an id is
// the one of that id, whatever its name is now, and every name in the file is the one that its
// object has in the end.
#include <algorithm>

#include <fmt/format.h>

#include "console/text.h"
#include "plan/builder.h"

namespace ncc::tool {
namespace {

// Calls visit(item, object) for each object of a description.
template <class Visit>
void ForEachObject(const Description& description, Visit visit) {
  for (const ServerDescription& server : description.servers) {
    visit(Item::kServer, server);
    for (const ApDescription& ap : server.aps) visit(Item::kAp, ap);
  }
  for (const GroupDescription& group : description.groups) visit(Item::kGroup, group);
  for (const DepDescription& dep : description.deps) visit(Item::kDep, dep);
  for (const UserDescription& user : description.users) visit(Item::kUser, user);
}

}  // namespace

void PlanBuilder::ClaimIds() {
  ForEachObject(description_, [this](Item item, const ObjectDescription& object) {
    if (object.id) Claim(item, object);
  });
  if (claimed_.empty()) return;
  ForEachObject(description_, [this](Item item, const ObjectDescription& object) {
    if (object.id && claimed_.contains(*object.id)) SettleName(item, object);
  });
  ReserveNumbers();
}

void PlanBuilder::Claim(Item item, const ObjectDescription& object) {
  const std::uint32_t id = *object.id;
  const auto present = objects_.find(id);
  const bool is_new = present == objects_.end();
  if (!is_new && present->second.item != item) {
    Complain(object.id_place,
             fmt::format("the id {} is that of the {} {}; give the {} another one, or none", id,
                         WordOf(present->second.item), Quote(id), WordOf(item)));
    return;
  }
  const Ref ref = is_new ? next_new_++ : id;
  claimed_.emplace(id, ref);
  described_.insert(ref);
  if (is_new) {
    objects_.emplace(ref, Named{item, &object.name, id});
  } else if (*present->second.name == object.name) {
    return;
  } else {
    const std::string old_name = FoldName(*present->second.name);
    std::erase(IndexOf(item)[old_name], ref);
    old_index_[static_cast<std::size_t>(item)][old_name].push_back(ref);
    old_names_.emplace(ref, present->second.name);
    present->second.name = &object.name;
  }
  if (IsBlank(object.name)) Complain(object.place, "the name holds nothing but blanks");
  IndexOf(item)[FoldName(object.name)].push_back(ref);
}

// Clears the way for the name of an object that is new or renamed.
void PlanBuilder::SettleName(Item item, const ObjectDescription& object) {
  const Ref self = claimed_.at(*object.id);
  if (self < kFirstNew && !IsRenamed(self)) return;
  const std::string name = FoldName(object.name);
  Refs& holders = IndexOf(item)[name];
  std::erase_if(holders, [&](Ref other) {
    if (IsDescribed(other)) return false;
    const bool goes = prune_;
    if (goes) SetAside(item, other);
    return goes;
  });
  for (const Ref other : holders) {
    if (other != self && !MayShareName(item, object, self, other)) return;
  }
  if (!IsRenamed(self)) return;
  const Index& old_index = old_index_[static_cast<std::size_t>(item)];
  const auto renamed = old_index.find(name);
  if (renamed == old_index.end()) return;
  for (const Ref other : renamed->second) SetAside(item, other);
}

// Objects can come to share a name only by being added with it.
bool PlanBuilder::MayShareName(Item item, const ObjectDescription& object, Ref self, Ref other) {
  const bool is_described = IsDescribed(other);
  if (is_described && !IsRenamed(self) && !IsRenamed(other)) return true;
  const std::string what = self >= kFirstNew
                               ? fmt::format("no object has the id {}", *object.id)
                               : fmt::format("the id {} is that of the {} \"{}\"", *object.id,
                                             WordOf(item), PrintableName(*old_names_.at(self)));
  Complain(object.place,
           fmt::format("{}, but the name {} is that of the {} id:{}; give {}", what, Quote(self),
                       WordOf(item), objects_.at(other).id,
                       is_described ? "each a name of its own" : "that id, or another name"));
  return false;
}

void PlanBuilder::SetAside(Item item, Ref ref) {
  if (set_aside_.insert(ref).second) {
    AddStep(Phase::kSetAside, {Step::Kind::kSetAside, item, ref});
  }
}

// What is counted must not take a number that the description gives to another object.
void PlanBuilder::ReserveNumbers() {
  Preferences& planned = plan_.preferences;
  ForEachObject(description_, [&](Item item, const ObjectDescription& object) {
    const auto claimed = object.id ? claimed_.find(*object.id) : claimed_.end();
    if (claimed == claimed_.end() || claimed->second < kFirstNew) return;
    reserves_ = true;
    planned.next_id = std::max(planned.next_id, *object.id + 1);
    const std::uint32_t number = object.number.value_or(0);
    if (item == Item::kServer) planned.server_counter = std::max(planned.server_counter, number);
    if (item == Item::kGroup) planned.ngrp_counter = std::max(planned.ngrp_counter, number);
  });
}

void PlanBuilder::PlanRename(Ref ref, const ObjectDescription& object) {
  const Named& named = objects_.at(ref);
  if (object.number && ref < kFirstNew && *object.number != named.number) {
    Complain(object.number_place,
             fmt::format("the number of the {} {} is {} and cannot be changed: it is given when "
                         "one is added",
                         WordOf(named.item), Quote(ref), named.number));
  }
  if (!IsRenamed(ref)) return;
  const std::string& old_name = *old_names_.at(ref);
  changes_.emplace(ref, plan_.changes.size());
  plan_.changes.push_back({'~', named.item, old_name});
  AddDetail(ref, {'~', "name", Utf8FromBytes(old_name), Utf8FromBytes(object.name), true});
  Step step{Step::Kind::kRename, named.item, ref};
  step.name = object.name;
  AddStep(Phase::kRename, std::move(step));
}

}  // namespace ncc::tool
