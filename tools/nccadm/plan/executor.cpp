#include <algorithm>
#include <map>
#include <set>
#include <unordered_map>

#include <fmt/format.h>

#include "console/failure.h"
#include "console/text.h"
#include "network/changes.h"
#include "network/view.h"
#include "plan/plan.h"

namespace ncc::tool {
namespace {

class Executor {
 public:
  Executor(const Plan& plan, Session& session)
      : plan_(plan), session_(session), net_(session.Net()) {}

  void Run(const Step& step) {
    bool done = false;
    switch (step.kind) {
      case Step::Kind::kPreferences:
        done = SavePreferences();
        break;
      case Step::Kind::kAdd:
        done = AddObject(step);
        break;
      case Step::Kind::kSet:
        done = Register(net_, ObjectOf(step, IdOf(step.object)));
        break;
      case Step::Kind::kMove:
        done = net_.ChangeSrv(IdOf(step.object), IdOf(step.other));
        break;
      case Step::Kind::kDelete:
        done = DeleteObject(step);
        break;
      case Step::Kind::kLink:
        done = Link(step.item, IdOf(step.object), IdOf(step.other));
        break;
      case Step::Kind::kUnlink:
        done = Unlink(step.item, IdOf(step.object), IdOf(step.other));
        break;
      case Step::Kind::kClearGroup:
        done = ClearGroup(IdOf(step.object));
        break;
      case Step::Kind::kPrimary:
        done = MakePrimary(step);
        break;
      case Step::Kind::kMemberships:
        done = MakeMemberships(step);
        break;
      case Step::Kind::kRename:
        done = Rename(net_, ObjectOf(step, IdOf(step.object)), step.name);
        break;
      case Step::Kind::kNotes:
        SetNotes(session_, NarrowIdOf(step.object), step.notes);
        done = true;
        break;
      case Step::Kind::kSetAside:
        done = !RenameAside(session_, ObjectOf(step, IdOf(step.object))).empty();
        break;
    }
    if (!done) throw Refused(step);
  }

 private:
  // The library's overloads tell an identifier from a name by the wider type.
  using Id = unsigned long;

  Id IdOf(Ref ref) const {
    if (ref < kFirstNew) return ref;
    const auto added = added_.find(ref);
    if (added == added_.end()) throw Failure("the plan uses an object before it adds it");
    return added->second;
  }
  std::uint32_t NarrowIdOf(Ref ref) const { return static_cast<std::uint32_t>(IdOf(ref)); }

  bool SavePreferences() {
    SetPreferences(net_, plan_.preferences);
    net_.SaveNetInfo();
    return *net_.LastError() == '\0';
  }

  static Object ObjectOf(const Step& step, Id id) {
    Object object;
    object.kind = KindOf(step.item);
    object.id = static_cast<std::uint32_t>(id);
    object.name = step.name;
    object.number = step.number;
    object.flags = step.mask;
    object.value = step.value;
    object.settings = step.settings.value_or(0);
    return object;
  }

  bool AddObject(const Step& step) {
    Object object = ObjectOf(step, step.id);
    if (step.item == Item::kAp) object.server_id = NarrowIdOf(step.other);
    const Id id = Add(net_, object);
    added_[step.object] = id;
    return id != 0 && (!step.settings || Register(net_, ObjectOf(step, id)));
  }

  bool DeleteObject(const Step& step) {
    return Delete(session_, Reload(session_, KindOf(step.item), IdOf(step.object)));
  }

  bool Link(Item item, Id one, Id other) {
    if (item == Item::kLink) return net_.LinkSrvToSrv(one, other);
    if (item == Item::kGroupNode) return net_.LinkNNToNGrp(one, other);
    if (item == Item::kGroupDep) return net_.LinkDepToNGrp(one, other);
    if (item == Item::kDepLink) return net_.LinkDepToDep(one, other);
    return net_.LinkABToDep(other, one, false);
  }

