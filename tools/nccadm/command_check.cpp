// check
#include <list>

#include <fmt/format.h>

#include "command_line.h"
#include "nodes.h"
#include "object_writer.h"
#include "text.h"

namespace ncc::tool {
namespace {

struct Loose {
  std::string name;  // bytes
  std::uint32_t id = 0;
};

struct Finding {
  const char* key;
  const char* kind;
  const char* one;   // "server has neither AP nor link"
  const char* many;  // the same for several
  std::vector<Loose> objects;
};

template <class Entry>
std::vector<Loose> LooseFrom(const std::list<Entry>& entries) {
  std::vector<Loose> objects;
  for (const Entry& entry : entries) objects.push_back({entry.name, entry.id});
  return objects;
}

void CheckUsers(CNCCNet& net, std::vector<Finding>& findings) {
  std::list<CABEntry> no_dep;
  std::list<CABEntry> no_primary;
  std::list<CABEntry> no_membership;
  net.CheckAnomaliesAB(&no_dep, &no_primary, &no_membership);
  findings.push_back(
      {"users-in-no-dep", "user", "user is in no Dep", "users are in no Dep", LooseFrom(no_dep)});
  findings.push_back({"users-without-primary", "user", "user has no whole primary collective",
                      "users have no whole primary collective", LooseFrom(no_primary)});
  findings.push_back({"users-without-membership", "user", "user has no membership",
                      "users have no membership", LooseFrom(no_membership)});
}

void CheckServers(CNCCNet& net, std::vector<Finding>& findings) {
  std::list<CNNEntry> unconnected;
  std::list<CNNEntry> no_group;
  std::list<CNNEntry> no_membership;
  net.CheckAnomaliesSrv(&unconnected, &no_group, &no_membership);
  findings.push_back({"servers-unconnected", "server", "server has neither AP nor link",
                      "servers have neither AP nor link", LooseFrom(unconnected)});
  findings.push_back({"servers-in-no-group", "server", "server is in no node group",
                      "servers are in no node group", LooseFrom(no_group)});
  findings.push_back({"servers-without-membership", "server", "server is where no user is a member",
                      "servers are where no user is a member", LooseFrom(no_membership)});
}

void CheckAps(CNCCNet& net, std::vector<Finding>& findings) {
  std::list<CNNEntry> no_group;
  std::list<CNNEntry> no_membership;
  net.ChechAnomaliesAP(&no_group, &no_membership);
  findings.push_back({"aps-in-no-group", "ap", "AP is in no node group", "APs are in no node group",
                      LooseFrom(no_group)});
  findings.push_back({"aps-without-membership", "ap", "AP is where no user is a member",
                      "APs are where no user is a member", LooseFrom(no_membership)});
}

void CheckDeps(CNCCNet& net, std::vector<Finding>& findings) {
  std::list<CDepEntry> no_user;
  std::list<CDepEntry> no_group;
  net.CheckAnomaliesDep(&no_user, &no_group);
  findings.push_back(
      {"deps-without-user", "dep", "Dep has no user", "Deps have no user", LooseFrom(no_user)});
  findings.push_back({"deps-in-no-group", "dep", "Dep is in no node group",
                      "Deps are in no node group", LooseFrom(no_group)});
}

void CheckGroups(CNCCNet& net, std::vector<Finding>& findings) {
  std::list<CNGrpEntry> no_node;
  std::list<CNGrpEntry> no_dep;
  net.CheckAnomaliesNGrp(&no_node, &no_dep);
  findings.push_back({"groups-without-node", "group", "node group has no node",
                      "node groups have no node", LooseFrom(no_node)});
  findings.push_back({"groups-without-dep", "group", "node group has no Dep",
                      "node groups have no Dep", LooseFrom(no_dep)});
}

Json Describe(const std::vector<Finding>& findings, std::size_t total) {
  Json all = Json::array();
  for (const Finding& finding : findings) {
    Json objects = Json::array();
    for (const Loose& object : finding.objects) {
      objects.push_back({{"id", object.id}, {"name", Utf8FromBytes(object.name)}});
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
    out.Line(count == 0 ? out.Paint(Style::kFaint, line) : out.Paint(Style::kHeading, line + ":"));
    for (const Loose& object : finding.objects) {
      out.Line(fmt::format("  {}  id:{}", out.Paint(Style::kName, PrintableName(object.name)),
                           object.id));
    }
  }
}

int Check(Session& session) {
  CNCCNet& net = session.Net();
  std::vector<Finding> findings;
  for (const auto run : {CheckServers, CheckAps, CheckUsers, CheckDeps, CheckGroups}) {
    run(net, findings);
    if (*net.LastError() != '\0') throw session.Refusal("the check could not be made");
  }
  std::size_t total = 0;
  for (const Finding& finding : findings) total += finding.objects.size();
  Output& out = session.Out();
  if (out.IsJson()) {
    out.Document(Describe(findings, total));
  } else {
    Print(out, findings);
  }
  return total == 0 ? kExitDone : kExitFound;
}

}  // namespace

void AddCheckCommand(CommandLine& line) {
  CLI::App& check = CommandLine::AddCommand(
      line.Root(), "check",
      "List what is not tied into the network, such as users in no Dep; exit code 3 when there is "
      "any",
      "check\ncheck --json");
  line.OnRun(check, Check);
}

}  // namespace ncc::tool
