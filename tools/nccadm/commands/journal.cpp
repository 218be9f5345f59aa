// journal ...
#include <algorithm>
#include <filesystem>
#include <list>
#include <memory>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "console/failure.h"
#include "console/output.h"
#include "console/text.h"
#include "files/byte_reader.h"
#include "files/files.h"
#include "nccnet/update_manager.h"
#include "network/object.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

constexpr const char* kJournal = "newfiles.dat";
constexpr std::size_t kNameSize = 13;

struct JournalArguments {
  std::string folder = ".";
  std::string export_folder;
  std::string database_folder;
};

struct JournalRecord {
  std::string name;
  std::uint32_t stamp = 0;
};

std::vector<JournalRecord> ReadRecords(const std::string& folder) {
  const std::string file = (fs::path(folder) / kJournal).string();
  if (!fs::exists(file)) {
    throw Failure(fmt::format("there is no journal {}", file),
                  "'nccadm generate' writes it into its output folder; --dir names that.");
  }
  if (!fs::is_regular_file(file)) throw Failure(fmt::format("{} is no plain file", file));
  const std::string bytes = ReadFile(file, kLargestFile);
  ByteReader reader(file, bytes);
  std::vector<JournalRecord> records;
  while (reader.Left() > 0) {
    const std::string_view name = reader.Next(kNameSize);
    records.push_back({std::string(name.substr(0, name.find('\0'))), 0});
    records.back().stamp = reader.Number(4);
  }
  return records;
}

int List(Session& session, const JournalArguments& arguments) {
  const std::vector<JournalRecord> records = ReadRecords(arguments.folder);
  Table table = {{"NAME", "STAMP"}};
  Json all = Json::array();
  for (const JournalRecord& record : records) {
    const std::string digits = fmt::format("{:08X}", record.stamp);
    table.push_back({PrintableName(record.name), digits});
    all.push_back({{"name", Utf8FromBytes(record.name)}, {"stamp", digits}});
  }
  if (session.IsJson()) {
    session.Out().Document({{"folder", arguments.folder}, {"records", std::move(all)}});
  } else {
    session.Out().PrintTable(table);
  }
  return kExitDone;
}

std::string Absolute(const std::string& folder) {
  if (folder.empty()) return {};
  if (!fs::is_directory(folder)) throw Failure(fmt::format("there is no folder {}", folder));
  return fs::absolute(folder).string();
}

std::string NativePath(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path;
}

// Other programs make these for some servers and for others not.
bool MayBeMissing(const std::string& file) { return FoldName(file).ends_with(FoldName(".xnw")); }

int ReportCopies(Session& session, const CCopyReport& report, std::size_t records) {
  Output& out = session.Out();
  Json document = {{"records", records}};
  const auto list = [&](const char* word, const std::list<std::string>& files) {
    Json all = Json::array();
    for (const std::string& file : files) {
      all.push_back(Utf8FromBytes(NativePath(file)));
      if (!out.IsJson()) out.Line(fmt::format("{:<8}  {}", word, PrintableName(NativePath(file))));
    }
    document[word] = std::move(all);
  };
  std::list<std::string> missing = report.missing;
  missing.remove_if(MayBeMissing);
  list("copied", report.copied);
  list("missing", missing);
  list("unplaced", report.unplaced);
  document["failed"] = Json::array();
  for (const CCopyReport::Failure& failure : report.failed) {
    document["failed"].push_back(
        {{"file", Utf8FromBytes(NativePath(failure.file))}, {"reason", failure.reason}});
    out.Warn(failure.reason);
  }
  if (out.IsJson()) out.Document(document);
  out.Say(fmt::format("Copied {}; not in NEW {}, names without a place {}, failed {}.",
                      CountText(report.copied.size(), "file"), missing.size(),
                      report.unplaced.size(), report.failed.size()));
  const bool all_copied = missing.empty() && report.unplaced.empty() && report.failed.empty();
  return all_copied ? kExitDone : kExitPartly;
}

int Apply(Session& session, const JournalArguments& arguments) {
  const std::vector<JournalRecord> records = ReadRecords(arguments.folder);
  const std::string export_folder = Absolute(arguments.export_folder);
  const std::string database_folder = Absolute(arguments.database_folder);
  fs::current_path(arguments.folder);
  if (!fs::is_directory("NEW")) {
    throw Failure(fmt::format("{} has no folder NEW, so no files to copy", arguments.folder));
  }
  CUpdateManager manager;
  if (!export_folder.empty()) manager.SetExportFolder(export_folder.c_str());
  if (!database_folder.empty()) manager.SetDBFolder(database_folder.c_str());
  CCopyReport report;
  if (!manager.CheckCRC(report) && report.failed.empty()) throw Failure("out of memory");
  FlushFileSystem(".");
  return ReportCopies(session, report, records.size());
}

int Clear(Session& session, const JournalArguments& arguments) {
  const fs::path file = fs::path(arguments.folder) / kJournal;
  std::error_code error;
  const bool removed = fs::remove(file, error);
  if (error) {
    throw Failure(fmt::format("{} cannot be deleted: {}", file.string(), error.message()));
  }
  session.Out().Say(removed ? "Deleted the journal." : "There is no journal.");
  if (session.IsJson()) session.Out().Document({{"deleted", removed}});
  return kExitDone;
}

}  // namespace

void AddJournalCommands(CommandLine& line) {
  CLI::App& group =
      line.AddGroup("journal", "The journal newfiles.dat of an output folder: what was stamped");
  line.RefuseAt(group);
  auto arguments = std::make_shared<JournalArguments>();
  const auto add = [&](const char* name, const char* description, const char* examples,
                       int (*run)(Session&, const JournalArguments&)) -> CLI::App& {
    CLI::App& command = line.AddCommand(group, name, description, examples, arguments, run);
    command.add_option("--dir", arguments->folder, "The folder in which the journal lies")
        ->type_name("DIR")
        ->capture_default_str();
    return command;
  };
  add("list", "Show the records: file names and stamps, the newest last",
      "journal list --dir /srv/ncc/out", List);
  CLI::App& apply =
      add("apply",
          "Copy the files that the journal names from NEW into their places; exit code "
          "5 when not all of them were copied",
          "journal apply --dir /srv/ncc/out --export /srv/ncc/out/KC", Apply);
  apply
      .add_option("--export", arguments->export_folder,
                  "Where the key centre's files go; nowhere when not given")
      ->type_name("DIR");
  apply
      .add_option("--database-folder", arguments->database_folder,
                  "Where EXTNET.DOC and IPKELADR.DOC go; nowhere when not given")
      ->type_name("DIR");
  add("clear", "Delete the journal", "journal clear --dir /srv/ncc/out", Clear);
}

}  // namespace ncc::tool
