// apply, dump
#include <memory>

#include <fmt/format.h>

#include "command_line.h"
#include "description.h"
#include "files.h"
#include "objects.h"
#include "plan.h"
#include "terminal.h"
#include "text.h"

namespace ncc::tool {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

Plan PlanFromFile(Session& session, const std::string& file) {
  const std::string bytes = ReadFile(file, kMaxYamlBytes);
  std::string_view text = bytes;
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  ProblemList problems(text);
  const Description description = ReadDescription(text, session.Apps(), problems);
  Plan plan;
  if (problems.Empty()) plan = MakePlan(description, LoadNetwork(session.Net()), problems);
  if (!problems.Empty()) {
    throw Failure(fmt::format("{} was not applied; nothing was changed", file), file,
                  problems.Take());
  }
  return plan;
}

Json TallyJson(const Tally& tally, bool moves) {
  Json json = {{"added", tally.added}, {"changed", tally.changed}};
  if (moves) json["moved"] = tally.moved;
  json["unchanged"] = tally.unchanged;
  return json;
}

std::string TallyText(const char* what, const Tally& tally, bool moves) {
  return fmt::format("{:<12}{} added, {} changed, {}{} unchanged", what, tally.added, tally.changed,
                     moves ? fmt::format("{} moved, ", tally.moved) : "", tally.unchanged);
}

void Report(Session& session, const Plan& plan) {
  Output& out = session.Out();
  if (out.IsJson()) {
    out.Document(
        {{"servers", TallyJson(plan.server_tally, false)},
         {"aps", TallyJson(plan.ap_tally, true)},
         {"links", {{"added", plan.link_tally.added}, {"unchanged", plan.link_tally.unchanged}}},
         {"preferences", {{"changed", plan.preferences_changed}}},
         {"revision", session.Net().GetRevision()}});
    return;
  }
  out.Line(TallyText("servers", plan.server_tally, false));
  out.Line(TallyText("APs", plan.ap_tally, true));
  out.Line(fmt::format("{:<12}{} added, {} unchanged", "links", plan.link_tally.added,
                       plan.link_tally.unchanged));
  if (plan.preferences_changed != 0) {
    out.Line(fmt::format("{:<12}{} changed", "preferences", plan.preferences_changed));
  }
}

int Apply(Session& session, const std::string& file) {
  session.Net();  // a missing database is told before the faults of the file
  const Plan plan = PlanFromFile(session, file);
  if (!plan.steps.empty()) {
    const InterruptGuard interrupt;
    Progress progress(session.Out(), "Applying", plan.steps.size());
    Batch batch(session);
    Execute(plan, session, [&] {
      interrupt.Check();
      progress.Step();
    });
    batch.Keep();
  }
  Report(session, plan);
  return kExitDone;
}

// A description has no place for users, Deps and node groups.
void RefuseUndescribed(CNCCNet& net) {
  std::string left_out;
  for (const Kind kind : kObjectKinds) {
    const std::size_t count = ListObjects(net, kind).size();
    if (count > 0) left_out += (left_out.empty() ? "" : ", ") + CountOf(count, kind);
  }
  if (left_out.empty()) return;
  throw Failure(fmt::format("the database holds what a description cannot carry: {}", left_out),
                "Add --partial to describe servers, APs and links alone; 'nccadm backup' copies "
                "everything.");
}

int Dump(Session& session, const std::string& file, bool partial) {
  if (!partial) RefuseUndescribed(session.Net());
  const Network network = LoadNetwork(session.Net());
  const Description description = Describe(network);
  const std::string text = WriteDescription(description, session.Apps());
  Output& out = session.Out();
  if (file.empty() || file == "-") {
    if (out.IsJson()) {
      out.Document({{"description", text}});
    } else {
      out.Raw(text);
    }
    return kExitDone;
  }
  session.ConfirmReplacing(file);
  WriteFile(file, text);
  out.Say(fmt::format("Described {} servers and {} APs in {}.", network.servers.size(),
                      network.ApCount(), Printable(file)));
  if (out.IsJson()) {
    out.Document({{"file", file},
                  {"bytes", text.size()},
                  {"servers", network.servers.size()},
                  {"aps", network.ApCount()}});
  }
  return kExitDone;
}

}  // namespace

void AddDescriptionCommands(CommandLine& line) {
  auto file = std::make_shared<std::string>();
  CLI::App& apply = CommandLine::AddCommand(
      line.Root(), "apply",
      "Bring the database to what a description file says: all of it or nothing; removes nothing",
      "apply city.yaml\ndump | nccadm --db /srv/ncc/copy apply -");
  apply.add_option("FILE", *file, "The description; - for standard input")->required();
  line.OnRun(apply, [file](Session& session) { return Apply(session, *file); });

  CLI::App& dump = CommandLine::AddCommand(
      line.Root(), "dump", "Write the description of the network, as apply reads it",
      "dump city.yaml\ndump | less");
  dump.add_option("FILE", *file, "The file; standard output when it is left out");
  auto partial = std::make_shared<bool>(false);
  dump.add_flag("--partial", *partial, "Leave out users, Deps and node groups");
  line.OnRun(dump, [file, partial](Session& session) { return Dump(session, *file, *partial); });
}

}  // namespace ncc::tool
