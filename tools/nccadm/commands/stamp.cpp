// keygen, stamp, verify-stamps
#include <filesystem>
#include <memory>
#include <system_error>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "console/failure.h"
#include "console/output.h"
#include "console/text.h"
#include "files/stamp_tree.h"
#include "files/stamper.h"
#include "network/object.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

struct Arguments {
  std::string path;
  std::vector<std::string> files;
  std::string key;
};

int MakeKey(Session& session, const Arguments& arguments) {
  const std::string& file = arguments.path;
  MakeKeyFile(file);
  const std::string path = fs::absolute(file).string();
  Output& out = session.Out();
  out.Say(
      fmt::format("Made the stamping key {}. Nobody else can read it; keep a copy apart: nodes "
                  "know the stamps of this key alone.\nTo use it: --key {}, or export {}={}",
                  Printable(path), Printable(path), kKeyVariable, Printable(path)));
  if (session.IsJson()) out.Document({{"key_file", path}});
  return kExitDone;
}

int Stamp(Session& session, const Arguments& arguments) {
  const std::vector<std::string>& files = arguments.files;
  UseKeyFile(arguments.key);
  const Stamper stamper;
  stamper.RequireKey();
  std::vector<std::pair<std::string, std::uint32_t>> stamps;
  for (const std::string& file : files) {
    stamps.emplace_back(fs::path(file).filename().string(), stamper.OfFile(file));
  }
  Json all = Json::array();
  for (std::size_t i = 0; i < files.size(); ++i) {
    std::string name = stamps[i].first;
    for (char& c : name) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    const std::string digits = fmt::format("{:08X}", stamps[i].second);
    all.push_back({{"file", files[i]}, {"name", name}, {"stamp", digits}});
    if (!session.IsJson()) session.Out().Line(fmt::format("{}={}", Printable(name), digits));
  }
  if (session.IsJson()) session.Out().Document({{"stamps", std::move(all)}});
  return kExitDone;
}

struct Finding {
  std::string holder;  // relative to the folder
  StampProblem problem;
};

int ReportFindings(Session& session, const std::string& folder, std::size_t holders,
                   std::size_t stamps, const std::vector<Finding>& findings) {
  Output& out = session.Out();
  if (session.IsJson()) {
    Json wrong = Json::array();
    for (const Finding& finding : findings) {
      Json problem = {{"in", finding.holder}};
      problem.update(StampProblemJson(finding.problem));
      wrong.push_back(std::move(problem));
    }
    out.Document({{"folder", folder},
                  {"files_with_stamps", holders},
                  {"stamps", stamps},
                  {"wrong", std::move(wrong)}});
  } else {
    for (const Finding& finding : findings) {
      out.Line(
          fmt::format("{}: {}", Printable(finding.holder), Printable(TextOf(finding.problem))));
    }
  }
  out.Say(fmt::format(
      "Checked {} in {}: {}.", CountText(stamps, "stamp"), CountText(holders, "file"),
      findings.empty() ? "all are right" : fmt::format("{} are wrong", findings.size())));
  return findings.empty() ? kExitDone : kExitFound;
}

int VerifyStamps(Session& session, const Arguments& arguments) {
  const std::string& folder = arguments.path;
  UseKeyFile(arguments.key);
  const Stamper stamper;
  stamper.RequireKey();
  std::error_code error;
  if (!fs::is_directory(folder, error)) throw Failure(fmt::format("there is no folder {}", folder));
  const std::vector<fs::path> holders = StampTree::FindHolders(folder);
  if (holders.empty()) {
    throw Failure(fmt::format("there are no stamps below {}", folder),
                  "Give the folder that 'nccadm generate' wrote into.");
  }
  StampTree tree(stamper);
  Progress progress(session.Out(), "Checking", holders.size());
  std::size_t stamps = 0;
  std::vector<Finding> findings;
  for (const fs::path& holder : holders) {
    StampFindings found = tree.CheckHolder(holder);
    stamps += found.stamps;
    for (StampProblem& problem : found.problems) {
      findings.push_back({holder.lexically_relative(folder).string(), std::move(problem)});
    }
    progress.Step();
  }
  return ReportFindings(session, folder, holders.size(), stamps, findings);
}

}  // namespace

void AddStampCommands(CommandLine& line) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App& keygen = line.AddCommand(
      line.Root(), "keygen", "Make a stamping key: a file of 32 random bytes for its owner alone",
      "keygen /etc/ncc/stamp.key", arguments, MakeKey);
  keygen.add_option("FILE", arguments->path, "The new file")->required();

  CLI::App& stamp = line.AddCommand(line.Root(), "stamp", "Print the stamp line of each file",
                                    "stamp MAP/node1.map MAP/node1.tun --key /etc/ncc/stamp.key",
                                    arguments, Stamp);
  stamp.add_option("FILE", arguments->files, "The files")->required();
  CommandLine::AddKeyOption(stamp, arguments->key);

  CLI::App& verify = line.AddCommand(
      line.Root(), "verify-stamps",
      "Compute anew every stamp in the stamp lists, registrations and tunnels below a folder; "
      "exit code 3 when one is wrong",
      "verify-stamps /srv/ncc/out\nverify-stamps /srv/ncc/out/MAP --json", arguments, VerifyStamps);
  verify.add_option("DIR", arguments->path, "The folder")->required();
  CommandLine::AddKeyOption(verify, arguments->key);
  for (const CLI::App* command : {&keygen, &stamp, &verify}) line.RefuseAt(*command);
}

}  // namespace ncc::tool
