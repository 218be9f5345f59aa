#include "files/generation.h"

#include <algorithm>

#include "console/text.h"
#include "network/view.h"

namespace ncc::tool {
namespace {

constexpr std::size_t kLabelBytes = 16;

// Networks without tunnels are as good as others: the library's reason for making none.
constexpr std::string_view kNoTunnels = "no server has a tunnel value";

// "./APDB\N\apn0001.txt" as it is called here.
std::string NativePath(std::string path) {
  std::replace(path.begin(), path.end(), '\\', '/');
  return path.starts_with("./") ? path.substr(2) : path;
}

// Takes the observer off, whichever way the run ends: it refers to what the run holds.
class ObserverGuard {
 public:
  explicit ObserverGuard(CNCCNet& net) : net_(net) {}
  ~ObserverGuard() {
    net_.SetFileObserver(nullptr);
    net_.UnLockGen();
  }
  ObserverGuard(const ObserverGuard&) = delete;
  ObserverGuard& operator=(const ObserverGuard&) = delete;

 private:
  CNCCNet& net_;
};

}  // namespace

std::string ReasonOfFailure(CNCCNet& net) {
  const std::string reason = net.LastError();
  return reason == kNoTunnels ? std::string() : reason;
}

Generation::Generation(Session& session) : net_(session.Net()), out_(session.Out()) {
  if (!out_.ShowsProgress()) return;
  for (const Kind kind : {Kind::kServer, Kind::kAp, Kind::kUser}) {
    for (const Object& object : session.Shown().All(kind)) {
      names_[object.id] = PrintableName(object.name.substr(0, kLabelBytes));
    }
  }
}

std::string Generation::Label(std::uint32_t node) const {
  const auto found = names_.find(node);
  return found == names_.end() ? std::string() : found->second;
}

void Generation::Record(const CFileEvent& event, StepResult& result) {
  if (event.failure != nullptr) {
    failures_.push_back({NativePath(event.path), static_cast<std::uint32_t>(event.node),
                         NativePath(event.failure)});
    return;
  }
  if (event.kept) return;
  ++result.files;
  result.bytes += event.bytes;
  if (event.shared) ++result.shared;
}

// What fails outside of a file, such as making a folder, shows in LastError alone.
void Generation::RunStep(const GenerationStep& step, StepResult& result) {
  const std::size_t failed_before = failures_.size();
  step.generate(net_);
  const std::string reason = ReasonOfFailure(net_);
  if (!reason.empty() && failures_.size() == failed_before) {
    failures_.push_back({{}, 0, NativePath(reason)});
  }
  result.state = StepState::kDone;
}

void Generation::Run(const std::vector<GenerationStep>& steps) {
  GenerationSize total;
  for (const GenerationStep& step : steps) total.Add(step.expected);
  const InterruptGuard interrupt;
  Progress progress(out_, "Generating", total.files);
  progress.ExpectBytes(total.bytes);
  std::size_t done = 0;
  std::uint64_t bytes = 0;
  StepResult* current = nullptr;
  const ObserverGuard guard(net_);
  net_.SetFileObserver([&](const CFileEvent& event) {
    Record(event, *current);
    bytes += event.bytes;
    progress.Reach(++done, Label(static_cast<std::uint32_t>(event.node)), bytes);
    if (interrupt.IsAsked()) net_.LockGen();
  });
  results_.reserve(steps.size());
  for (const GenerationStep& step : steps) {
    current =
        &results_.emplace_back(StepResult{step.key, step.words, StepState::kNotBegun, 0, 0, 0});
    if (interrupt.IsAsked()) continue;
    const std::size_t done_before = done;
    RunStep(step, *current);
    if (interrupt.IsAsked() && done - done_before < step.expected.files) {
      current->state = StepState::kStopped;
    }
  }
}

StepResult Generation::Total() const {
  StepResult total;
  for (const StepResult& result : results_) {
    total.files += result.files;
    total.shared += result.shared;
    total.bytes += result.bytes;
  }
  return total;
}

bool Generation::WasStopped() const {
  return std::any_of(results_.begin(), results_.end(),
                     [](const StepResult& result) { return result.state != StepState::kDone; });
}

}  // namespace ncc::tool
