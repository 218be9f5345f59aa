// package ...
#include <filesystem>
#include <memory>
#include <set>
#include <system_error>
#include <unordered_map>
#include <utility>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "console/failure.h"
#include "console/text.h"
#include "files/files.h"
#include "files/package.h"
#include "files/stamp_check.h"
#include "network/object.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

struct PackageArguments {
  std::string file;
  std::string out = ".";
  std::string key;
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
    WriteFile(target.string(), packed.contents);
    written.push_back(target.string());
  }
  session.Out().Say(fmt::format("Extracted {} to {}.", CountText(files.size(), "file"),
                                Printable(arguments.out)));
  if (session.IsJson()) {
    session.Out().Document({{"file", arguments.file}, {"written", std::move(written)}});
  }
  return kExitDone;
}

struct PackageFault {
  std::string name;
  std::string text;
};

struct PackageReport {
  std::size_t files = 0;
  std::vector<PackageFault> faults;
  std::vector<std::string> unproved;  // files without a stamp that proves them
};

// The stamps that the package's own lists give for the files in it. Those of others stay unknown.
// Returns the folded names of the files that they prove; a list that is wrong itself proves none.
std::set<std::string> CheckPackedStamps(const std::vector<PackedFile>& files,
                                        const Stamper& stamper, PackageReport& report) {
  std::unordered_map<std::string, std::uint32_t> stamps;
  for (const PackedFile& packed : files) {
    stamps.emplace(FoldName(packed.name), stamper.OfBytes(packed.contents));
  }
  const auto stamp_of = [&](const std::string& name) -> std::optional<std::uint32_t> {
    const auto found = stamps.find(FoldName(name));
    return found == stamps.end() ? std::nullopt : std::optional(found->second);
  };
  std::set<std::string> proved;
  for (const PackedFile& packed : files) {
    if (!HoldsStamps(packed.name)) continue;
    const StampFindings found = CheckStamps(packed.name, packed.contents, stamper, stamp_of);
    for (const StampProblem& problem : found.problems) {
      if (problem.fault == StampFault::kMissing) continue;
      report.faults.push_back({packed.name, TextOf(problem)});
    }
    std::set<std::string> right;
    for (const std::string& name : found.right) right.insert(FoldName(name));
    if (right.count(FoldName(packed.name)) != 0) proved.merge(right);
  }
  return proved;
}

PackageReport Examine(const std::string& file, const std::string& bytes, const Stamper& stamper) {
  PackageReport report;
  try {
    const std::vector<PackedFile> files = ReadPackage(file, bytes);
    report.files = files.size();
    if (files.empty()) report.faults.push_back({"", "the package holds no files"});
    std::set<std::string> names;
    for (const PackedFile& packed : files) {
      if (const std::string why = NameProblem(packed.name); !why.empty()) {
        report.faults.push_back({packed.name, "the name " + why});
      }
      if (!names.insert(packed.name).second) {
        report.faults.push_back({packed.name, "stands there twice"});
      }
    }
    std::set<std::string> proved;
    if (stamper.Problem().empty()) proved = CheckPackedStamps(files, stamper, report);
    for (const PackedFile& packed : files) {
      if (proved.count(FoldName(packed.name)) == 0) report.unproved.push_back(packed.name);
    }
  } catch (const Failure& failure) {
    report.faults.push_back({"", failure.what()});
  }
  return report;
}

Json ReportJson(const std::string& file, const PackageReport& report, bool stamps_checked) {
  Json unproved = Json::array();
  for (const std::string& name : report.unproved) unproved.push_back(Utf8FromBytes(name));
  Json wrong = Json::array();
  for (const PackageFault& fault : report.faults) {
    wrong.push_back({{"name", Utf8FromBytes(fault.name)}, {"text", fault.text}});
  }
  return {{"file", file},
          {"files", report.files},
          {"stamps_checked", stamps_checked},
          {"proved", report.files - report.unproved.size()},
          {"unproved", std::move(unproved)},
          {"wrong", std::move(wrong)}};
}

int Check(Session& session, const PackageArguments& arguments) {
  UseKeyFile(arguments.key);
  const Stamper stamper;
  const bool has_key = stamper.Problem().empty();
  const PackageReport report =
      Examine(arguments.file, ReadFile(arguments.file, kLargestFile), stamper);
  Output& out = session.Out();
  if (session.IsJson()) {
    out.Document(ReportJson(arguments.file, report, has_key));
  } else {
    for (const PackageFault& fault : report.faults) {
      const std::string name = PrintableName(fault.name);
      out.Line(name.empty() ? Printable(fault.text) : name + ": " + Printable(fault.text));
    }
    for (const std::string& name : report.unproved) {
      if (has_key) out.Line(PrintableName(name) + ": has no stamp in the package");
    }
  }
  if (!report.faults.empty()) return kExitFound;
  out.Say(fmt::format("{}: form right, {} of {} files proved.", Printable(arguments.file),
                      report.files - report.unproved.size(), report.files));
  if (report.unproved.size() < report.files) return kExitDone;
  out.Warn(has_key ? std::string("no stamp in it proves any of its files")
                   : fmt::format("no stamp was checked: {}", stamper.Problem()));
  return kExitPartly;
}

}  // namespace

void AddPackageCommands(CommandLine& line) {
  CLI::App& group = line.AddGroup("package", "Distribution packages of nodes (.aaf, .aas)");
  line.RefuseAt(group);
  auto arguments = std::make_shared<PackageArguments>();
  const auto add = [&](const char* name, const char* description, const char* examples,
                       int (*run)(Session&, const PackageArguments&)) -> CLI::App& {
    CLI::App& command = line.AddCommand(group, name, description, examples, arguments, run);
    command.add_option("FILE", arguments->file, "The package")->required();
    return command;
  };
  add("list", "Show the files in a package", "package list KC/AAA/001A0001.aaf", List);
  CLI::App& extract = add("extract", "Write the files of a package, replacing none",
                          "package extract KC/AAA/001A0001.aaf --out linz1", Extract);
  extract.add_option("--out", arguments->out, "The folder for the files; made when missing")
      ->type_name("DIR")
      ->capture_default_str();
  extract.add_flag("--force", arguments->force, "Replace files that exist");
  CLI::App& check =
      add("check",
          "Test the form of a package and the stamps in it; exit code 3 when something is wrong, 5 "
          "when no file is proved, as without a key",
          "package check KC/AAA/001A0001.aaf --key /etc/ncc/stamp.key", Check);
  CommandLine::AddKeyOption(check, arguments->key);
}

}  // namespace ncc::tool
