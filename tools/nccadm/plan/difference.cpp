#include "plan/difference.h"

#include <algorithm>
#include <optional>
#include <set>
#include <tuple>
#include <utility>

#include <fmt/format.h>

#include "console/text.h"

namespace ncc::tool {
namespace {

struct TieAbout {
  Kind owner;
  Relation relation;
  const char* field;
};

// In the order of Tie.
constexpr std::array<TieAbout, kTies> kTiesAbout = {{
    {Kind::kServer, Relation::kLinksOfServer, "link"},
    {Kind::kGroup, Relation::kNodesOfGroup, "node"},
    {Kind::kGroup, Relation::kDepsOfGroup, "Dep"},
    {Kind::kDep, Relation::kLinksOfDep, "link"},
    {Kind::kDep, Relation::kUsersOfDep, "user"},
}};

Item ItemOf(Kind kind) {
  switch (kind) {
    case Kind::kServer:
      return Item::kServer;
    case Kind::kAp:
      return Item::kAp;
    case Kind::kGroup:
      return Item::kGroup;
    case Kind::kDep:
      return Item::kDep;
    case Kind::kUser:
      return Item::kUser;
  }
  return Item::kServer;
}

class Taking {
 public:
  Taking(CNCCNet& net, State& state) : view_(net), state_(state) {}

  void Take(std::uint32_t id) {
    const std::optional<Object> object = view_.AnyById(id);
    if (!object) return;
    ObjectState& state = state_.objects[id];
    state.entry = *object;
    state_.names[id] = object->name;
    for (std::size_t tie = 0; tie < kTies; ++tie) {
      if (kTiesAbout[tie].owner != object->kind) continue;
      for (const Object& other : view_.Related(kTiesAbout[tie].relation, id)) {
        state.ties[tie].push_back(other.id);
        state_.names[other.id] = other.name;
      }
    }
    if (object->kind == Kind::kUser) state.memberships = view_.MembershipsOf(id);
    state.notes = view_.NotesOf(id);
    for (const std::uint32_t other :
         {object->server_id, object->primary_dep, object->primary_node, object->group}) {
      Name(other);
    }
    for (const Membership& membership : state.memberships) {
      Name(membership.dep);
      Name(membership.node);
    }
  }

 private:
  void Name(std::uint32_t id) {
    if (id == 0 || state_.names.contains(id)) return;
    const std::optional<Object> object = view_.AnyById(id);
    state_.names[id] = object ? object->name : fmt::format("id:{}", id);
  }

  OwnView view_;
  State& state_;
};

class Comparison {
 public:
  Comparison(const State& before, const State& after, const Applications& applications)
      : before_(before), after_(after), applications_(applications) {}

  std::vector<Change> Run() {
    ComparePreferences();
    std::set<std::uint32_t> ids;
    for (const auto& [id, object] : before_.objects) ids.insert(id);
    for (const auto& [id, object] : after_.objects) ids.insert(id);
    for (const std::uint32_t id : ids) CompareObject(id);
    std::vector<Change> changes;
    for (auto& [id, change] : changes_) changes.push_back(std::move(change));
    std::stable_sort(changes.begin(), changes.end(),
                     [](const Change& one, const Change& other) { return one.item < other.item; });
    return changes;
  }

 private:
  // Of an object that is there in one of the states at least.
  Change& ChangeOf(std::uint32_t id) {
    const auto [at, is_new] = changes_.try_emplace(id);
    if (!is_new) return at->second;
    const ObjectState* const old = Find(before_, id);
    const ObjectState* const now = Find(after_, id);
    at->second.sign = old == nullptr ? '+' : now == nullptr ? '-' : '~';
    if (const ObjectState* const any = now != nullptr ? now : old; any != nullptr) {
      at->second.item = ItemOf(any->entry.kind);
      at->second.name = (old != nullptr ? *old : *any).entry.name;
    }
    return at->second;
  }

  static const ObjectState* Find(const State& state, std::uint32_t id) {
    const auto found = state.objects.find(id);
    return found != state.objects.end() ? &found->second : nullptr;
  }

  static std::string NameIn(const State& state, std::uint32_t id) {
    if (id == 0) return {};
    const auto found = state.names.find(id);
    return Utf8FromBytes(found != state.names.end() ? found->second : fmt::format("id:{}", id));
  }

