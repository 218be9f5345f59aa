#include "plan.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include <fmt/format.h>

#include "nodes.h"
#include "text.h"

namespace ncc::tool {
namespace {

constexpr std::uint16_t kDefaultValue = 10;

class Planner {
 public:
  Planner(const Description& description, const Network& network, ProblemList& problems)
      : description_(description), network_(network), problems_(problems) {}

  Plan Run() {
    if (description_.network != network_.preferences.net_number) {
      problems_.Add(description_.network_place,
                    fmt::format("this describes network 0x{:04X}, the database holds 0x{:04X}",
                                description_.network, network_.preferences.net_number));
      return {};
    }
    IndexNetwork();
    PlanPreferences();
    for (const ServerDescription& server : description_.servers) PlanServer(server);
    for (const ServerDescription& server : description_.servers) {
      const std::size_t position = positions_.at(FoldName(server.name));
      for (const ApDescription& ap : server.aps) PlanAp(ap, position);
    }
    PlanLinks();
    return std::move(plan_);
  }

 private:
  struct ApPosition {
    const Node* entry;
    std::size_t server;
    bool unique = true;
  };

  void IndexNetwork() {
    for (const ServerView& server : network_.servers) {
      const std::size_t position = plan_.servers.size();
      positions_.emplace(FoldName(server.entry.name), position);
      plan_.servers.push_back(server.entry.id);
      by_id_.emplace(server.entry.id, position);
      for (const Node& ap : server.aps) {
        const auto [known, added] = aps_.try_emplace(FoldName(ap.name), ApPosition{&ap, position});
        if (!added) known->second.unique = false;
      }
    }
    for (std::size_t i = 0; i < network_.servers.size(); ++i) {
      for (const std::uint32_t id : network_.servers[i].linked)
        linked_.insert(LinkKey(i, by_id_[id]));
    }
  }

  template <class Number>
  void PlanPreference(const std::optional<Number>& wanted, Number& present) {
    if (!wanted || *wanted == present) return;
    present = *wanted;
    ++plan_.preferences_changed;
  }

  void PlanPreferences() {
    plan_.preferences = network_.preferences;
    const PreferencesDescription& wanted = description_.preferences;
    Preferences& planned = plan_.preferences;
    PlanPreference(wanted.byte_12, planned.byte_12);
    PlanPreference(wanted.node_settings, planned.node_settings);
    PlanPreference(wanted.value_14, planned.value_14);
    PlanPreference(wanted.byte_18, planned.byte_18);
    PlanPreference(wanted.byte_19, planned.byte_19);
    PlanPreference(wanted.value_20, planned.value_20);
    if (plan_.preferences_changed != 0) plan_.steps.push_back({Step::Kind::kPreferences});
  }

  void PlanServer(const ServerDescription& server) {
    const auto [known, added] = positions_.try_emplace(FoldName(server.name), plan_.servers.size());
    if (!added) {
      PlanKnownServer(server, known->second);
      return;
    }
    plan_.servers.push_back(0);
    Step step{Step::Kind::kAddServer};
    step.server = known->second;
    step.name = server.name;
    step.mask = server.applications.value_or(0);
    step.settings = server.settings;
    step.value = server.value.value_or(kDefaultValue);
    plan_.steps.push_back(std::move(step));
    ++plan_.server_tally.added;
  }

  void PlanKnownServer(const ServerDescription& server, std::size_t position) {
    const Node& entry = network_.servers[position].entry;
    if (server.value && *server.value != entry.value) {
      problems_.Add(server.value_place,
                    fmt::format("the value of the server {} is {} and cannot be changed: it is "
                                "given when a server is added",
                                Quoted(entry), entry.value));
    }
    const bool changed = PlanSettings(server, entry, Step::Kind::kSetServer, position);
    ++(changed ? plan_.server_tally.changed : plan_.server_tally.unchanged);
  }

  bool PlanSettings(const ApDescription& wanted, const Node& entry, Step::Kind kind,
                    std::size_t server) {
    const std::uint32_t mask = wanted.applications.value_or(entry.flags);
    const std::uint8_t settings = wanted.settings.value_or(entry.settings);
    if (mask == entry.flags && settings == entry.settings) return false;
    Step step{kind};
    step.server = server;
    step.ap = entry.id;
    step.name = entry.name;
    step.mask = mask;
    step.settings = settings;
    plan_.steps.push_back(std::move(step));
    return true;
  }

  void PlanAp(const ApDescription& ap, std::size_t server) {
    const auto known = aps_.find(FoldName(ap.name));
    if (known == aps_.end()) {
      Step step{Step::Kind::kAddAp};
      step.server = server;
      step.name = ap.name;
      step.mask = ap.applications.value_or(0);
      step.settings = ap.settings;
      plan_.steps.push_back(std::move(step));
      ++plan_.ap_tally.added;
      return;
    }
    const Node& entry = *known->second.entry;
    if (!known->second.unique) {
      problems_.Add(ap.place,
                    fmt::format("several APs of the database are named {}; rename all but "
                                "one, for example id:{}",
                                Quoted(entry), entry.id));
      return;
    }
    const bool moved = known->second.server != server;
    if (moved) {
      Step step{Step::Kind::kMoveAp};
      step.server = server;
      step.ap = entry.id;
      step.name = entry.name;
      plan_.steps.push_back(std::move(step));
      ++plan_.ap_tally.moved;
    }
    const bool changed = PlanSettings(ap, entry, Step::Kind::kSetAp, server);
    if (changed) ++plan_.ap_tally.changed;
    if (!moved && !changed) ++plan_.ap_tally.unchanged;
  }

