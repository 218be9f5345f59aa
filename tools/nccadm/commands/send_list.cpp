// send-list
#include <filesystem>
#include <memory>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "console/failure.h"
#include "console/output.h"
#include "files/change_list.h"
#include "files/changed_files.h"

namespace ncc::tool {
namespace {

struct Arguments {
  std::string out = ".";
  std::uint64_t since = 0;
  std::string list;
};

int SendList(Session& session, const Arguments& arguments) {
  std::string problem;
  const CManifest manifest = ReadManifestOf(arguments.out, problem);
  if (manifest.key.empty()) {
    throw Failure(
        problem.empty() ? fmt::format("there is no manifest in {}", arguments.out) : problem,
        "'nccadm generate' makes one.");
  }
  const std::vector<CFileChange> changes = ChangesSince(manifest, arguments.since);
  const FileOwners owners(session, changes);
  if (session.IsJson()) {
    session.Out().Document({{"folder", std::filesystem::absolute(arguments.out).string()},
                            {"since", arguments.since},
                            {"changes", ChangesJson(changes, owners)}});
  } else {
    PrintChanges(session.Out(), changes, owners);
  }
  if (!arguments.list.empty()) WriteSendList(arguments.list, changes);
  return kExitDone;
}

}  // namespace

void AddSendListCommand(CommandLine& line) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App& command = line.AddCommand(
      line.Root(), "send-list", "List the generated files that changed at a revision or later",
      "send-list --since 12 --out /srv/ncc/out --list changed.txt", arguments, &SendList);
  command.add_option("--since", arguments->since, "The revision that was sent last")
      ->type_name("REV")
      ->required();
  command.add_option("--out", arguments->out, "The output folder")
      ->type_name("DIR")
      ->capture_default_str();
  command
      .add_option("--list", arguments->list, "Write the paths, as 'rsync --files-from' takes them")
      ->type_name("FILE");
}

}  // namespace ncc::tool
