// standby, takeover
#include <chrono>
#include <list>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include <fmt/format.h>

#include "cluster/generated_output.h"
#include "commands/command_line.h"
#include "commands/history.h"
#include "console/failure.h"
#include "console/output.h"
#include "console/program.h"
#include "console/terminal.h"
#include "console/text.h"
#include "console/time.h"

namespace ncc::tool {
namespace {

using Clock = std::chrono::steady_clock;

// How soon the end of the owner, or a request to end, is noticed.
constexpr std::chrono::milliseconds kLook(250);

// Leaves in the history who has gone on. It also keeps the owner before it from doing so: only who
// knows what was stored last can store what is next.
void RecordTakeover(Output& out, CNCCNet& net) {
  CHistoryRule rule;
  std::uint64_t oldest = 0;
  if (net.GetHistoryRule(rule, oldest) && net.SetHistoryRule(rule)) return;
  out.Warn(fmt::format("the takeover is not in the history: {}", net.LastError()));
}

struct StandbyArguments {
  std::string hook;
  GeneratedOutput::Place files;
  std::optional<unsigned> max_wait;
  bool when_closed = false;
  bool once = false;
};

// One that follows, then owns, then follows again when another has taken over from it.
class Standby {
 public:
  Standby(Session& session, const StandbyArguments& arguments)
      : session_(session), out_(session.Out()), arguments_(arguments) {
    if (!arguments.files.folder.empty())
      files_.emplace(out_, session.DatabaseText(), arguments.files);
  }

  int Run() {
    net_ = &session_.OpenStandby();
    interrupt_.emplace();
    if (out_.IsJson()) out_.BeginList({{"database", session_.DatabaseText()}}, "events");
    bool goes_on = true;
    while (goes_on) {
      goes_on = Follow() && !arguments_.once && Own();
      if (goes_on) session_.OpenStandby();
    }
    while (hook_ && hook_->IsRunning() && !interrupt_->IsAsked())
      std::this_thread::sleep_for(kLook);
    TellOfHook();
    if (out_.IsJson()) out_.EndList();
    return kExitDone;
  }

 private:
  // True when this has become the owner, false when it was asked to end.
  bool Follow();
  bool TakeIn();
  bool IsDue();
  Failure NotDue() const;
  void TellOfSilence();
  void TellRevisions();
  bool TakeOver();
  void BeginHook();
  void TellOfHook();
  // True when another has taken over, false when it was asked to end.
  bool Own();
  bool IsOwner();
  void End(const char* what);

  void Tell(const std::string& text, const Json& event) {
    if (!out_.IsJson()) return out_.Say(text);
    out_.ListItem(event);
    out_.Flush();
  }

