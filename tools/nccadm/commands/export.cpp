// export nodenames
#include <filesystem>
#include <memory>
#include <system_error>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "console/failure.h"
#include "console/text.h"

namespace ncc::tool {
namespace {

int ExportNodeNames(Session& session, const std::string& folder) {
  session.OnlyRead();
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) {
    throw Failure(fmt::format("there is no folder {}", folder),
                  "Create it, or give another one with --out.");
  }
  const std::string prefix = folder.ends_with('/') ? folder : folder + "/";
  const std::string file = prefix + "NODENAME.DOC";
  session.ConfirmReplacing(file);
  if (!session.Net().CreateNodenameFile(prefix.c_str())) {
    throw session.Refusal(fmt::format("{} was not written", file));
  }
  const auto bytes = std::filesystem::file_size(file, error);
  session.Out().Say(fmt::format("Wrote {} ({} bytes).", Printable(file), bytes));
  if (session.IsJson()) session.Out().Document({{"file", file}, {"bytes", bytes}});
  return kExitDone;
}

}  // namespace

void AddExportCommands(CommandLine& line) {
  CLI::App& group = line.AddGroup("export", "Single files made from the network");
  auto folder = std::make_shared<std::string>(".");
  CLI::App& names = line.AddCommand(group, "nodenames", "Write the node name file NODENAME.DOC",
                                    "export nodenames --out /srv/ncc/kc", folder, ExportNodeNames);
  names.add_option("--out", *folder, "The folder for the file")
      ->type_name("DIR")
      ->capture_default_str();
}

}  // namespace ncc::tool
