// generate ...
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "commands/command_line.h"
#include "console/failure.h"
#include "console/output.h"
#include "console/text.h"
#include "files/change_list.h"
#include "files/changed_files.h"
#include "files/generation.h"
#include "files/generation_steps.h"
#include "files/output_folder.h"
#include "files/stamper.h"
#include "nccnet/netdb.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

std::string BytesText(std::uint64_t bytes) {
  const auto in = [bytes](int shift) {
    return static_cast<double>(bytes) / static_cast<double>(std::uint64_t{1} << shift);
  };
  if (bytes < 1U << 20) return fmt::format("{}", bytes);
  if (bytes < 1U << 30) return fmt::format("{} ({:.1f} MiB)", bytes, in(20));
  return fmt::format("{} ({:.1f} GiB)", bytes, in(30));
}

const char* WordOf(StepState state) {
  switch (state) {
    case StepState::kDone:
      return "done";
    case StepState::kStopped:
      return "stopped";
    case StepState::kNotBegun:
      return "not begun";
  }
  return "";
}

void PrintReport(Output& out, const Generation& run) {
  Table table = {{"", "FILES", "SHARED", "BYTES"}};
  const auto add = [&](const StepResult& result, const std::string& words) {
    table.push_back({words, std::to_string(result.files), std::to_string(result.shared),
                     BytesText(result.bytes)});
  };
  for (const StepResult& result : run.Results()) {
    add(result, result.words);
    if (run.WasStopped()) table.back().push_back(WordOf(result.state));
  }
  add(run.Total(), "total");
  out.PrintTable(table);
}

struct Outcome {
  std::string folder;
  GenerationSize expected;
  bool is_stamped = false;
  bool in_place = false;
};

Json ReportJson(const Generation& run, const Outcome& outcome) {
  const auto tally = [](const StepResult& result) {
    return Json{{"files", result.files}, {"shared", result.shared}, {"bytes", result.bytes}};
  };
  Json document = {{"folder", outcome.folder},
                   {"stamped", outcome.is_stamped},
                   {"interrupted", run.WasStopped()},
                   {"in_place", outcome.in_place},
                   {"expected",
                    {{"files", outcome.expected.files},
                     {"bytes", outcome.expected.bytes},
                     {"disk", outcome.expected.disk}}},
                   {"steps", Json::array()}};
  for (const StepResult& result : run.Results()) {
    Json step = {{"step", result.key}, {"state", WordOf(result.state)}};
    step.update(tally(result));
    document["steps"].push_back(step);
  }
  document.update(tally(run.Total()));
  document["failed"] = Json::array();
  for (const FileFailure& failure : run.Failures()) {
    document["failed"].push_back({{"file", failure.file.empty() ? Json() : Json(failure.file)},
                                  {"node", failure.node == 0 ? Json() : Json(failure.node)},
                                  {"reason", failure.reason}});
  }
  return document;
}

void WarnOfFailures(Output& out, const Generation& run) {
  constexpr std::size_t kMostShown = 20;
  const auto& failures = run.Failures();
  for (std::size_t i = 0; i < std::min(failures.size(), kMostShown); ++i) {
    out.Warn(failures[i].reason);
  }
  if (failures.size() > kMostShown) {
    out.Warn(fmt::format("{} more files failed; --json lists all", failures.size() - kMostShown));
  }
}

int ReportFailure(Output& out, const Generation& run, const Outcome& outcome) {
  out.Warn(fmt::format("{}; in {} is what was there before",
                       run.WasStopped() ? "interrupted" : "not every file could be made",
                       outcome.folder));
  return run.WasStopped() ? kExitInterrupted : kExitFailed;
}

int Report(Session& session, const Generation& run, const Outcome& outcome) {
  Output& out = session.Out();
  WarnOfFailures(out, run);
  if (session.IsJson()) {
    out.Document(ReportJson(run, outcome));
  } else {
    PrintReport(out, run);
  }
  if (!outcome.in_place) return ReportFailure(out, run, outcome);
  out.Say(fmt::format("Generated into {}.", Printable(outcome.folder)));
  return kExitDone;
}

