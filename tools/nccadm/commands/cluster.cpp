// cluster ...
#include <algorithm>
#include <memory>
#include <optional>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cluster/machines.h"
#include "commands/command_line.h"
#include "console/failure.h"
#include "console/text.h"
#include "nccnet/backup.h"
#include "network/object.h"

namespace ncc::tool {
namespace {

struct InitArguments {
  std::vector<std::string> hosts;
  std::string out = "cluster";
  std::string name;
  unsigned days = 3650;
  unsigned lease = 5;
};

std::string NameFor(Session& session, const InitArguments& arguments) {
  const std::string name =
      arguments.name.empty() ? SplitDatabase(session.DatabaseText()).name : arguments.name;
  const auto is_plain = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '_' || c == '-';
  };
  if (name.front() != '.' && name.front() != '-' && std::all_of(name.begin(), name.end(), is_plain))
    return name;
  throw Failure(fmt::format("\"{}\" stands in settings, where it cannot be", Printable(name)),
                "Give a name of letters of ASCII, digits, '.', '_' and '-' with --name.",
                kExitUsage);
}

int Init(Session& session, const InitArguments& arguments) {
  ClusterPlan plan;
  plan.machines = ParseMachines(arguments.hosts);
  plan.name = NameFor(session, arguments);
  plan.days = arguments.days;
  plan.lease = arguments.lease;
  WriteCluster(plan, arguments.out);
  Output& out = session.Out();
  if (out.IsJson()) {
    Json machines = Json::array();
    for (const Machine& machine : plan.machines) {
      machines.push_back(
          {{"name", machine.name}, {"client", machine.ClientUrl()}, {"peer", machine.PeerUrl()}});
    }
    out.Document({{"folder", arguments.out}, {"name", plan.name}, {"machines", machines}});
    return kExitDone;
  }
  const std::string folder = Printable(arguments.out);
  out.Line("To each machine:");
  for (const Machine& machine : plan.machines) {
    out.Line(
        fmt::format("  scp -r {}/{} root@{}:{}", folder, machine.name, machine.host, plan.etc));
  }
  out.Line("On each machine, as root:");
  out.Line("  apt install etcd-server");
  out.Line(fmt::format("  chown -R etcd: {0}; cp {0}/etcd /etc/default/etcd", plan.etc));
  out.Line("  systemctl enable etcd; systemctl restart etcd");
  out.Line("On each control centre:");
  out.Line(fmt::format("  put the files of {}/centre where {}.db would be", folder, plan.name));
  out.Line(fmt::format("Then, on one of them: nccadm --db DIR/{} cluster status", plan.name));
  out.Say(fmt::format("{}/authority can make more certificates; keep it apart from all of them.",
                      folder));
  return kExitDone;
}

// status ------------------------------------------------------------------------------------------

std::uint64_t Behind(const CDatabaseStatus& status, std::uint64_t revision) {
  return status.revision - std::min(status.revision, revision);
}

Json StatusJson(const std::string& database, const CDatabaseStatus& status) {
  Json nodes = Json::array();
  for (const auto& [place, is_well, text] : status.nodes)
    nodes.push_back({{"place", place}, {"well", is_well}, {"text", text}});
  Json followers = Json::array();
  for (const auto& [who, revision] : status.followers)
    followers.push_back(
        {{"who", who}, {"revision", revision}, {"behind", Behind(status, revision)}});
  return {{"database", database},
          {"shared", status.is_shared},
          {"owner", status.owner.empty() ? Json() : Json(status.owner)},
          {"revision", status.revision == 0 ? Json() : Json(status.revision)},
          {"nodes", std::move(nodes)},
          {"followers", std::move(followers)}};
}

void PrintStatus(Output& out, const std::string& database, const CDatabaseStatus& status) {
  const auto line = [&](const char* key, const std::string& value) {
    out.Line(fmt::format("{:<10}{}", key, Printable(value)));
  };
  line("database", database);
  line("kept in", status.is_shared ? "a cluster, which several machines can open"
                                   : "a file of this machine, which has one owner and no standby");
  const bool is_known = status.revision != 0;
  line("owner", !status.owner.empty() ? status.owner : is_known ? "nobody" : "not known");
  line("revision", is_known ? std::to_string(status.revision) : "not known");
  if (!status.nodes.empty()) {
    Table table = {{"MACHINE", "", ""}};
    for (const auto& [place, is_well, text] : status.nodes)
      table.push_back({Printable(place), is_well ? "well" : "NOT WELL", Printable(text)});
    out.PrintTable(table);
  }
  if (!status.followers.empty()) {
    Table table = {{"STANDBY", "REVISION", "BEHIND"}};
    for (const auto& [who, revision] : status.followers)
      table.push_back(
          {Printable(who), std::to_string(revision), std::to_string(Behind(status, revision))});
    out.PrintTable(table);
  }
}

int ShowStatus(Session& session) {
  session.OnlyRead();
  const std::string& database = session.DatabaseText();
  const CDatabaseStatus status = session.Status();
  Output& out = session.Out();
  if (out.IsJson()) {
    out.Document(StatusJson(database, status));
  } else {
    PrintStatus(out, database, status);
  }
  const bool all_well = std::all_of(status.nodes.begin(), status.nodes.end(),
                                    [](const CDatabaseStatus::Node& node) { return node.is_well; });
  return all_well ? kExitDone : kExitFound;
}

// copy --------------------------------------------------------------------------------------------

struct CopyArguments {
  std::string from;
  std::string to;
};

int Copy(Session& session, const CopyArguments& arguments) {
  const DatabasePlace from = SplitDatabase(arguments.from);
  const DatabasePlace to = SplitDatabase(arguments.to);
  const std::string owner = DatabaseOwner(from.folder.c_str(), from.name.c_str());
  Output& out = session.Out();
  std::optional<Progress> bar;
  std::uint64_t rows = 0;
  const std::uint64_t revision =
      CopyDatabase(from.folder.c_str(), from.name.c_str(), to.folder.c_str(), to.name.c_str(),
                   [&](std::uint64_t done, std::uint64_t all) {
                     if (!bar) bar.emplace(out, "copying", all);
                     bar->Reach(std::min(rows = done, all));
                   });
  bar.reset();
  if (revision == 0) throw session.CopyingFailure(arguments.from, arguments.to);
  if (!owner.empty()) {
    out.Warn(fmt::format("{} is in use by {}: what that changes from now on is not in {}",
                         arguments.from, owner, arguments.to));
  }
  out.Say(fmt::format("Copied revision {} of {} to {}, {}; both are equal.", revision,
                      Printable(arguments.from), Printable(arguments.to), CountText(rows, "row")));
  if (out.IsJson()) {
    out.Document({{"copied",
                   {{"from", arguments.from},
                    {"to", arguments.to},
                    {"revision", revision},
                    {"rows", rows}}}});
  }
  return kExitDone;
}

void AddCopyCommand(CommandLine& line, CLI::App& group) {
  auto arguments = std::make_shared<CopyArguments>();
  CLI::App& copy = line.AddCommand(
      group, "copy", "Copy a database with its history, from a file into a cluster or back",
      "cluster copy /srv/ncc/city /srv/ncc/cluster/city\n"
      "cluster copy /srv/ncc/cluster/city /var/backups/city",
      arguments, Copy);
  copy.add_option("FROM", arguments->from, "The database to copy, DIR/NAME")
      ->type_name("DIR/NAME")
      ->required();
  copy.add_option(
          "TO", arguments->to,
          "DIR/NAME of one that is not there yet: in the cluster of NAME.cluster where that "
          "file is there, else a file NAME.db")
      ->type_name("DIR/NAME")
      ->required();
}

}  // namespace

