// check
#include <algorithm>
#include <list>
#include <tuple>
#include <unordered_set>
#include <utility>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "console/failure.h"
#include "console/text.h"
#include "nccnet/records.h"
#include "network/object_writer.h"
#include "network/preferences.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

constexpr const char* kNetwork = "network";

struct Loose {
  std::string name;  // bytes
  std::uint32_t id = 0;
  const char* kind = nullptr;  // as that of the finding when it is null
  std::string detail = {};     // printable
  Json members = Json::object();
};

struct Finding {
  const char* key;
  const char* kind;
  const char* one;   // "server has neither AP nor link"
  const char* many;  // the same for several
  std::vector<Loose> objects;
};

struct Words {
  const char* key;
  const char* one;
  const char* many;
};

template <class Entry>
std::vector<Loose> LooseFrom(const std::list<Entry>& entries) {
  std::vector<Loose> objects;
  for (const Entry& entry : entries) objects.push_back({entry.name, entry.id});
  return objects;
}

// Files name one NCC and one KC: the first AP that has the application.
void CheckRoles(Session& session, std::vector<Finding>& findings) {
  struct Role {
    std::uint32_t flag;
    unsigned long first;
    Finding missing;
    Finding more;
  };
  CNCCNet& net = session.Net();
  Role roles[] = {
      {kFlagNCC,
       net.GetNCC(),
       {"no-ncc", kNetwork, "NCC is missing: no AP has that application", "NCCs are missing", {}},
       {"several-ncc",
        "ap",
        "AP has the application NCC beside the first one, which files name",
        "APs have the application NCC beside the first one, which files name",
        {}}},
      {kFlagKC,
       net.GetKC(),
       {"no-kc", kNetwork, "KC is missing: no AP has that application", "KCs are missing", {}},
       {"several-kc",
        "ap",
        "AP has the application KC beside the first one, which files name",
        "APs have the application KC beside the first one, which files name",
        {}}}};
  const std::uint32_t network = session.Shown().Number();
  for (Role& role : roles) {
    if (role.first == 0) role.missing.objects.push_back({fmt::format("{:04X}", network), network});
    for (const Object& ap : session.Shown().All(Kind::kAp)) {
      const bool has_role = (ap.flags & role.flag) != 0;
      if (has_role && ap.id != role.first) role.more.objects.push_back({ap.name, ap.id});
    }
    findings.push_back(std::move(role.missing));
    findings.push_back(std::move(role.more));
  }
}

// What users still name though it was deleted.
void CheckReferences(Session& session, std::vector<Finding>& findings) {
  View& view = session.Shown();
  std::unordered_set<std::uint32_t> known;
  for (const Object& node : view.ServersAndAps()) known.insert(node.id);
  for (const Object& dep : view.All(Kind::kDep)) known.insert(dep.id);
  ObjectWriter writer(session);
  const auto describe = [&](const Object& user, std::uint32_t dep, std::uint32_t node) {
    return Loose{user.name,
                 user.id,
                 nullptr,
                 fmt::format("{} at {}", writer.TextOfId(dep, true), writer.TextOfId(node, false)),
                 {{"dep", writer.IdJson(dep, true)}, {"node", writer.IdJson(node, false)}}};
  };
  const auto is_gone = [&](std::uint32_t id) { return id != 0 && known.count(id) == 0; };
  Finding memberships = {"memberships-of-what-is-gone",
                         "user",
                         "membership names a Dep or node that is gone",
                         "memberships name a Dep or node that is gone",
                         {}};
  Finding primaries = {"primaries-of-what-is-gone",
                       "user",
                       "primary collective names a Dep or node that is gone",
                       "primary collectives name a Dep or node that is gone",
                       {}};
  for (const Object& user : view.All(Kind::kUser)) {
    for (const Membership& named : view.MembershipsOf(user.id)) {
      if (is_gone(named.dep) || is_gone(named.node)) {
        memberships.objects.push_back(describe(user, named.dep, named.node));
      }
    }
    if (is_gone(user.primary_dep) || is_gone(user.primary_node)) {
      primaries.objects.push_back(describe(user, user.primary_dep, user.primary_node));
    }
  }
  findings.push_back(std::move(memberships));
  findings.push_back(std::move(primaries));
}

// What other programs may store and the tool does not: names that forge lines in generated texts,
// and a counter that would give an identifier again.
void CheckObjects(Session& session, std::vector<Finding>& findings) {
  Finding names = {"names-with-control-characters",
                   "object",
                   "name holds control characters",
                   "names hold control characters",
                   {}};
  Finding ids = {"identifiers-not-below-the-next",
                 "object",
                 "identifier is not below the next one to give",
                 "identifiers are not below the next one to give",
                 {}};
  const std::uint32_t next = ReadPreferences(session.Net()).next_id;
  const auto test = [&](const Object& object) {
    const char* const kind = KeyOf(object.kind);
    if (object.id >= next) ids.objects.push_back({object.name, object.id, kind});
    const std::string text = Utf8FromBytes(object.name);
    for (std::size_t at = 0; at < text.size();) {
      const auto character = NextCharacter(text, at);
      if (character && !IsControl(*character)) continue;
      names.objects.push_back({object.name, object.id, kind});
      return;
    }
  };
  for (const Kind kind : kKinds) {
    for (const Object& object : session.Shown().All(kind)) test(object);
  }
  findings.push_back(std::move(names));
  findings.push_back(std::move(ids));
}