// Says what is to come. Throws Failure when there is no room for it beside what is there.
GenerationSize Announce(Output& out, const GenerationPlan& plan, const OutputFolder& folder,
                        const GenerateArguments& arguments) {
  GenerationSize size;
  for (const GenerationStep& step : plan.steps) size.Add(step.expected);
  const OutputFolder::Room room = folder.Free();
  const std::string text = fmt::format("{} files with {} bytes are to come, {} on the disk",
                                       size.files, BytesText(size.bytes), BytesText(size.disk));
  if (!arguments.force && (size.disk > room.bytes || size.files > room.files)) {
    throw Failure(fmt::format("there is no room in {}: {}; free are {} bytes and {} files",
                              arguments.out, text, BytesText(room.bytes), room.files),
                  "Old files stay until the new ones are whole. Make room, give another folder "
                  "with --out, or try it all the same with --force.");
  }
  out.Say(fmt::format("{}; {} are free.", text, BytesText(room.bytes)));
  return size;
}

bool ChooseKey(Output& out, const GenerateArguments& arguments, const fs::path& folder) {
  if (arguments.unstamped) {
    UseNoKey();
    out.Warn("ALL STAMPS ARE ZERO: nodes refuse the files");
    return false;
  }
  UseKeyFile(arguments.key);
  const Stamper stamper;
  stamper.RequireKey("; --unstamped makes files that nodes refuse");
  RefuseOwnFiles(folder, std::getenv(kKeyVariable), "the stamping key");
  return true;
}

void TellOfManifest(Output& out, const std::string& problem) {
  if (!problem.empty()) out.Warn(problem + "; the files are read in its place");
}

// The end of a run that makes only what changed, or asks for it.
int ReportChanges(Session& session, const ChangeReport& report, const Generation* run,
                  const Outcome& outcome, const GenerateArguments& arguments) {
  Output& out = session.Out();
  const bool has_failed = run != nullptr && !outcome.in_place;
  if (run != nullptr) WarnOfFailures(out, *run);
  const FileOwners owners(session, report.changes);
  if (session.IsJson()) {
    Json document = run != nullptr
                        ? ReportJson(*run, outcome)
                        : Json{{"folder", outcome.folder}, {"stamped", outcome.is_stamped}};
    document.erase("expected");  // nobody knows before
    document["up_to_date"] = report.is_up_to_date;
    document["touched"] = report.touched;
    document["changes"] = has_failed ? Json::array() : ChangesJson(report.changes, owners);
    out.Document(document);
  } else if (!has_failed) {
    if (!report.touched.empty()) {
      out.Warn(fmt::format("{} files were not as they were generated, the first is {}",
                           report.touched.size(), Printable(report.touched.front())));
    }
    PrintChanges(out, report.changes, owners);
  }
  if (has_failed) return ReportFailure(out, *run, outcome);
  if (arguments.list.empty()) return kExitDone;
  try {
    WriteSendList(arguments.list, report.changes);
  } catch (const Failure& failure) {
    throw Failure(
        fmt::format("{}; the files are in {}", failure.what(), outcome.folder),
        fmt::format("To list them, type: nccadm send-list --since {} --out {} --list FILE",
                    session.Net().GetRevision(), outcome.folder));
  }
  return kExitDone;
}

// Where nothing is written, so that not even the folder is made.
int AskForChanges(Session& session, const GenerationPlan& plan, const GenerateArguments& arguments,
                  Outcome outcome) {
  const fs::path folder = fs::weakly_canonical(fs::absolute(arguments.out));
  outcome.folder = folder.string();
  if (fs::exists(folder / kWorkFolder)) {
    session.Out().Warn(
        fmt::format("a run that was ended before has left {}; the next run that "
                    "writes looks after it first",
                    (folder / kWorkFolder).string()));
  }
  OutputFolder::RequireOwn(folder, plan.changes, arguments.force);
  std::string problem;
  const ChangeReport report =
      AskWhatChanges(session.Net(), outcome.folder, plan, arguments.verify, problem);
  TellOfManifest(session.Out(), problem);
  return ReportChanges(session, report, nullptr, outcome, arguments);
}

