// The part of a plan that is about preferences, servers, APs and the links between servers.
#include <cstddef>
#include <optional>

#include <fmt/format.h>

#include "network/object.h"
#include "network/preferences.h"
#include "plan/builder.h"

namespace ncc::tool {
namespace {

constexpr std::uint16_t kDefaultValue = 10;

class NodePlanner {
 public:
  explicit NodePlanner(PlanBuilder& builder) : builder_(builder) {}

  void Run() {
    IndexNetwork();
    PlanPreferences();
    std::vector<std::optional<Ref>> servers;
    for (const ServerDescription& server : builder_.Wanted().servers) {
      servers.push_back(PlanServer(server));
    }
    for (std::size_t i = 0; i < servers.size(); ++i) {
      for (const ApDescription& ap : builder_.Wanted().servers[i].aps) {
        if (servers[i]) PlanAp(ap, *servers[i]);
      }
    }
    PlanRest();
    PlanLinks(servers);
  }

 private:
  void IndexNetwork() {
    for (const ServerView& server : builder_.Present().servers) {
      present_.emplace(server.entry.id, &server.entry);
      for (const Object& ap : server.aps) present_.emplace(ap.id, &ap);
    }
  }

  template <class Number>
  void PlanPreference(const char* key, const std::optional<Number>& wanted, Number& present) {
    if (!wanted || *wanted == present) return;
    Plan& plan = builder_.ThePlan();
    if (plan.preferences_changed++ == 0) plan.changes.push_back({'~', std::nullopt, {}});
    plan.changes.front().details.push_back(
        {'~', key, std::to_string(present), std::to_string(*wanted)});
    present = *wanted;
  }

  void PlanPreferences() {
    const PreferencesDescription& wanted = builder_.Wanted().preferences;
    Preferences& planned = builder_.ThePlan().preferences;
    VisitPreferences([this](const char* key, const auto& value,
                            auto& present) { PlanPreference(key, value, present); },
                     wanted, planned);
    // Counters are never turned back: what they have given is given.
    VisitCounters(
        [this](const char* key, const auto& value, const auto& present, auto& raised) {
          if (!value || *value <= raised) return;
          raised = present;
          PlanPreference(key, value, raised);
        },
        wanted, builder_.Present().preferences, planned);
  }

  void PlanNewNode(Item item, Ref ref, Ref server, const ApDescription& wanted,
                   std::uint16_t value) {
    Step step{Step::Kind::kAdd, item, ref, server};
    step.mask = wanted.applications.value_or(0);
    step.settings = wanted.settings;
    step.value = value;
    builder_.PlanNew(wanted, std::move(step));
    if (item == Item::kAp) builder_.AddDetail(ref, '+', "server", 0, server);
    if (item == Item::kServer) builder_.AddDetail(ref, {'+', "value", {}, std::to_string(value)});
    if (wanted.applications.value_or(0) != 0) {
      builder_.AddDetail(ref,
                         {'+', "applications", {}, builder_.Apps().TextOf(*wanted.applications)});
    }
    if (wanted.settings) {
      builder_.AddDetail(ref, {'+', "settings", {}, std::to_string(*wanted.settings)});
    }
  }

  std::optional<Ref> PlanServer(const ServerDescription& server) {
    const auto described = builder_.FindOrAdd(Item::kServer, server);
    if (!described) return std::nullopt;
    if (described->is_new) {
      PlanNewNode(Item::kServer, described->ref, 0, server, server.value.value_or(kDefaultValue));
      return described->ref;
    }
    const Object& entry = *present_.at(described->ref);
    if (server.value && *server.value != entry.value) {
      builder_.Complain(server.value_place,
                        fmt::format("the value of the server {} is {} and cannot be changed: it "
                                    "is given when a server is added",
                                    builder_.Quote(entry.id), entry.value));
    }
    Tally& tally = builder_.Of(Item::kServer);
    const bool is_set = PlanSettings(Item::kServer, server, entry);
    ++(is_set || builder_.IsRewritten(entry.id) ? tally.changed : tally.unchanged);
    return described->ref;
  }

  bool PlanSettings(Item item, const ApDescription& wanted, const Object& entry) {
    Step step{Step::Kind::kSet, item, entry.id};
    step.mask = wanted.applications.value_or(entry.flags);
    step.settings = wanted.settings.value_or(entry.settings);
    if (step.mask == entry.flags && *step.settings == entry.settings) return false;
    if (step.mask != entry.flags) {
      builder_.AddDetail(entry.id, {'~', "applications", builder_.Apps().TextOf(entry.flags),
                                    builder_.Apps().TextOf(step.mask)});
    }
    if (*step.settings != entry.settings) {
      builder_.AddDetail(entry.id, {'~', "settings", std::to_string(entry.settings),
                                    std::to_string(*step.settings)});
    }
    builder_.AddStep(Phase::kObjects, std::move(step));
    return true;
  }

  void PlanAp(const ApDescription& ap, Ref server) {
    const auto described = builder_.FindOrAdd(Item::kAp, ap);
    if (!described) return;
    if (described->is_new) return PlanNewNode(Item::kAp, described->ref, server, ap, 0);
    const Object& entry = *present_.at(described->ref);
    const bool moved = entry.server_id != server;
    Tally& tally = builder_.Of(Item::kAp);
    if (moved) {
      builder_.AddStep(Phase::kObjects, {Step::Kind::kMove, Item::kAp, entry.id, server});
      builder_.AddDetail(entry.id, '~', "server", entry.server_id, server);
      ++tally.moved;
    }
    const bool changed = PlanSettings(Item::kAp, ap, entry) || builder_.IsRewritten(entry.id);
    if (changed) ++tally.changed;
    if (!moved && !changed) ++tally.unchanged;
  }

  // APs first: a server takes those that it still has with it.
  void PlanRest() {
    for (const ServerView& server : builder_.Present().servers) {
      for (const Object& ap : server.aps) {
        if (!builder_.IsDescribed(ap.id)) builder_.PlanSurplus(Item::kAp, ap.id);
      }
    }
    for (const ServerView& server : builder_.Present().servers) {
      if (!builder_.IsDescribed(server.entry.id)) {
        builder_.PlanSurplus(Item::kServer, server.entry.id);
      }
    }
  }

  void PlanLinks(const std::vector<std::optional<Ref>>& servers) {
    RefPairs wanted;
    const auto want = [&](std::optional<Ref> one, std::optional<Ref> other) {
      if (one && other && *one != *other) wanted.emplace_back(*one, *other);
    };
    for (std::size_t i = 0; i < servers.size(); ++i) {
      for (const NamePlace& link : builder_.Wanted().servers[i].links) {
        want(servers[i], builder_.Resolve(Item::kServer, link));
      }
    }
    for (const auto& [one, other] : builder_.Wanted().links) {
      const auto from = builder_.Resolve(Item::kServer, one);
      want(from, builder_.Resolve(Item::kServer, other));
    }
    RefPairs present;
    for (const ServerView& server : builder_.Present().servers) {
      for (const std::uint32_t other : server.linked) present.emplace_back(server.entry.id, other);
    }
    builder_.PlanPairs(Item::kLink, wanted, present);
  }

  PlanBuilder& builder_;
  std::unordered_map<Ref, const Object*> present_;
};

}  // namespace

void PlanNodes(PlanBuilder& builder) { NodePlanner(builder).Run(); }

}  // namespace ncc::tool