  void PlanLinks() {
    for (const ServerDescription& server : description_.servers) {
      for (const NamePlace& link : server.links) PlanLink(server, link);
    }
    for (const auto& [one, other] : description_.links) PlanLink(one, other);
  }

  void PlanLink(const NamePlace& one, const NamePlace& other) {
    const auto from = FindEnd(one);
    const auto to = FindEnd(other);
    if (!from || !to || *from == *to) return;
    const std::uint64_t key = LinkKey(*from, *to);
    if (!described_links_.insert(key).second) return;  // from its other end
    if (!linked_.insert(key).second) {
      ++plan_.link_tally.unchanged;
      return;
    }
    Step step{Step::Kind::kLink};
    step.server = *from;
    step.other = *to;
    plan_.steps.push_back(std::move(step));
    ++plan_.link_tally.added;
  }

  std::optional<std::size_t> FindEnd(const NamePlace& end) {
    const auto known = positions_.find(FoldName(end.name));
    if (known != positions_.end()) return known->second;
    std::vector<std::string> names;
    names.reserve(positions_.size());
    for (const ServerView& server : network_.servers) names.push_back(server.entry.name);
    for (const ServerDescription& server : description_.servers) names.push_back(server.name);
    const std::string closest = ClosestMatch(end.name, names);
    problems_.Add(
        end.place,
        fmt::format(
            "no server \"{}\" is described or in the database{}", Utf8FromBytes(end.name),
            closest.empty() ? "" : fmt::format("; did you mean \"{}\"?", Utf8FromBytes(closest))));
    return std::nullopt;
  }

  static std::uint64_t LinkKey(std::size_t a, std::size_t b) {
    return std::uint64_t{std::min(a, b)} << 32 | std::max(a, b);
  }

  const Description& description_;
  const Network& network_;
  ProblemList& problems_;
  Plan plan_;
  std::unordered_map<std::string, std::size_t> positions_;  // by folded name
  std::unordered_map<std::uint32_t, std::size_t> by_id_;
  std::unordered_map<std::string, ApPosition> aps_;
  std::unordered_set<std::uint64_t> linked_;
  std::unordered_set<std::uint64_t> described_links_;
};

class Executor {
 public:
  Executor(const Plan& plan, Session& session)
      : plan_(plan),
        session_(session),
        net_(session.Net()),
        servers_(plan.servers.begin(), plan.servers.end()) {}

  void Do(const Step& step) {
    bool done = false;
    switch (step.kind) {
      case Step::Kind::kPreferences:
        done = SavePreferences();
        break;
      case Step::Kind::kAddServer:
        done = AddServer(step);
        break;
      case Step::Kind::kSetServer:
        done = net_.RegSrv(servers_[step.server], step.mask, *step.settings);
        break;
      case Step::Kind::kAddAp:
        done = AddAp(step);
        break;
      case Step::Kind::kMoveAp:
        done = net_.ChangeSrv(static_cast<unsigned long>(step.ap), servers_[step.server]);
        break;
      case Step::Kind::kSetAp:
        done = net_.RegAPP(step.ap, step.mask, *step.settings);
        break;
      case Step::Kind::kLink:
        done = net_.LinkSrvToSrv(servers_[step.server], servers_[step.other]);
        break;
    }
    if (!done) throw Refused(step);
  }

 private:
  bool SavePreferences() {
    SetPreferences(net_, plan_.preferences);
    net_.SaveNetInfo();
    return *net_.LastError() == '\0';
  }

  bool AddServer(const Step& step) {
    const unsigned long id = net_.AddServer(step.name.c_str(), step.mask, step.value);
    servers_[step.server] = id;
    return id != 0 && (!step.settings || net_.RegSrv(id, step.mask, *step.settings));
  }

  bool AddAp(const Step& step) {
    const unsigned long id = net_.AddAP(servers_[step.server], step.name.c_str(), step.mask);
    return id != 0 && (!step.settings || net_.RegAPP(id, step.mask, *step.settings));
  }

  Failure Refused(const Step& step) {
    if (step.name.empty()) return session_.Refusal("the database refused a change");
    return session_.Refusal(
        fmt::format("the database refused a change of \"{}\"", PrintableName(step.name)));
  }

  const Plan& plan_;
  Session& session_;
  CNCCNet& net_;
  std::vector<unsigned long> servers_;
};

}  // namespace

Plan MakePlan(const Description& description, const Network& network, ProblemList& problems) {
  return Planner(description, network, problems).Run();
}

void Execute(const Plan& plan, Session& session, const std::function<void()>& after_each) {
  Executor executor(plan, session);
  for (const Step& step : plan.steps) {
    executor.Do(step);
    after_each();
  }
}

}  // namespace ncc::tool
