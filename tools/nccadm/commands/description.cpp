// plan, apply, dump
#include <memory>
#include <optional>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "console/failure.h"
#include "console/text.h"
#include "description/description.h"
#include "files/files.h"
#include "files/impact.h"
#include "nccnet/netdb.h"
#include "plan/file.h"
#include "plan/run.h"
#include "plan/view.h"

namespace ncc::tool {
namespace {

struct Arguments {
  std::string file;
  std::string out;
  bool prune = false;
  bool force = false;
};

struct DumpArguments {
  std::string file;
  bool ids = false;
};

Plan PlanFromDescription(Session& session, std::string_view text, const Arguments& arguments,
                         const std::string& refused) {
  text = WithoutByteOrderMark(text);
  if (text.size() > kMaxYamlBytes) {
    throw Failure(fmt::format("{} has more than {} MiB", arguments.file, kMaxYamlBytes >> 20));
  }
  const Source source{arguments.file, refused};
  ProblemList problems;
  const Description description = [&] {
    Progress progress(session.Out(), "Reading", text.size());
    return ReadDescription(text, session.Apps(), problems,
                           [&progress](std::size_t bytes) { progress.Reach(bytes); });
  }();
  RefuseProblems(source, problems);
  const Network network = LoadWholeNetwork(session.Net());
  return PlanFor(session, description, network, arguments.prune, source, problems);
}

void SavePlan(Session& session, const Plan& plan, const std::string& file) {
  session.ConfirmReplacing(file);
  WriteFile(file, WritePlan(plan));
  session.Out().Say(fmt::format("Kept the plan in {}; 'nccadm apply {}' carries it out.",
                                Printable(file), Printable(file)));
}

// Carries the plan out, for the files that it would change, and drops that.
Impact TryOut(Session& session, const Plan& plan) {
  Output& out = session.Out();
  out.Mute(true);
  CarryOut(session, plan);
  out.Mute(false);
  Impact impact = AskImpact(session, session.FilesFolder());
  session.EndUnit(false);
  impact.owners.Learn(session, impact.report.changes);
  return impact;
}

int ShowPlan(Session& session, const Arguments& arguments) {
  const bool asks_for_files = !session.FilesFolder().empty();
  asks_for_files ? session.OnlyTry() : session.OnlyRead();
  session.Net();  // a missing database is told before the faults of the file
  if (session.ShowsChosen() && !arguments.out.empty()) {
    throw Failure("a plan for what the network was with --at could never be carried out",
                  "Leave --out or --at out.", kExitUsage);
  }
  const std::string text = ReadFile(arguments.file, kMaxPlanBytes);
  if (IsPlan(text)) {
    throw Failure(fmt::format("{} is a plan already", arguments.file),
                  fmt::format("'nccadm apply {}' carries it out.", arguments.file));
  }
  const Plan plan = PlanFromDescription(session, text, arguments,
                                        fmt::format("there is no plan for {}", arguments.file));
  std::optional<Impact> impact;
  if (asks_for_files) impact = TryOut(session, plan);
  Output& out = session.Out();
  // What refuses the file has to come before the document.
  if (out.IsJson() && !arguments.out.empty()) SavePlan(session, plan, arguments.out);
  if (out.IsJson()) {
    out.BeginList({{"network", plan.network}, {"revision", plan.revision}}, "changes");
    for (const Change& change : plan.changes) out.ListItem(JsonOf(change));
    Json tail = {{"summary", TalliesJson(plan)}};
    if (impact) tail["files"] = JsonOf(*impact);
    out.EndList(tail);
  } else {
    PrintChanges(out, plan.changes);
    out.Line(SummaryOf(plan));
    if (impact) PrintImpact(out, *impact);
  }
  if (const std::string kept = KeptOf(plan); !kept.empty()) out.Say(kept);
  if (const std::string loss = MassRemovalOf(plan); !loss.empty()) {
    out.Say(fmt::format("To apply it takes --force: {}.", loss));
  }
  if (!out.IsJson() && !arguments.out.empty()) SavePlan(session, plan, arguments.out);
  return plan.changes.empty() ? kExitDone : kExitPlanned;
}

int Apply(Session& session, const Arguments& arguments) {
  CNCCNet& net = session.Net();
  const std::string text = ReadFile(arguments.file, kMaxPlanBytes);
  Plan plan;
  if (IsPlan(text)) {
    if (arguments.prune) {
      throw Failure("--prune goes with a description: a plan says itself what it removes",
                    "Add it to 'nccadm plan'.", kExitUsage);
    }
    plan = ReadPlan(text);
    RequireCurrent(plan, net);
  } else {
    plan =
        PlanFromDescription(session, text, arguments,
                            fmt::format("{} was not applied; nothing was changed", arguments.file));
  }
  const std::string loss = MassRemovalOf(plan);
  if (!arguments.force && !loss.empty()) {
    throw Failure(loss, "Look at it with 'nccadm plan'; add --force if it is meant.");
  }
  CarryOut(session, plan);
  ReportDone(session, plan);
  if (const std::string kept = KeptOf(plan); !kept.empty()) session.Out().Say(kept);
  return kExitDone;
}

int Dump(Session& session, const DumpArguments& arguments) {
  const std::string& file = arguments.file;
  session.OnlyRead();
  const Network network = LoadWholeNetwork(session.Net());
  std::vector<std::string> notes;
  const std::size_t objects = network.servers.size() + network.ApCount() + network.groups.size() +
                              network.deps.size() + network.users.size();
  const Description description = DescribeNetwork(network, arguments.ids, notes);
  Output& out = session.Out();
  const std::string text = [&] {
    Progress progress(out, "Writing", objects);
    return WriteDescription(description, session.Apps(), [&progress] { progress.Step(); });
  }();
  for (const std::string& note : notes) out.Say(note);
  if (file.empty() || file == "-") {
    if (out.IsJson()) {
      out.Document({{"description", text}, {"notes", notes}});
    } else {
      out.Raw(text);
    }
    return kExitDone;
  }
  session.ConfirmReplacing(file);
  WriteFile(file, text);
  out.Say(fmt::format("Described {} object{} in {}.", objects, objects == 1 ? "" : "s",
                      Printable(file)));
  if (out.IsJson()) {
    out.Document({{"file", file},
                  {"bytes", text.size()},
                  {"servers", network.servers.size()},
                  {"aps", network.ApCount()},
                  {"users", network.users.size()},
                  {"deps", network.deps.size()},
                  {"groups", network.groups.size()},
                  {"notes", notes}});
  }
  return kExitDone;
}

}  // namespace

void AddDescriptionCommands(CommandLine& line) {
  auto arguments = std::make_shared<Arguments>();
  const auto add_prune = [&arguments](CLI::App& command) {
    command.add_flag("--prune", arguments->prune, "Remove what the description does not have");
  };

  CLI::App& plan = line.AddCommand(
      line.Root(), "plan",
      "Show what apply would add, change, move and remove, and change nothing; exit code 4 when "
      "there is anything",
      "plan city.yaml\nplan city.yaml --prune --out city.plan\nplan city.yaml --files /srv/ncc/out",
      arguments, ShowPlan);
  line.AddFilesOption(plan);
  plan.add_option("FILE", arguments->file, "The description; - for standard input")->required();
  add_prune(plan);
  plan.add_option("--out", arguments->out, "Keep the plan in this file, for apply")
      ->type_name("PLAN");

  CLI::App& apply = line.AddCommand(
      line.Root(), "apply",
      "Bring the database to what a description file says, or carry out a plan: all of it or "
      "nothing",
      "apply city.yaml\napply city.yaml --prune\napply city.plan\n"
      "dump | nccadm --db /srv/ncc/copy apply -",
      arguments, Apply);
  apply
      .add_option("FILE", arguments->file,
                  "The description, or a plan of this very revision; - for standard input")
      ->required();
  add_prune(apply);
  apply.add_flag("--force", arguments->force, "Remove even more than 30 % of a kind");
  line.AddDryRun(apply);

  auto dumped = std::make_shared<DumpArguments>();
  CLI::App& dump = line.AddCommand(
      line.Root(), "dump", "Write the description of the network, as apply reads it",
      "dump city.yaml\ndump --ids | nccadm --db /srv/ncc/copy apply -", dumped, Dump);
  dump.add_option("FILE", dumped->file, "The file; standard output when it is left out");
  dump.add_flag("--ids", dumped->ids,
                "With ids, ordinals and counters: a new database made from it is the same to every "
                "node, and in an edited file another name at an id renames");
}

}  // namespace ncc::tool
