// Generating with a manifest of what the output folder holds: all files, or only what changed, or
// only the answer to what would change.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "files/generation_steps.h"
#include "nccnet/changed_files.h"

namespace ncc::tool {

// What a run changes in an output folder, or would.
struct ChangeReport {
  std::vector<CFileChange> changes;  // by path
  std::vector<std::string> touched;  // files that somebody else had changed
  bool is_up_to_date = false;        // by the manifest alone
};

// The manifest of an output folder. One that is damaged is as none; `problem` says why.
CManifest ReadManifestOf(const std::string& folder, std::string& problem);

// Takes a plan's steps through a collector; sets the network's folders. The current folder is the
// one that is written into.
class ManifestRun {
 public:
  ManifestRun(CNCCNet& net, const GenerationPlan& plan, const std::string& folder,
              CCollectorOptions::Writing writing, bool verify = false);

  // Whether there was one; and why it was not believed, empty when it was.
  bool HadManifest() const { return had_manifest_; }
  const std::string& Problem() const { return problem_; }
  bool IsUpToDate() const { return is_up_to_date_; }
  // The steps of the plan, each of which tells the collector what it makes.
  std::vector<GenerationStep> Steps();

  ChangeReport Report() const;
  void WriteManifest(const std::string& file) const;

 private:
  const GenerationPlan& plan_;
  std::string problem_;
  bool writes_;
  bool had_manifest_ = false;
  bool is_up_to_date_ = false;
  std::unique_ptr<CFileCollector> collector_;
};

// What a run would change in the folder, by the network as it is now, also inside a batch. Nothing
// is written anywhere. `problem` becomes why the manifest was not believed. Throws Failure when a
// file cannot be composed.
ChangeReport AskWhatChanges(CNCCNet& net, const std::string& folder, const GenerationPlan& plan,
                            bool verify, std::string& problem);

}  // namespace ncc::tool