  Session& session_;
  Output& out_;
  const StandbyArguments& arguments_;
  std::optional<InterruptGuard> interrupt_;  // from when there is something to end
  CNCCNet* net_ = nullptr;
  std::optional<GeneratedOutput> files_;
  std::unique_ptr<Program> hook_;
  std::string owner_;         // empty: nobody
  std::uint64_t shown_ = 0;   // the revision that was told last
  bool is_silent_ = false;    // nothing answers
  bool is_possible_ = false;  // it may own the database without having been told
};

bool Standby::Follow() {
  owner_ = net_->GetOwner();
  // What another changed while this took itself for the owner.
  if (shown_ != 0 && net_->GetRevision() != shown_) TellRevisions();
  shown_ = net_->GetRevision();
  Tell(fmt::format("Standby at revision {}; {} it.", shown_,
                   owner_.empty() ? "nobody owns" : Printable(owner_) + " owns"),
       {{"event", "standby"}, {"owner", owner_}, {"revision", shown_}});
  const auto begun = Clock::now();
  while (!interrupt_->IsAsked()) {
    if (TakeIn() && IsDue() && TakeOver()) return true;
    if (files_) files_->Look();
    const bool has_time =
        !arguments_.max_wait || Clock::now() < begun + std::chrono::seconds(*arguments_.max_wait);
    if (!has_time) throw NotDue();
  }
  End("followed");
  return false;
}

bool Standby::IsDue() {
  return is_possible_ || net_->IsOwnerLost() || (arguments_.when_closed && owner_.empty());
}

Failure Standby::NotDue() const {
  if (!owner_.empty()) return Failure("it still has an owner: " + owner_, {}, kExitInUse);
  return Failure("its last owner has closed it", "Add --when-closed to take it over then, too.",
                 kExitInUse);
}

// False when nothing answers.
bool Standby::TakeIn() {
  const bool has_moved = net_->Follow(static_cast<unsigned long>(kLook.count()));
  if (LastFailure() != NCCFailure::kNone) {
    TellOfSilence();
    return false;
  }
  if (std::exchange(is_silent_, false)) out_.Say("It answers again.");
  owner_ = net_->GetOwner();
  if (has_moved) TellRevisions();
  return true;
}

void Standby::TellOfSilence() {
  if (LastFailure() != NCCFailure::kUnavailable) throw session_.Refusal("it cannot be followed");
  if (!std::exchange(is_silent_, true))
    out_.Warn(fmt::format("{}; this is tried again until it answers", net_->LastError()));
  std::this_thread::sleep_for(kLook);
}

void Standby::TellRevisions() {
  const std::uint64_t now = net_->GetRevision();
  std::list<CHistoryEntry> entries;
  net_->GetHistory(shown_ + 1, now, entries);
  while (++shown_ <= now) {
    Json event = {{"event", "revision"}, {"revision", shown_}};
    const bool is_kept = !entries.empty() && entries.back().revision == shown_;
    if (is_kept) event.update(JsonOf(entries.back()));
    Tell(is_kept ? TitleOf(entries.back()) : fmt::format("revision {}", shown_), event);
    if (is_kept) entries.pop_back();
  }
  shown_ = now;
  if (files_) files_->Note();
}

bool Standby::TakeOver() {
  if (!net_->TakeOver(0)) {
    is_possible_ = LastFailure() == NCCFailure::kUnavailable;
    if (is_possible_) TellOfSilence();
    if (!is_possible_ && LastFailure() != NCCFailure::kInUse)
      throw session_.Refusal("it cannot be taken over");
    return false;
  }
  is_possible_ = false;
  if (net_->GetRevision() != shown_) TellRevisions();
  RecordTakeover(out_, *net_);
  shown_ = net_->GetRevision();
  owner_ = net_->GetOwner();
  const Time now = Now();
  Tell(fmt::format("Taken over at revision {}, {}.", shown_, LocalTime(now)),
       {{"event", "takeover"}, {"revision", shown_}, {"time", UtcTime(now)}});
  if (arguments_.once) session_.Close();
  BeginHook();
  if (files_) files_->Note();
  return true;
}

void Standby::BeginHook() {
  if (arguments_.hook.empty()) return;
  try {
    hook_.reset();
    hook_ = std::make_unique<Program>(
        std::vector{arguments_.hook}, ProgramWords::kShown,
        std::vector<std::string>{"NCCADM_EVENT=takeover", "NCCADM_DB=" + session_.DatabaseText(),
                                 fmt::format("NCCADM_REVISION={}", shown_)});
  } catch (const Failure& failure) {
    out_.Warn(failure.what());
  }
}

void Standby::TellOfHook() {
  if (!hook_ || hook_->IsRunning()) return;
  const std::string fault = hook_->Fault();
  if (!fault.empty()) out_.Warn(fault);
  hook_.reset();
}

bool Standby::Own() {
  while (!interrupt_->IsAsked()) {
    std::this_thread::sleep_for(kLook);
    TellOfHook();
    if (files_) files_->Look();
    if (IsOwner()) continue;
    out_.Warn(fmt::format("this owns the database no more; now {} does",
                          owner_.empty() ? "nobody" : owner_));
    session_.Close();
    return true;
  }
  End("owned");
  return false;
}

bool Standby::IsOwner() {
  const std::string now = net_->GetOwner();
  if (LastFailure() != NCCFailure::kNone) return true;  // nobody answers, so nobody else does
  if (owner_.empty()) owner_ = now;
  return std::exchange(owner_, now) == now;
}

void Standby::End(const char* what) {
  const std::uint64_t revision = net_->GetRevision();
  session_.Close();
  Tell(fmt::format("Ended as asked; it {} the database until revision {}.", what, revision),
       {{"event", "end"}, {"revision", revision}});
}

int RunStandby(Session& session, const StandbyArguments& arguments) {
  if (!arguments.hook.empty()) RequireProgram(arguments.hook);
  return Standby(session, arguments).Run();
}

// takeover ----------------------------------------------------------------------------------------

int TakeOver(Session& session, const bool& force) {
  CNCCNet& net = session.OpenStandby();
  const std::string owner = net.GetOwner();
  if (force && !owner.empty()) {
    session.Confirm(fmt::format(
        "the database is owned by {}. Nothing that was acknowledged is lost; what it changes from "
        "then on is refused",
        owner));
  }
  const auto wait = std::chrono::milliseconds(session.Wait());
  if (!net.TakeOver(static_cast<unsigned long>(wait.count()), force)) {
    if (LastFailure() != NCCFailure::kInUse)
      throw session.Refusal("the database cannot be taken over");
    throw Failure(net.LastError(),
                  "Let --wait SECONDS wait for its end, or take it over all the same with --force.",
                  kExitInUse);
  }
  RecordTakeover(session.Out(), net);
  const std::uint64_t revision = net.GetRevision();
  session.Close();
  session.Out().Say(fmt::format("Taken over from {} at revision {}; it has no owner now.",
                                owner.empty() ? "nobody" : Printable(owner), revision));
  if (session.IsJson()) {
    session.Out().Document(
        {{"from", owner.empty() ? Json() : Json(owner)}, {"revision", revision}});
  }
  return kExitDone;
}

void AddTakeover(CommandLine& line) {
  auto force = std::make_shared<bool>(false);
  CLI::App& takeover = line.AddCommand(
      line.Root(), "takeover", "Take the database from an owner on whichever machine, and let go",
      "--db /srv/ncc/city takeover --wait 30\n--db /srv/ncc/city takeover --force", force,
      TakeOver);
  line.RefuseAt(takeover);
  takeover.add_flag("--force", *force,
                    "Not only when it has gone: its changes are refused from then on");
}

}  // namespace

void AddStandbyCommands(CommandLine& line) {
  auto arguments = std::make_shared<StandbyArguments>();
  CLI::App& standby =
      line.AddCommand(line.Root(), "standby",
                      "Follow a database in a cluster, and own it as soon as its owner is lost",
                      "--db /srv/ncc/city standby --hook /etc/nccnet/takeover\n"
                      "--db /srv/ncc/city standby --out /srv/ncc/out --key /etc/nccnet/key",
                      arguments, RunStandby);
  line.RefuseAt(standby);
  standby.add_option("--hook", arguments->hook, "Run this program when it has taken over")
      ->type_name("PROGRAM");
  standby.add_flag("--when-closed", arguments->when_closed,
                   "Take over also when the owner has closed it in order");
  standby.add_flag("--once", arguments->once,
                   "Let go and end when it has taken over, so that others can open it");
  standby
      .add_option("--max-wait", arguments->max_wait,
                  "End with 6 when there was nothing to take over for so long")
      ->type_name("SECONDS");
  CLI::Option* out = standby
                         .add_option("--out", arguments->files.folder,
                                     "Keep this output folder up to date as 'generate all "
                                     "--changed' does")
                         ->type_name("DIR");
  CLI::Option* key = CommandLine::AddKeyOption(standby, arguments->files.key)->needs(out);
  standby
      .add_flag("--unstamped", arguments->files.unstamped,
                "Make files with zeros for stamps, which nodes refuse")
      ->needs(out)
      ->excludes(key);
  standby.add_option("--mode", arguments->files.mode, "The number in the lines of kind 0017")
      ->type_name("N")
      ->check(CLI::Range(0, 255))
      ->capture_default_str()
      ->needs(out);
  AddTakeover(line);
}

}  // namespace ncc::tool
