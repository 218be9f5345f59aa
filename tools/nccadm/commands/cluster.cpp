// cluster ...
#include <filesystem>
#include <memory>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cluster/machines.h"
#include "commands/command_line.h"
#include "console/failure.h"
#include "console/text.h"

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
  if (!arguments.name.empty()) return arguments.name;
  return std::filesystem::path(session.DatabaseText()).filename().string();
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
  out.Line("On each machine, as root:");
  for (const Machine& machine : plan.machines) {
    out.Line(fmt::format("  scp -r {}/{} root@{}:{}/cluster", folder, machine.name, machine.host,
                         plan.etc));
  }
  out.Line("  apt install etcd-server");
  out.Line(fmt::format("  chown -R etcd {}/cluster; cp {}/cluster/etcd /etc/default/etcd", plan.etc,
                       plan.etc));
  out.Line("  systemctl enable etcd; systemctl restart etcd");
  out.Line("On each control centre:");
  out.Line(fmt::format("  put the files of {}/centre where {}.db would be", folder, plan.name));
  out.Line("Then, on one of them: nccadm cluster status");
  out.Say(fmt::format("{}/authority can make more certificates; keep it apart from all of them.",
                      folder));
  return kExitDone;
}

}  // namespace

void AddClusterCommands(CommandLine& line) {
  CLI::App& group =
      line.AddGroup("cluster", "A database that several machines keep, so that one may fail");
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
}

}  // namespace ncc::tool