void AddClusterCommands(CommandLine& line) {
  CLI::App& group =
      line.AddGroup("cluster", "A database that several machines keep, so that one may fail");
  line.RefuseAt(group);
  auto arguments = std::make_shared<InitArguments>();
  CLI::App& init = line.AddCommand(
      group, "init", "Make the settings and certificates of the machines of a new cluster",
      "--db /srv/ncc/city cluster init ncc1.example.org ncc2.example.org witness.example.org",
      arguments, Init);
  init.add_option("HOST", arguments->hosts,
                  "Its machines, one or an odd number: HOST, HOST:PORT or HOST:PORT:PEER_PORT")
      ->required();
  init.add_option("--out", arguments->out, "The folder to make")
      ->type_name("DIR")
      ->capture_default_str();
  init.add_option("--name", arguments->name, "The database; the name of --db by default");
  init.add_option("--days", arguments->days, "How long certificates are valid")
      ->check(CLI::Range(1, 36500))
      ->capture_default_str();
  init.add_option("--lease", arguments->lease,
                  "Seconds after which an owner that is not heard of has lost the database")
      ->check(CLI::Range(2, 600))
      ->capture_default_str();

  CLI::App& status = CommandLine::AddCommand(
      group, "status",
      "Show who owns the database, how far its standbys are and how its machines do; exit code 3 "
      "when one of them is not well",
      "--db /srv/ncc/city cluster status\n--db /srv/ncc/city cluster status --json");
  line.OnRun(status, ShowStatus);
  AddCopyCommand(line, group);
}

}  // namespace ncc::tool