// What one query of the library finds, a list for each of the findings.
template <class... Entries>
void AddLoose(Session& session, std::vector<Finding>& findings, const char* kind,
              int (CNCCNet::*query)(std::list<Entries>*...),
              const Words (&words)[sizeof...(Entries)]) {
  std::tuple<std::list<Entries>...> lists;
  std::apply([&](auto&... list) { (session.Net().*query)(&list...); }, lists);
  if (*session.Net().LastError() != '\0') throw session.Refusal("the check could not be made");
  const Words* about = words;
  const auto add = [&](const auto& list) {
    findings.push_back({about->key, kind, about->one, about->many, LooseFrom(list)});
    ++about;
  };
  std::apply([&](const auto&... list) { (add(list), ...); }, lists);
}

void CheckLoose(Session& session, std::vector<Finding>& findings) {
  AddLoose(session, findings, "server", &CNCCNet::CheckAnomaliesSrv,
           {{"servers-unconnected", "server has neither AP nor link",
             "servers have neither AP nor link"},
            {"servers-in-no-group", "server is in no node group", "servers are in no node group"},
            {"servers-without-membership", "server is where no user is a member",
             "servers are where no user is a member"}});
  AddLoose(session, findings, "ap", &CNCCNet::ChechAnomaliesAP,
           {{"aps-in-no-group", "AP is in no node group", "APs are in no node group"},
            {"aps-without-membership", "AP is where no user is a member",
             "APs are where no user is a member"}});
  AddLoose(session, findings, "user", &CNCCNet::CheckAnomaliesAB,
           {{"users-in-no-dep", "user is in no Dep", "users are in no Dep"},
            {"users-without-primary", "user has no whole primary collective",
             "users have no whole primary collective"},
            {"users-without-membership", "user has no membership", "users have no membership"}});
  AddLoose(session, findings, "dep", &CNCCNet::CheckAnomaliesDep,
           {{"deps-without-user", "Dep has no user", "Deps have no user"},
            {"deps-in-no-group", "Dep is in no node group", "Deps are in no node group"}});
  AddLoose(session, findings, "group", &CNCCNet::CheckAnomaliesNGrp,
           {{"groups-without-node", "node group has no node", "node groups have no node"},
            {"groups-without-dep", "node group has no Dep", "node groups have no Dep"}});
}

Json JsonOf(const std::vector<Finding>& findings, std::size_t total) {
  Json all = Json::array();
  for (const Finding& finding : findings) {
    Json objects = Json::array();
    for (const Loose& object : finding.objects) {
      Json json = {{"kind", object.kind == nullptr ? finding.kind : object.kind},
                   {"id", object.id},
                   {"name", Utf8FromBytes(object.name)}};
      json.update(object.members);
      objects.push_back(std::move(json));
    }
    all.push_back({{"check", finding.key},
                   {"kind", finding.kind},
                   {"text", finding.many},
                   {"count", finding.objects.size()},
                   {"objects", std::move(objects)}});
  }
  return {{"found", total}, {"checks", std::move(all)}};
}

void Print(Output& out, const std::vector<Finding>& findings) {
  for (const Finding& finding : findings) {
    const std::size_t count = finding.objects.size();
    const std::string line = fmt::format("{} {}", count, count == 1 ? finding.one : finding.many);
    const bool is_network = finding.kind == kNetwork;  // its heading says all
    out.Line(count == 0 ? out.Paint(Style::kFaint, line)
                        : out.Paint(Style::kHeading, line + (is_network ? "" : ":")));
    for (const Loose& object : finding.objects) {
      if (is_network) break;
      out.Line(fmt::format("  {}  id:{}{}{}", out.Paint(Style::kName, PrintableName(object.name)),
                           object.id, object.detail.empty() ? "" : "  ", object.detail));
    }
  }
}

int Check(Session& session) {
  session.OnlyRead();
  std::vector<Finding> findings;
  for (const auto run : {CheckLoose, CheckRoles, CheckReferences, CheckObjects}) {
    run(session, findings);
  }
  std::size_t total = 0;
  for (const Finding& finding : findings) total += finding.objects.size();
  Output& out = session.Out();
  if (out.IsJson()) {
    out.Document(JsonOf(findings, total));
  } else {
    Print(out, findings);
  }
  return total == 0 ? kExitDone : kExitFound;
}

}  // namespace

void AddCheckCommand(CommandLine& line) {
  CLI::App& check = CommandLine::AddCommand(
      line.Root(), "check",
      "List what is not tied into the network, such as users in no Dep, and what cannot be meant, "
      "such as two NCCs; exit code 3 when there is any",
      "check\ncheck --json");
  line.OnRun(check, Check);
}

}  // namespace ncc::tool
