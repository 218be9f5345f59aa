// A run of generators: counts what they write, shows how far they are, stops when asked.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "console/terminal.h"
#include "files/generation_size.h"
#include "nccnet/changed_files.h"
#include "network/session.h"

namespace ncc::tool {

struct GenerationStep {
  const char* key;    // of commands and documents
  const char* words;  // for people
  GenerationSize expected;
  std::function<void(CNCCNet&)> generate;
  CFileCollector::Part part;  // of the manifest
  bool is_whole = true;       // of all nodes
  std::string clears = {};    // what of others goes; see CFileCollector::Clear
  std::string folder = {};    // that is made before
};

// Why a step has failed; empty when it has not.
std::string ReasonOfFailure(CNCCNet& net);

enum class StepState { kDone, kStopped, kNotBegun };

struct StepResult {
  std::string key;
  std::string words;
  StepState state = StepState::kNotBegun;
  std::size_t files = 0;
  std::size_t shared = 0;  // of the files
  std::uint64_t bytes = 0;
};

struct FileFailure {
  std::string file;  // empty for what concerns no single file
  std::uint32_t node = 0;
  std::string reason;
};

class Generation {
 public:
  explicit Generation(Session& session);

  // The interrupt key ends the run after the node in hand.
  void Run(const std::vector<GenerationStep>& steps);

  const std::vector<StepResult>& Results() const { return results_; }
  const std::vector<FileFailure>& Failures() const { return failures_; }
  StepResult Total() const;
  bool WasStopped() const;

 private:
  void RunStep(const GenerationStep& step, StepResult& result);
  void Record(const CFileEvent& event, StepResult& result);
  // How a file's node is shown in the little room behind the bar.
  std::string Label(std::uint32_t node) const;

  CNCCNet& net_;
  Output& out_;
  std::unordered_map<std::uint32_t, std::string> names_;  // of the nodes and users; to show
  std::vector<StepResult> results_;
  std::vector<FileFailure> failures_;
};

}  // namespace ncc::tool
