#include "files/impact.h"

#include <filesystem>
#include <utility>

#include <fmt/format.h>

#include "console/text.h"
#include "files/generation_steps.h"
#include "files/output_folder.h"
#include "files/stamper.h"

namespace ncc::tool {
namespace {

// The key of the last run, whose stamps the new ones are compared with.
void ChooseKey(const CManifest& manifest) {
  constexpr const char* kNoKey = "none";
  if (manifest.key == kNoKey) return UseNoKey();
  UseKeyFile({});
  const Stamper stamper;
  stamper.RequireKey("; without it nobody knows what the stamps would be");
}

}  // namespace

Impact AskImpact(Session& session, const std::string& folder) {
  namespace fs = std::filesystem;
  const std::string path = fs::weakly_canonical(fs::absolute(folder)).string();
  std::string problem;
  const CManifest manifest = ReadManifestOf(path, problem);
  if (!problem.empty()) session.Out().Warn(problem + "; the files are read in its place");
  ChooseKey(manifest);
  const GenerationPlan plan = PlanLikeBefore(session.Net(), manifest);
  OutputFolder::RequireOwn(path, plan.changes, false);
  ChangeReport report = AskWhatChanges(session.Net(), path, plan, false, problem);
  FileOwners owners(session, report.changes);
  return {path, std::move(report), std::move(owners)};
}

void PrintImpact(Output& out, const Impact& impact) {
  out.Line("");
  if (impact.report.changes.empty()) {
    out.Line(fmt::format("No file in {} would change.", Printable(impact.folder)));
    return;
  }
  out.Line(fmt::format("Files in {}:", Printable(impact.folder)));
  PrintChanges(out, impact.report.changes, impact.owners);
}

Json JsonOf(const Impact& impact) {
  return {{"folder", impact.folder},
          {"changes", ChangesJson(impact.report.changes, impact.owners)}};
}

}  // namespace ncc::tool