// What a run that replaces single files does to the folders.
std::vector<FolderChange> OneByOne(std::vector<FolderChange> changes) {
  for (FolderChange& change : changes) change = {change.folder, FolderFate::kAdded};
  return changes;
}

int GenerateInto(Session& session, const GenerationPlan& plan, const fs::path& out,
                 const GenerateArguments& arguments, Outcome outcome) {
  using Writing = CCollectorOptions::Writing;
  const InterruptGuard interrupt;  // what was begun is put in place or removed in order
  OutputFolder folder(out);
  if (!folder.Told().empty()) session.Out().Say(folder.Told());
  OutputFolder::RequireOwn(out, plan.changes, arguments.force);
  if (!arguments.changed) outcome.expected = Announce(session.Out(), plan, folder, arguments);
  outcome.folder = folder.Begin(arguments.changed ? OneByOne(plan.changes) : plan.changes);
  SetShareIdenticalFiles(!arguments.no_share);
  ManifestRun files(session.Net(), plan, outcome.folder,
                    arguments.changed ? Writing::kChanged : Writing::kAll, arguments.verify);
  TellOfManifest(session.Out(), files.Problem());
  if (arguments.changed && !files.HadManifest() && files.Problem().empty())
    session.Out().Say("There is no manifest yet; the files that lie there are read.");
  Generation run(session);
  if (!arguments.changed || !files.IsUpToDate()) run.Run(files.Steps());
  outcome.in_place = !run.WasStopped() && !interrupt.IsAsked() && run.Failures().empty();
  ChangeReport report = outcome.in_place ? files.Report() : ChangeReport();
  if (outcome.in_place && !report.is_up_to_date) {
    files.WriteManifest(folder.StagedManifest());
    if (arguments.changed) folder.Remove(GoneFiles(report.changes));
    folder.Place();
  }
  if (!arguments.changed) return Report(session, run, outcome);
  return ReportChanges(session, report, &run, outcome, arguments);
}

// Packages are made of what lies in these folders: those of some nodes perhaps of one of them
// alone.
void RefuseToPackNothing(const std::string& what, const fs::path& out,
                         const GenerateArguments& arguments) {
  if (what != "kc" && what != "packages") return;
  std::vector<std::string> missing;
  for (const char* name : {"APDB", "MAP"}) {
    if (!fs::is_directory(out / name)) missing.emplace_back(name);
  }
  if (missing.size() < (arguments.only.empty() ? 1U : 2U)) return;
  throw Failure(
      fmt::format("there is no {} to pack in {}", fmt::join(missing, " and no "), arguments.out),
      "Run 'nccadm generate all', or apdb, routes and map first.");
}

int Generate(Session& session, const std::string& what, GenerateArguments arguments) {
  session.OnlyRead();
  session.FixDatabasePath();
  if (!arguments.list.empty()) arguments.list = fs::absolute(arguments.list).string();
  const fs::path out = fs::absolute(arguments.out);
  RefuseToPackNothing(what, out, arguments);
  RefuseOwnFiles(out, session.DatabaseText(), "the database");
  Outcome outcome;
  outcome.is_stamped = ChooseKey(session.Out(), arguments, out);
  if (!arguments.list.empty()) PrepareSendList(session, arguments.list, out);
  const GenerationPlan plan = PlanGeneration(session, what, arguments);
  if (arguments.dry_run) return AskForChanges(session, plan, arguments, std::move(outcome));
  return GenerateInto(session, plan, out, arguments, std::move(outcome));
}

struct GenerateCommand {
  const char* name;
  const char* description;
  const char* examples;
  const char* only;  // which objects --only takes; null where it takes none
  const char* kind;  // of them
  bool has_mode;
  bool has_packages;
};

