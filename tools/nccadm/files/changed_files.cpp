#include "files/changed_files.h"

#include <filesystem>
#include <set>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>

#include "console/failure.h"
#include "files/files.h"
#include "files/output_folder.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;
using Writing = CCollectorOptions::Writing;

// What the steps write or read: packages take files of all folders.
std::vector<std::string> FoldersOf(const GenerationPlan& plan) {
  std::set<std::string> folders;
  for (const FolderChange& change : plan.changes) {
    folders.insert(change.folder.substr(0, change.folder.find('/')));
  }
  if (folders.count("KC") != 0) folders.insert({"APDB", "MAP"});
  return {folders.begin(), folders.end()};
}

}  // namespace

CManifest ReadManifestOf(const std::string& folder, std::string& problem) {
  const std::string file = (fs::path(folder) / kManifest).string();
  try {
    return ReadManifest(file.c_str());
  } catch (const std::runtime_error& error) {
    problem = fmt::format("{}: {}", file, error.what());
    return {};
  }
}

ManifestRun::ManifestRun(CNCCNet& net, const GenerationPlan& plan, const std::string& folder,
                         Writing writing, bool verify)
    : plan_(plan), writes_(writing != Writing::kNothing) {
  CCollectorOptions options;
  options.root = folder;
  options.folders = FoldersOf(plan);
  options.manifest = (fs::path(folder) / kManifest).string();
  options.writing = writing;
  options.verify = verify;
  net.KCPath("./KC/");
  net.APDBPath("./APDB/");
  net.MAPPath("./MAP/");
  try {
    const std::string manifest = options.manifest;
    collector_ = std::make_unique<CFileCollector>(net, std::move(options));
    had_manifest_ = collector_->HasManifest();
    if (!collector_->Problem().empty())
      problem_ = fmt::format("{}: {}", manifest, collector_->Problem());
  } catch (const std::runtime_error& error) {
    throw Failure(error.what());
  }
  std::vector<CFileCollector::Part> parts;
  for (const GenerationStep& step : plan.steps) parts.push_back(step.part);
  is_up_to_date_ = collector_->IsUpToDate(parts);
}

std::vector<GenerationStep> ManifestRun::Steps() {
  std::vector<GenerationStep> steps = plan_.steps;
  for (GenerationStep& step : steps) {
    step.generate = [this, original = step](CNCCNet& net) {
      collector_->BeginPart(original.part, original.is_whole);
      if (!original.clears.empty()) collector_->Clear(original.clears);
      if (!original.folder.empty() && writes_) MakePrivateFolder(original.folder);
      original.generate(net);
    };
  }
  return steps;
}

ChangeReport ManifestRun::Report() const {
  if (is_up_to_date_) return {{}, {}, true};
  return {collector_->Changes(), collector_->TouchedFiles(), false};
}

void ManifestRun::WriteManifest(const std::string& file) const {
  try {
    collector_->WriteManifest(file.c_str());
  } catch (const std::runtime_error& error) {
    throw Failure(error.what());
  }
}

ChangeReport AskWhatChanges(CNCCNet& net, const std::string& folder, const GenerationPlan& plan,
                            bool verify, std::string& problem) {
  ManifestRun run(net, plan, folder, Writing::kNothing, verify);
  problem = run.Problem();
  if (run.IsUpToDate()) return run.Report();
  std::string failure;
  net.SetFileObserver([&](const CFileEvent& event) {
    if (event.failure != nullptr && failure.empty()) failure = event.failure;
  });
  for (const GenerationStep& step : run.Steps()) {
    step.generate(net);
    const std::string reason = ReasonOfFailure(net);
    if (failure.empty()) failure = reason;
  }
  net.SetFileObserver(nullptr);
  if (!failure.empty()) throw Failure(failure);
  return run.Report();
}

}  // namespace ncc::tool