  void ComparePreferences() {
    VisitPreferences(
        [this](const char* key, auto old, auto now) {
          if (old == now) return;
          Change& change = changes_[0];
          change.sign = '~';
          change.details.push_back({'~', key, std::to_string(old), std::to_string(now)});
        },
        before_.preferences, after_.preferences);
  }

  void CompareObject(std::uint32_t id) {
    const ObjectState* const old = Find(before_, id);
    const ObjectState* const now = Find(after_, id);
    if (old == nullptr || now == nullptr) ChangeOf(id);
    if (now == nullptr) return;  // what goes with it is no change of its own
    static const ObjectState kNothing;
    const ObjectState& from = old != nullptr ? *old : kNothing;
    CompareEntries(id, old != nullptr ? &old->entry : nullptr, now->entry);
    for (std::size_t tie = 0; tie < kTies; ++tie)
      CompareTies(id, static_cast<Tie>(tie), from.ties[tie], now->ties[tie]);
    CompareMemberships(id, from.memberships, now->memberships);
    for (Detail& detail : DetailsOfNotes(from.notes, now->notes)) Add(id, std::move(detail));
  }

  void CompareEntries(std::uint32_t id, const Object* old, const Object& now) {
    static const Object kNew;
    const Object& from = old != nullptr ? *old : kNew;
    if (old != nullptr && old->name != now.name)
      Add(id, {'~', "name", Utf8FromBytes(old->name), Utf8FromBytes(now.name), true});
    if (now.kind == Kind::kAp) AddNames(id, "server", old, from.server_id, now.server_id);
    if (now.kind == Kind::kServer) AddNumbers(id, "value", old, from.value, now.value);
    if (now.IsNode()) {
      if (from.flags != now.flags)
        AddTexts(id, "applications", old, applications_.TextOf(from.flags),
                 applications_.TextOf(now.flags));
      AddNumbers(id, "settings", old, from.settings, now.settings);
    }
    if (now.kind == Kind::kDep)
      AddNames(id, "group that counts", old != nullptr || now.group == 0 ? old : &kNew, from.group,
               now.group);
    const Membership primary{now.primary_dep, now.primary_node, 0};
    const Membership before{from.primary_dep, from.primary_node, 0};
    if (primary.dep != before.dep || primary.node != before.node)
      Add(id, {'~', "primary", Where(before_, before), Where(after_, primary)});
  }

  void AddNames(std::uint32_t id, const char* field, const Object* old, std::uint32_t from,
                std::uint32_t to) {
    if (from == to) return;
    Add(id, {old != nullptr ? '~' : '+', field, NameIn(before_, from), NameIn(after_, to), true});
  }
  void AddNumbers(std::uint32_t id, const char* field, const Object* old, unsigned from,
                  unsigned to) {
    if (old == nullptr || from != to)
      AddTexts(id, field, old, std::to_string(from), std::to_string(to));
  }
  void AddTexts(std::uint32_t id, const char* field, const Object* old, std::string from,
                std::string to) {
    Add(id, {old != nullptr ? '~' : '+', field, std::move(from), std::move(to)});
  }

  // In link order; only where nothing else differs the order itself does.
  void CompareTies(std::uint32_t id, Tie tie, const std::vector<std::uint32_t>& from,
                   const std::vector<std::uint32_t>& to) {
    if (from == to) return;
    const auto added = Surplus(to, from);
    const auto removed = Surplus(from, to);
    for (const std::uint32_t other : added) AddTie(id, tie, other, '+');
    for (const std::uint32_t other : removed) AddTie(id, tie, other, '-');
    if (added.empty() && removed.empty())
      Add(id, {'~', fmt::format("order of {}s", FieldOf(tie)), "one", "another"});
  }

  static const char* FieldOf(Tie tie) { return kTiesAbout[static_cast<std::size_t>(tie)].field; }

  static std::vector<std::uint32_t> Surplus(const std::vector<std::uint32_t>& all,
                                            const std::vector<std::uint32_t>& without) {
    std::unordered_map<std::uint32_t, std::size_t> left;
    for (const std::uint32_t id : without) ++left[id];
    std::vector<std::uint32_t> surplus;
    for (const std::uint32_t id : all) {
      const auto found = left.find(id);
      if (found != left.end() && found->second > 0) {
        --found->second;
      } else {
        surplus.push_back(id);
      }
    }
    return surplus;
  }

