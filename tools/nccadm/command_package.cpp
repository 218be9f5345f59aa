// package ...
#include <filesystem>
#include <memory>
#include <set>
#include <unordered_map>

#include <fmt/format.h>

#include "command_line.h"
#include "files.h"
#include "package.h"
#include "stamp_check.h"
#include "text.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

struct PackageArguments {
  std::string file;
  std::string out = ".";
  bool force = false;
};

int List(Session& session, const PackageArguments& arguments) {
  const std::string bytes = ReadFile(arguments.file, kLargestFile);
  Table table = {{"AT", "BYTES", "NAME"}};
  Json files = Json::array();
  for (const PackedFile& packed : ReadPackage(arguments.file, bytes)) {
    table.push_back({std::to_string(packed.at), std::to_string(packed.contents.size()),
                     PrintableName(packed.name)});
    files.push_back({{"name", Utf8FromBytes(packed.name)},
                     {"at", packed.at},
                     {"bytes", packed.contents.size()}});
  }
  if (session.IsJson()) {
    session.Out().Document({{"file", arguments.file}, {"files", std::move(files)}});
  } else {
    session.Out().PrintTable(table);
  }
  return kExitDone;
}

// Looks at all names before the first file is written.
void RefuseBadTargets(const std::vector<PackedFile>& files, const PackageArguments& arguments) {
  std::set<std::string> names;
  for (const PackedFile& packed : files) {
    if (const std::string why = NameProblem(packed.name); !why.empty()) {
      throw Failure(fmt::format("{}: the name \"{}\" at byte {} {}", arguments.file,
                                PrintableName(packed.name), packed.at, why),
                    "Nothing was extracted.");
    }
    if (!names.insert(packed.name).second) {
      throw Failure(fmt::format("{} holds {} twice", arguments.file, packed.name),
                    "Nothing was extracted.");
    }
    std::error_code error;
    const fs::path target = fs::path(arguments.out) / packed.name;
    const fs::file_status status = fs::symlink_status(target, error);
    if (!fs::exists(status)) continue;
    if (!fs::is_regular_file(status)) {
      throw Failure(fmt::format("{} exists and is no plain file", target.string()));
    }
    if (!arguments.force) {
      throw Failure(fmt::format("{} exists; nothing was extracted", target.string()),
                    "Give another folder with --out, or replace the files with --force.");
    }
  }
}

int Extract(Session& session, const PackageArguments& arguments) {
  const std::string bytes = ReadFile(arguments.file, kLargestFile);
  const std::vector<PackedFile> files = ReadPackage(arguments.file, bytes);
  RefuseBadTargets(files, arguments);
  MakePrivateFolder(arguments.out);
  Json written = Json::array();
  for (const PackedFile& packed : files) {
    const fs::path target = fs::path(arguments.out) / packed.name;
    const fs::path part = target.string() + ".part";
    fs::remove(part);
    CreatePrivateFile(part.string(), packed.contents);
    fs::rename(part, target);
    written.push_back(target.string());
  }
  session.Out().Say(
      fmt::format("Extracted {} files to {}.", files.size(), Printable(arguments.out)));
  if (session.IsJson()) {
    session.Out().Document({{"file", arguments.file}, {"written", std::move(written)}});
  }
  return kExitDone;
}

struct PackageFault {
  std::string name;
  std::string text;
};

// The stamps that the package's own lists give for the files in it. Those of others stay unknown.
void CheckPackedStamps(const std::vector<PackedFile>& files, const Stamper& stamper,
                       std::vector<PackageFault>& faults) {
  std::unordered_map<std::string, std::uint32_t> stamps;
  for (const PackedFile& packed : files) {
    stamps.emplace(FoldName(packed.name), stamper.OfBytes(packed.contents));
  }
  const auto stamp_of = [&](const std::string& name) -> std::optional<std::uint32_t> {
    const auto found = stamps.find(FoldName(name));
    return found == stamps.end() ? std::nullopt : std::optional(found->second);
  };
  for (const PackedFile& packed : files) {
    if (!HoldsStamps(packed.name)) continue;
    std::vector<StampProblem> problems;
    CheckStamps(packed.name, packed.contents, stamper, stamp_of, problems);
    for (const StampProblem& problem : problems) {
      if (problem.fault != StampFault::kMissing) faults.push_back({packed.name, Describe(problem)});
    }
  }
}

std::vector<PackageFault> FindFaults(const std::string& file, const std::string& bytes,
                                     const Stamper& stamper, std::size_t& count) {
  std::vector<PackageFault> faults;
  try {
    const std::vector<PackedFile> files = ReadPackage(file, bytes);
    count = files.size();
    if (files.empty()) faults.push_back({"", "the package holds no files"});
    std::set<std::string> names;
    for (const PackedFile& packed : files) {
      if (const std::string why = NameProblem(packed.name); !why.empty()) {
        faults.push_back({packed.name, "the name " + why});
      }
      if (!names.insert(packed.name).second) faults.push_back({packed.name, "stands there twice"});
    }
    if (stamper.Problem().empty()) CheckPackedStamps(files, stamper, faults);
  } catch (const Failure& failure) {
    faults.push_back({"", failure.what()});
  }
  return faults;
}

int Check(Session& session, const PackageArguments& arguments) {
  const Stamper stamper;
  const std::string bytes = ReadFile(arguments.file, kLargestFile);
  std::size_t count = 0;
  const std::vector<PackageFault> faults = FindFaults(arguments.file, bytes, stamper, count);
  Output& out = session.Out();
  if (!stamper.Problem().empty()) {
    out.Warn(fmt::format("stamps were not checked: {}", stamper.Problem()));
  }
  if (session.IsJson()) {
    Json wrong = Json::array();
    for (const PackageFault& fault : faults) {
      wrong.push_back({{"name", fault.name}, {"text", fault.text}});
    }
    out.Document({{"file", arguments.file},
                  {"files", count},
                  {"stamps_checked", stamper.Problem().empty()},
                  {"wrong", std::move(wrong)}});
  } else {
    for (const PackageFault& fault : faults) {
      out.Line(Printable(fault.name.empty() ? fault.text : fault.name + ": " + fault.text));
    }
  }
  if (faults.empty()) out.Say(fmt::format("The package holds {} files, all right.", count));
  return faults.empty() ? kExitDone : kExitFound;
}

}  // namespace

void AddPackageCommands(CommandLine& line) {
  CLI::App& group = line.AddGroup("package", "Distribution packages of nodes (.aaf, .aas)");
  auto arguments = std::make_shared<PackageArguments>();
  const auto add = [&](const char* name, const char* description, const char* examples,
                       int (*run)(Session&, const PackageArguments&)) -> CLI::App& {
    CLI::App& command = CommandLine::AddCommand(group, name, description, examples);
    command.add_option("FILE", arguments->file, "The package")->required();
    line.OnRun(command, [arguments, run](Session& session) { return run(session, *arguments); });
    return command;
  };
  add("list", "Show the files in a package", "package list KC/AAA/001A0001.aaf", List);
  CLI::App& extract = add("extract", "Write the files of a package, replacing none",
                          "package extract KC/AAA/001A0001.aaf --out linz1", Extract);
  extract.add_option("--out", arguments->out, "The folder for the files; made when missing")
      ->type_name("DIR")
      ->capture_default_str();
  extract.add_flag("--force", arguments->force, "Replace files that exist");
  add("check",
      "Test the form of a package and the stamps in it; exit code 3 when something is wrong",
      "package check KC/AAA/001A0001.aaf", Check);
}

}  // namespace ncc::tool