constexpr GenerateCommand kCommands[] = {
    {"all", "Make all files: directories, routing tables, maps, the key centre's with the packages",
     "generate all --out /srv/ncc/out --mode 1\ngenerate all --out /srv/ncc/out --only Center "
     "Ivanov",
     "Only these servers and APs: their directories and maps, the node matrix, their packages",
     "NODE", true, true},
    {"apdb", "Make the directory databases of the APs in APDB, which is replaced",
     "generate apdb --out /srv/ncc/out\ngenerate apdb --out /srv/ncc/out --only Ivanov id:12",
     "Only these APs; the files of others stay", "AP", true, false},
    {"map", "Make the directories and stamp lists of the servers in MAP, after 'generate routes'",
     "generate map --out /srv/ncc/out\ngenerate map --out /srv/ncc/out --only Center",
     "Only these servers; the maps, tunnels and registrations of all servers with them", "SERVER",
     true, false},
    {"routes",
     "Make the maps, tunnels and registrations of the servers in MAP; 'generate map' "
     "stamps them",
     "generate routes --out /srv/ncc/out", nullptr, nullptr, false, false},
    {"packages", "Make the node matrix and pack what was generated before, in KC/AAA",
     "generate packages --out /srv/ncc/out --short\n"
     "generate packages --out /srv/ncc/out --only Center Ivanov",
     "Only the packages of these servers and APs", "NODE", false, true},
    {"kc", "Make the key centre's files in KC, which is replaced, and the packages",
     "generate kc --out /srv/ncc/out --short", nullptr, nullptr, false, true},
};

void AddGenerateOptions(CLI::App& command, const GenerateCommand& about,
                        GenerateArguments& arguments) {
  command.add_option("--out", arguments.out, "The output folder; made when missing")
      ->type_name("DIR")
      ->capture_default_str();
  CLI::Option* key = CommandLine::AddKeyOption(command, arguments.key);
  command
      .add_flag("--unstamped", arguments.unstamped,
                "Make files with zeros for stamps, which nodes refuse")
      ->excludes(key);
  command.add_flag(
      "--force", arguments.force,
      "Replace folders that are not marked as nccadm's, and do not ask for room first");
  command.add_flag("--no-share", arguments.no_share,
                   "Give each of several identical files a storage of its own");
  if (about.has_mode) {
    command.add_option("--mode", arguments.mode, "The number in the lines of kind 0017")
        ->type_name("N")
        ->check(CLI::Range(0, 255))
        ->capture_default_str();
  }
  CLI::Option* changed = command.add_flag(
      "--changed", arguments.changed, "Make only what changed; list what is new, changed or gone");
  command.add_flag("--dry-run", arguments.dry_run, "Only list it, and write nothing")
      ->needs(changed);
  command.add_flag("--verify", arguments.verify, "Read every file, whatever its size and time say")
      ->needs(changed);
  command
      .add_option("--list", arguments.list, "Write the paths, as 'rsync --files-from' takes them")
      ->type_name("FILE")
      ->needs(changed);
  if (about.only != nullptr) {
    command.add_option("--only", arguments.only, about.only)
        ->type_name(about.kind)
        ->excludes(changed);
  }
  if (about.has_packages) {
    CLI::Option* full =
        command.add_flag("--full", arguments.is_full, "Full packages (.aaf), as without an option");
    command.add_flag("--short", arguments.is_short, "Short packages (.aas)")->excludes(full);
  }
}

}  // namespace

void AddGenerateCommands(CommandLine& line) {
  CLI::App& group = line.AddGroup("generate", "The files for nodes and for the key centre");
  for (const GenerateCommand& about : kCommands) {
    auto arguments = std::make_shared<GenerateArguments>();
    CLI::App& command =
        CommandLine::AddCommand(group, about.name, about.description, about.examples);
    AddGenerateOptions(command, about, *arguments);
    line.OnRun(command, [arguments, name = std::string(about.name)](Session& session) {
      return Generate(session, name, *arguments);
    });
  }
}

}  // namespace ncc::tool
