#include "cluster/generated_output.h"

#include <filesystem>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "console/failure.h"
#include "console/text.h"

namespace ncc::tool {
namespace {

// Changes come in groups: a run waits for the end of one, but not for ever.
constexpr std::chrono::seconds kPause(2);
constexpr std::chrono::seconds kLongest(30);
constexpr std::chrono::seconds kBeforeNextTry(60);

}  // namespace

GeneratedOutput::GeneratedOutput(Output& out, std::string database, Place place)
    : out_(out), database_(std::move(database)), place_(std::move(place)) {}

void GeneratedOutput::Note() {
  last_ = Clock::now();
  if (!std::exchange(is_behind_, true)) first_ = last_;
}

void GeneratedOutput::Look() {
  if (run_ && run_->IsRunning()) return;
  if (run_) End();
  const Clock::time_point now = Clock::now();
  if (is_behind_ && (now >= last_ + kPause || now >= first_ + kLongest)) Begin();
}

void GeneratedOutput::Begin() {
  std::vector<std::string> arguments = {std::filesystem::read_symlink("/proc/self/exe").string(),
                                        "--quiet",
                                        "--db",
                                        database_,
                                        "generate",
                                        "all",
                                        "--changed",
                                        "--out",
                                        place_.folder,
                                        "--mode",
                                        std::to_string(place_.mode)};
  if (!place_.key.empty()) arguments.insert(arguments.end(), {"--key", place_.key});
  if (place_.unstamped) arguments.emplace_back("--unstamped");
  run_ = std::make_unique<Program>(arguments, ProgramWords::kKept);
  is_behind_ = false;
}

void GeneratedOutput::End() {
  const std::string fault = run_->Fault();
  run_.reset();
  if (fault.empty()) return out_.Say(fmt::format("Generated into {}.", Printable(place_.folder)));
  out_.Warn(fmt::format("the files in {} are not up to date: {}", place_.folder, fault));
  if (std::exchange(is_behind_, true)) return;
  first_ = last_ = Clock::now() + kBeforeNextTry;
}

}  // namespace ncc::tool
