// generate ...
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include <fmt/format.h>

#include "command_line.h"
#include "files.h"
#include "generation.h"
#include "generation_steps.h"
#include "stamper.h"
#include "text.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

// Generators empty folders: nothing that they need may lie there.
void RefuseOwnFolders(const fs::path& out, const fs::path& file, const char* what) {
  const fs::path whole = fs::weakly_canonical(file);
  for (const char* name : {"KC", "APDB", "MAP"}) {
    const fs::path folder = fs::weakly_canonical(out / name);
    if (std::mismatch(folder.begin(), folder.end(), whole.begin(), whole.end()).first ==
        folder.end()) {
      throw Failure(fmt::format("{} lies in the output folder {}, which would be emptied", what,
                                folder.string()),
                    "Give another folder with --out.");
    }
  }
}

void EnterFolder(Session& session, const fs::path& out) {
  RefuseOwnFolders(out, session.DatabaseText(), "the database");
  if (const char* key = std::getenv(kKeyVariable); key != nullptr && *key != '\0') {
    RefuseOwnFolders(out, key, "the stamping key");
  }
  MakePrivateFolder(out.string());
  FixKeyPath();
  std::error_code error;
  fs::current_path(out, error);
  if (error) throw Failure(fmt::format("{} cannot be used: {}", out.string(), error.message()));
}

std::string BytesText(std::uint64_t bytes) {
  if (bytes < 1U << 20) return fmt::format("{}", bytes);
  return fmt::format("{} ({:.1f} MiB)", bytes, static_cast<double>(bytes) / (1U << 20));
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

Json ReportJson(const Generation& run, const std::string& folder, const Stamper& stamper) {
  const auto tally = [](const StepResult& result) {
    return Json{{"files", result.files}, {"shared", result.shared}, {"bytes", result.bytes}};
  };
  Json document = {{"folder", folder},
                   {"stamped", stamper.Problem().empty()},
                   {"interrupted", run.WasStopped()},
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

int ExitCodeOf(const Generation& run) {
  if (run.WasStopped()) return kExitInterrupted;
  if (run.Failures().empty()) return kExitDone;
  return run.Total().files == 0 ? kExitFailed : kExitPartly;
}

int Report(Session& session, const Generation& run, const Stamper& stamper) {
  Output& out = session.Out();
  WarnOfFailures(out, run);
  const std::string folder = fs::current_path().string();
  if (session.IsJson()) {
    out.Document(ReportJson(run, folder, stamper));
  } else {
    PrintReport(out, run);
  }
  if (run.WasStopped()) {
    out.Warn("interrupted; what is not done has files of the run before, or none");
  } else {
    out.Say(fmt::format("Generated into {}.", Printable(folder)));
  }
  return ExitCodeOf(run);
}

int Generate(Session& session, const std::string& what, const GenerateArguments& arguments) {
  session.FixDatabasePath();
  CNCCNet& net = session.Net();
  const std::vector<GenerationStep> steps = StepsOf(session, what, arguments);
  const fs::path out = fs::absolute(arguments.out);
  if (what == "packages" && !fs::is_directory(out / "APDB") && !fs::is_directory(out / "MAP")) {
    throw Failure(fmt::format("nothing was generated in {} that could be packed", arguments.out),
                  "Run 'nccadm generate all', or apdb, routes and map first.");
  }
  EnterFolder(session, out);
  const Stamper stamper;
  if (!stamper.Problem().empty()) {
    session.Out().Warn(
        fmt::format("{}, so ALL STAMPS ARE ZERO and nodes refuse the files", stamper.Problem()));
  }
  SetShareIdenticalFiles(!arguments.no_share);
  net.KCPath("./KC/");
  net.APDBPath("./APDB/");
  net.MAPPath("./MAP/");
  Generation run(session);
  run.Run(steps);
  run.Flush();
  return Report(session, run, stamper);
}

struct GenerateCommand {
  const char* name;
  const char* description;
  const char* examples;
  const char* only;  // which objects --only takes; null where it takes none
  bool has_mode;
  bool has_packages;
};

constexpr GenerateCommand kCommands[] = {
    {"all", "Make all files: directories, routing tables, maps, the key centre's with the packages",
     "generate all --out /srv/ncc/out --mode 1\ngenerate all --out /srv/ncc/out --only Center "
     "Ivanov",
     "Only these servers and APs: their directories and maps, the node matrix, their packages",
     true, true},
    {"apdb", "Make the directory databases of the APs in APDB, which is emptied",
     "generate apdb --out /srv/ncc/out\ngenerate apdb --out /srv/ncc/out --only Ivanov id:12",
     "Only these APs, emptying nothing", true, false},
    {"map", "Make the directories and stamp lists of the servers in MAP, after 'generate routes'",
     "generate map --out /srv/ncc/out\ngenerate map --out /srv/ncc/out --only Center",
     "Only these servers; the maps, tunnels and registrations of all servers with them", true,
     false},
    {"routes",
     "Make the maps, tunnels and registrations of the servers in MAP; 'generate map' "
     "stamps them",
     "generate routes --out /srv/ncc/out", nullptr, false, false},
    {"packages", "Make the node matrix and pack what was generated before, in KC/AAA",
     "generate packages --out /srv/ncc/out --short\n"
     "generate packages --out /srv/ncc/out --only Center Ivanov",
     "Only the packages of these servers and APs", false, true},
    {"kc", "Make the key centre's files in KC, which is emptied, and the packages",
     "generate kc --out /srv/ncc/out --short", nullptr, false, true},
};

void AddGenerateOptions(CLI::App& command, const GenerateCommand& about,
                        GenerateArguments& arguments) {
  command.add_option("--out", arguments.out, "The output folder; made when missing")
      ->type_name("DIR")
      ->capture_default_str();
  command.add_flag("--no-share", arguments.no_share,
                   "Give each of several identical files a storage of its own");
  if (about.has_mode) {
    command.add_option("--mode", arguments.mode, "The number in the lines of kind 0017")
        ->type_name("N")
        ->check(CLI::Range(0, 255))
        ->capture_default_str();
  }
  if (about.only != nullptr) {
    command.add_option("--only", arguments.only, about.only)->type_name("NAME|id:N");
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