  bool Unlink(Item item, Id one, Id other) {
    if (item == Item::kLink) return net_.DeleteLink(one, other);
    if (item == Item::kGroupNode) return net_.DeleteNNFromNGrp(one, other);
    if (item == Item::kGroupDep) return net_.DeleteDepFromNGrp(one, other);
    if (item == Item::kDepLink) return net_.DeleteLinkDepToDep(one, other);
    net_.DeleteABFromDep(other, one);
    return *net_.LastError() == '\0';
  }

  // A Dep that groups list but of which none counts comes about when one that counted goes. That
  // one leaves no trace in the counters.
  bool ClearGroup(Id dep) {
    const CNetPref before = *net_.Preferences();
    const std::string name = fmt::format("\x01{}", dep);
    const Id group = net_.CreateNGrp(name.c_str());
    if (group == 0 || !net_.LinkDepToNGrp(group, dep) || !net_.DeleteNGrp(group)) return false;
    *net_.Preferences() = before;
    net_.SaveNetInfo();
    return *net_.LastError() == '\0';
  }

  bool MakePrimary(const Step& step) {
    if (step.memberships.empty()) return false;
    const PlannedMembership& membership = step.memberships.front();
    return SetPrimary(net_, NarrowIdOf(step.object), NarrowIdOf(membership.dep),
                      NarrowIdOf(membership.node));
  }

  // Removes what is not in the step, then gives the rest in runs of one Dep: the library takes
  // memberships Dep by Dep, and they are kept in one order over all Deps.
  bool MakeMemberships(const Step& step) {
    const std::uint32_t user = NarrowIdOf(step.object);
    std::vector<Membership> wanted;
    for (const PlannedMembership& membership : step.memberships) {
      wanted.push_back({NarrowIdOf(membership.dep), NarrowIdOf(membership.node), membership.kind});
    }
    if (!RemoveOthers(user, wanted)) return false;
    for (auto at = wanted.begin(); at != wanted.end();) {
      const auto end = std::find_if(at, wanted.end(), [&at](const Membership& membership) {
        return membership.dep != at->dep;
      });
      if (!SetMemberships(net_, user, at->dep, {at, end}, false)) return false;
      at = end;
    }
    return true;
  }

  bool RemoveOthers(std::uint32_t user, const std::vector<Membership>& wanted) {
    std::map<std::uint32_t, std::map<std::uint32_t, Membership>> kept;  // by Dep, by node
    for (const Membership& membership : wanted)
      kept[membership.dep].emplace(membership.node, membership);
    std::set<std::uint32_t> crowded;  // Deps of which the user has others
    for (const Membership& membership : session_.Shown().MembershipsOf(user)) {
      if (!kept[membership.dep].contains(membership.node)) crowded.insert(membership.dep);
    }
    for (const std::uint32_t dep : crowded) {
      // Only what is stored, as anything else would come to stand before its place.
      std::vector<Membership> rest;
      for (const Membership& membership : session_.Shown().MembershipsOf(user)) {
        const auto found = kept[dep].find(membership.node);
        if (membership.dep == dep && found != kept[dep].end()) rest.push_back(found->second);
      }
      if (!SetMemberships(net_, user, dep, rest, true)) return false;
    }
    return true;
  }

  Failure Refused(const Step& step) {
    const bool has_name = !step.name.empty();
    const std::string what = has_name           ? fmt::format("\"{}\"", PrintableName(step.name))
                             : step.object != 0 ? fmt::format("id:{}", IdOf(step.object))
                                                : "the preferences";
    return session_.Refusal(fmt::format("the database refused a change of {}", what));
  }

  const Plan& plan_;
  Session& session_;
  CNCCNet& net_;
  std::unordered_map<Ref, Id> added_;
};

}  // namespace

void Execute(const Plan& plan, Session& session, const std::function<void()>& after_each) {
  Executor executor(plan, session);
  for (const Step& step : plan.steps) {
    executor.Run(step);
    after_each();
  }
}

}  // namespace ncc::tool