  // Links are told at one end; that a user is in a Dep is told at the user.
  void AddTie(std::uint32_t id, Tie tie, std::uint32_t other, char sign) {
    const bool is_link = tie == Tie::kServerLink || tie == Tie::kDepLink;
    if (is_link && !told_.emplace(std::min(id, other), std::max(id, other), sign).second) return;
    const bool is_gone = Find(before_, other) != nullptr && Find(after_, other) == nullptr;
    if (is_gone) return;
    const bool at_user = tie == Tie::kUserOfDep;
    const std::uint32_t owner = at_user ? other : id;
    const std::uint32_t named = at_user ? id : other;
    const char* const field = at_user ? "Dep" : FieldOf(tie);
    Detail detail{sign, field, {}, {}, true};
    (sign == '+' ? detail.to : detail.from) = NameIn(sign == '+' ? after_ : before_, named);
    if (at_user && Find(before_, owner) == nullptr && Find(after_, owner) == nullptr) {
      detail.field = "user";  // the user itself is as it was
      (sign == '+' ? detail.to : detail.from) = NameIn(sign == '+' ? after_ : before_, other);
      Add(id, std::move(detail));
      return;
    }
    Add(owner, std::move(detail));
  }

  void CompareMemberships(std::uint32_t id, const std::vector<Membership>& from,
                          const std::vector<Membership>& to) {
    const auto find = [](const std::vector<Membership>& all, const Membership& one) {
      return std::find_if(all.begin(), all.end(), [&one](const Membership& other) {
        return other.dep == one.dep && other.node == one.node;
      });
    };
    for (const Membership& membership : to) {
      const auto old = find(from, membership);
      const std::string where = Where(after_, membership);
      if (old == from.end()) {
        Add(id, {'+', "membership", {}, fmt::format("{}, kind {}", where, membership.kind)});
      } else if (old->kind != membership.kind) {
        Add(id, {'~', "membership", fmt::format("{}, kind {}", where, old->kind),
                 fmt::format("kind {}", membership.kind)});
      }
    }
    for (const Membership& membership : from) {
      if (find(to, membership) != to.end()) continue;
      Add(id, {'-',
               "membership",
               fmt::format("{}, kind {}", Where(before_, membership), membership.kind),
               {}});
    }
  }

  static std::string Where(const State& state, const Membership& membership) {
    if (membership.dep == 0 && membership.node == 0) return "none";
    const auto quote = [&state](std::uint32_t id) {
      return id == 0 ? std::string("none") : fmt::format("\"{}\"", NameIn(state, id));
    };
    return fmt::format("{} at {}", quote(membership.dep), quote(membership.node));
  }

  void Add(std::uint32_t id, Detail detail) { ChangeOf(id).details.push_back(std::move(detail)); }

  const State& before_;
  const State& after_;
  const Applications& applications_;
  std::map<std::uint32_t, Change> changes_;  // 0: of the preferences
  std::set<std::tuple<std::uint32_t, std::uint32_t, char>> told_;
};

}  // namespace

std::vector<Detail> DetailsOfNotes(const Notes& before, const Notes& after) {
  std::vector<Detail> details;
  const auto field = [](const std::string& key) { return fmt::format("note {}", key); };
  for (const auto& [key, value] : after) {
    const auto old = before.find(key);
    if (old == before.end()) {
      details.push_back({'+', field(key), {}, value, true});
    } else if (old->second != value) {
      details.push_back({'~', field(key), old->second, value, true});
    }
  }
  for (const auto& [key, value] : before) {
    if (!after.contains(key)) details.push_back({'-', field(key), value, {}, true});
  }
  return details;
}

State TakeState(CNCCNet& net, const std::vector<std::uint32_t>& ids) {
  State state;
  state.preferences = ReadPreferences(net);
  Taking taking(net, state);
  for (const std::uint32_t id : ids) taking.Take(id);
  return state;
}

std::vector<Change> Compare(const State& before, const State& after,
                            const Applications& applications) {
  return Comparison(before, after, applications).Run();
}

}  // namespace ncc::tool
