#include "plan/file.h"

#include <algorithm>
#include <string>

#include <fmt/format.h>

#include "console/output.h"
#include "console/text.h"
#include "nccnet/netdb.h"

namespace ncc::tool {
namespace {

constexpr const char* kMark = "nccadm_plan";
constexpr int kForm = 2;

constexpr std::array<const char*, 13> kStepKeys = {
    "preferences", "add",     "set",         "move",   "delete",    "link", "unlink",
    "clear_group", "primary", "memberships", "rename", "set_aside", "notes"};

// How one value is kept; reading and writing go through the same list of them.
struct Saver {
  Json& json;

  template <class Value>
  void operator()(const char* key, const Value& value) {
    if (value != Value{}) json[key] = value;
  }
};

struct Loader {
  const Json& json;

  template <class Value>
  void operator()(const char* key, Value& value) {
    if (json.contains(key)) value = json.at(key).get<Value>();
  }
};

template <class Visitor, class Counts>
void VisitTally(Visitor visit, Counts& tally) {
  visit("before", tally.before);
  visit("added", tally.added);
  visit("changed", tally.changed);
  visit("moved", tally.moved);
  visit("removed", tally.removed);
  visit("unchanged", tally.unchanged);
  visit("not_in_file", tally.kept);
}

template <class Visitor, class AnyStep>
void VisitStep(Visitor visit, AnyStep& step) {
  visit("object", step.object);
  visit("other", step.other);
  visit("id", step.id);
  visit("number", step.number);
  visit("mask", step.mask);
  visit("value", step.value);
}

Json JsonOf(const Step& step) {
  Json json = {{"do", kStepKeys[static_cast<std::size_t>(step.kind)]}, {"item", KeyOf(step.item)}};
  VisitStep(Saver{json}, step);
  if (!step.name.empty()) json["name"] = Utf8FromBytes(step.name);
  if (step.settings) json["settings"] = *step.settings;
  if (!step.notes.empty()) json["notes"] = step.notes;
  for (const PlannedMembership& membership : step.memberships) {
    json["memberships"].push_back({membership.dep, membership.node, membership.kind});
  }
  return json;
}

Failure NotWhole(const std::string& what) {
  return Failure(fmt::format("the plan file is damaged: {}", what),
                 "Make it anew with 'nccadm plan'.");
}

Item ItemOf(const std::string& key) {
  for (std::size_t i = 0; i < kItems; ++i) {
    if (key == KeyOf(static_cast<Item>(i))) return static_cast<Item>(i);
  }
  throw NotWhole(fmt::format("it speaks of \"{}\"", key));
}

Step StepOf(const Json& json) {
  const auto key = std::find(kStepKeys.begin(), kStepKeys.end(), json.at("do").get<std::string>());
  if (key == kStepKeys.end()) throw NotWhole("it has a step of no known kind");
  Step step{static_cast<Step::Kind>(key - kStepKeys.begin()),
            ItemOf(json.at("item").get<std::string>())};
  VisitStep(Loader{json}, step);
  if (json.contains("name")) {
    const auto bytes = BytesFromUtf8(json.at("name").get<std::string>());
    if (!bytes || bytes->empty()) throw NotWhole("it has a name that cannot be one");
    step.name = *bytes;
  }
  if (json.contains("settings")) step.settings = json.at("settings").get<std::uint8_t>();
  if (json.contains("notes")) step.notes = json.at("notes").get<Notes>();
  if (!json.contains("memberships")) return step;
  for (const Json& membership : json.at("memberships")) {
    step.memberships.push_back({membership.at(0).get<Ref>(), membership.at(1).get<Ref>(),
                                membership.at(2).get<std::uint8_t>()});
  }
  return step;
}

}  // namespace

bool IsPlan(std::string_view text) {
  const auto skip_blanks = [&text] {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
  };
  skip_blanks();
  if (!text.starts_with('{')) return false;
  text.remove_prefix(1);
  skip_blanks();
  return text.starts_with(fmt::format("\"{}\"", kMark));
}

std::string WritePlan(const Plan& plan) {
  Json json = {{kMark, kForm},
               {"network", plan.network},
               {"revision", plan.revision},
               {"preferences_changed", plan.preferences_changed},
               {"preferences", Json::object()},
               {"tallies", Json::object()},
               {"steps", Json::array()}};
  VisitPreferences(Saver{json["preferences"]}, plan.preferences);
  VisitCounters(Saver{json["preferences"]}, plan.preferences);
  for (std::size_t i = 0; i < kItems; ++i) {
    Json& tally = json["tallies"][KeyOf(static_cast<Item>(i))] = Json::object();
    VisitTally(Saver{tally}, plan.tallies[i]);
  }
  for (const Step& step : plan.steps) json["steps"].push_back(JsonOf(step));
  return json.dump() + "\n";
}

Plan ReadPlan(std::string_view text) {
  try {
    const Json json = Json::parse(text);
    if (json.at(kMark).get<int>() != kForm) throw NotWhole("another version of nccadm made it");
    Plan plan;
    plan.network = json.at("network").get<std::uint32_t>();
    plan.revision = json.at("revision").get<std::uint64_t>();
    plan.preferences_changed = json.at("preferences_changed").get<std::size_t>();
    VisitPreferences(Loader{json.at("preferences")}, plan.preferences);
    VisitCounters(Loader{json.at("preferences")}, plan.preferences);
    for (const auto& [key, tally] : json.at("tallies").items()) {
      VisitTally(Loader{tally}, plan.Of(ItemOf(key)));
    }
    for (const Json& step : json.at("steps")) plan.steps.push_back(StepOf(step));
    return plan;
  } catch (const Json::parse_error& error) {
    throw NotWhole(fmt::format("its text breaks off or goes wrong at byte {}", error.byte));
  } catch (const Json::exception&) {
    throw NotWhole("a value of it is missing or of the wrong kind");
  }
}

void RequireCurrent(const Plan& plan, CNCCNet& net) {
  const std::uint32_t network = ReadPreferences(net).net_number;
  if (plan.network != network) {
    throw Failure(fmt::format("the plan is for network 0x{:04X}, the database holds 0x{:04X}",
                              plan.network, network));
  }
  if (plan.revision == net.GetRevision()) return;
  throw Failure(fmt::format("the plan was made for revision {}, the database is at revision {}",
                            plan.revision, net.GetRevision()),
                "Make the plan anew with 'nccadm plan'; nothing was changed.");
}

}  // namespace ncc::tool
