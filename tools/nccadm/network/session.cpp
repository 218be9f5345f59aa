#include "network/session.h"

#include <chrono>
#include <filesystem>
#include <limits>
#include <list>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "console/terminal.h"
#include "console/text.h"
#include "console/time.h"
#include "network/view.h"

namespace ncc::tool {

namespace {

constexpr const char* kUnavailableHint =
    "Nothing was changed. 'nccadm cluster status' shows what is wrong; --wait SECONDS waits.";

}  // namespace

Session::Session(const Options& options, Output& output) : options_(options), output_(output) {}

Session::~Session() {
  if (in_unit_) net_.EndBatch(false);
}

const std::string& Session::DatabaseText() const {
  if (options_.database.empty()) {
    throw Failure("no database is given", "Add --db DIR/NAME or set NCCADM_DB to DIR/NAME.",
                  kExitUsage);
  }
  return options_.database;
}

DatabasePlace SplitDatabase(const std::string& text) {
  const std::size_t slash = text.rfind('/');
  const bool bare = slash == std::string::npos;
  DatabasePlace place{bare ? "./" : text.substr(0, slash + 1),
                      bare ? text : text.substr(slash + 1)};
  if (place.name.empty()) {
    throw Failure(fmt::format("\"{}\" is a folder and no database", text),
                  fmt::format("Add the name of the database: {}NAME", place.folder), kExitUsage);
  }
  return place;
}

void Session::OnlyRead() {
  only_reads_ = true;
  if (!in_unit_) output_.Mute(false);  // there is nothing to try
}

Failure Session::OpeningFailure() {
  const std::string& database = options_.database;
  const std::string reason = net_.LastError();
  const std::string text = fmt::format("{}: {}", database, reason);
  switch (LastFailure()) {
    case NCCFailure::kInUse:
      return Failure(text, "Let --wait SECONDS wait for it, or close what has it open.",
                     kExitInUse);
    case NCCFailure::kUnavailable:
      return Failure(text, kUnavailableHint);
    case NCCFailure::kMissing:
      return Failure(reason, fmt::format("To create it, type: nccadm --db {} init --network NUMBER",
                                         database));
    case NCCFailure::kDamaged:
      if (std::error_code error; std::filesystem::exists(DatabaseText() + ".cluster", error)) {
        return Failure(
            text, "A copy goes to another prefix in the cluster: 'nccadm cluster copy --help'.");
      }
      return Failure(
          text, fmt::format("To go back to a copy, type: nccadm --db {} restore BACKUP", database));
    default:
      return Failure(text);
  }
}

void Session::Obtain(const std::function<bool(const DatabasePlace&)>& open) {
  using Clock = std::chrono::steady_clock;
  if (!only_reads_) output_.LimitWaiting();
  const DatabasePlace place = Split();
  const auto end = Clock::now() + Wait();
  bool told = false;
  while (!open(place)) {
    const NCCFailure failure = LastFailure();
    if (failure == NCCFailure::kLossPossible) {
      const std::string loss = net_.LastError();
      Confirm(fmt::format("{}; \"nccadm restore BACKUP\" goes back to a copy", loss));
      output_.Warn(loss);
      net_.AcceptLoss(true);
      continue;
    }
    const bool may_pass = failure == NCCFailure::kInUse || failure == NCCFailure::kUnavailable;
    if (!may_pass || Clock::now() >= end) throw OpeningFailure();
    if (!std::exchange(told, true)) {
      output_.Say(
          fmt::format("Waiting up to {} s: {}", Wait().count(), Printable(net_.LastError())));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  net_.AcceptLoss(false);
  open_ = true;
  may_have_changed_ = may_have_changed_ || !only_reads_;
}

std::chrono::seconds Session::Wait() const {
  return std::chrono::seconds(options_.wait.value_or(IsTerminal(Stream::kError) ? 10 : 0));
}

void Session::NameOrigin() {
  net_.SetOrigin(options_.person.empty() ? nullptr : options_.person.c_str(),
                 options_.command.c_str());
}

void Session::TellRevision(const DatabasePlace& place) {
  const std::string holder = DatabaseOwner(place.folder.c_str(), place.name.c_str());
  if (holder.empty()) return;
  output_.Warn(fmt::format("The database is in use by {}; this is its revision {}.",
                           Printable(holder), net_.GetRevision()));
}

CNCCNet& Session::Net() {
  if (open_) return net_;
  Obtain([this](const DatabasePlace& place) {
    const char* const folder = place.folder.c_str();
    if (!only_reads_) return net_.Open(folder, place.name.c_str());
    return net_.OpenSnapshot(folder, place.name.c_str());
  });
  if (only_reads_) TellRevision(Split());
  NameOrigin();
  if (!options_.at.empty()) GoTo(options_.at);
  if (options_.dry_run && !only_reads_) BeginUnit();
  return net_;
}

void Session::SetCommand(const std::string& command) {
  if (in_unit_) return;
  options_.command = command;
  NameOrigin();
}

CNCCNet& Session::OpenStandby() {
  std::error_code error;
  const bool has_file = std::filesystem::exists(DatabaseText() + ".db", error);
  if (has_file && !std::filesystem::exists(DatabaseText() + ".cluster", error)) {
    throw Failure(
        fmt::format("{} is a file of this machine: there is no owner to follow", DatabaseText()),
        "'nccadm cluster init' and 'nccadm cluster copy' bring it into a cluster.");
  }
  Obtain([this](const DatabasePlace& place) {
    return net_.OpenStandby(place.folder.c_str(), place.name.c_str());
  });
  NameOrigin();
  return net_;
}

void Session::Close() {
  net_.Close();
  open_ = false;
}

void Session::GoTo(const std::string& at) {
  if (!only_reads_) {
    throw Failure("--at shows the network as it was; this command takes it as it is",
                  "Leave --at out; 'nccadm undo' takes changes back.", kExitUsage);
  }
  const std::uint64_t revision = RevisionOf(at);
  ShowRevision(revision);
  output_.Say(fmt::format("This is revision {}.", revision));
}

std::uint64_t Session::RevisionOf(const std::string& text) {
  const std::uint64_t revision = RevisionOrNone(text);
  if (revision != 0) return revision;
  throw Failure(fmt::format("nothing is known of {}", LocalTime(*ParseTime(text, Now()))),
                "'nccadm log' shows how far the history goes back.");
}

std::uint64_t Session::RevisionOrNone(const std::string& text) {
  const std::uint64_t now = net_.GetRevision();
  if (const auto number = ParseNumber(text, std::numeric_limits<std::int64_t>::max())) {
    if (*number >= 1 && *number <= now) return *number;
    throw Failure(fmt::format("there is no revision {}; the last is {}", *number, now));
  }
  const auto time = ParseTime(text, Now());
  if (!time) {
    throw Failure(fmt::format("\"{}\" is no revision and no time", text),
                  "Give a number ('nccadm log' shows them), a time such as 2026-03-01 or "
                  "'2026-03-01 14:02', or how long ago: 90m, 3h, 2d.",
                  kExitUsage);
  }
  return net_.GetRevisionAt(*time);
}

void Session::ShowRevision(std::uint64_t revision) {
  if (!net_.ShowRevision(revision))
    throw Refusal(fmt::format("revision {} cannot be shown", revision));
}

void Session::BeginUnit() {
  if (!Net().BeginBatch()) throw Refusal("the changes cannot begin");
  in_unit_ = true;
}

std::vector<std::uint32_t> Session::ChangedObjects() {
  std::vector<std::uint32_t> objects;
  net_.GetChangedObjects(objects);
  return objects;
}

void Session::EndUnit(bool keep) {
  in_unit_ = false;
  if (net_.EndBatch(keep) || !keep) return;
  const bool is_known = LastFailure() != NCCFailure::kNotKnown;
  throw Refusal(is_known ? "the changes could not be stored, nothing was changed"
                         : "no answer came when the changes were stored");
}

Session::Copy Session::CheckCopy(const std::string& copy) {
  CNetPref preferences;
  const std::uint64_t revision = CheckBackup(copy.c_str(), &preferences);
  if (revision == 0) {
    throw Failure(fmt::format("{} cannot be used: {}", copy, net_.LastError()),
                  "Nothing was changed; give another copy.");
  }
  return {revision, preferences.net_number};
}

CDatabaseStatus Session::Status() {
  CDatabaseStatus status;
  Obtain([&](const DatabasePlace& place) {
    if (GetDatabaseStatus(place.folder.c_str(), place.name.c_str(), status)) return true;
    const NCCFailure failure = LastFailure();
    const bool is_told = (failure == NCCFailure::kUnavailable || failure == NCCFailure::kMissing) &&
                         !status.nodes.empty();
    if (is_told) output_.Warn(net_.LastError());
    return is_told;
  });
  open_ = false;
  return status;
}

Failure Session::CopyingFailure(const std::string& from, const std::string& to) {
  const std::string text = fmt::format("{} cannot be copied to {}: {}", from, to, net_.LastError());
  if (LastFailure() == NCCFailure::kInUse) return Failure(text, {}, kExitInUse);
  if (LastFailure() != NCCFailure::kNotKnown) return Failure(text, "Nothing was copied.");
  return Failure(text,
                 fmt::format("'nccadm --db {} cluster status' tells whether it is there.", to),
                 kExitNotKnown);
}

bool Session::Peek(CNCCNet& net) const {
  const DatabasePlace place = Split();
  net.AcceptLoss(true);
  return net.OpenSnapshot(place.folder.c_str(), place.name.c_str());
}

std::string Session::Restore(const std::string& copy) {
  std::string kept;
  Obtain([&](const DatabasePlace& place) {
    return RestoreBackup(place.folder.c_str(), place.name.c_str(), copy.c_str(), kept);
  });
  open_ = false;
  return kept;
}

View& Session::Shown() {
  if (!shown_) shown_ = std::make_unique<OwnView>(Net());
  return *shown_;
}

void Session::SetShown(std::unique_ptr<View> view) { shown_ = std::move(view); }

CNCCNet& Session::Create(std::uint32_t network) {
  Obtain([&](const DatabasePlace& place) {
    NameOrigin();
    return net_.Create(place.folder.c_str(), place.name.c_str(), network);
  });
  return net_;
}

void Session::FixDatabasePath() {
  options_.database = std::filesystem::absolute(DatabaseText()).string();
}

const Applications& Session::Apps() {
  if (!applications_) {
    std::list<std::string> names;
    net_.GetAPP(0, names);
    applications_ =
        std::make_unique<Applications>(std::vector<std::string>(names.begin(), names.end()));
  }
  return *applications_;
}

Failure Session::Refusal(std::string_view what) {
  const std::string reason = net_.LastError();
  const std::string text = reason.empty() ? std::string(what) : fmt::format("{}: {}", what, reason);
  switch (LastFailure()) {
    case NCCFailure::kUnavailable:
      return Failure(text, kUnavailableHint);
    case NCCFailure::kNotOwner:
      return Failure(text, "Nothing was changed. 'nccadm cluster status' shows who owns it now.",
                     kExitInUse);
    case NCCFailure::kNotKnown:
      return Unsettled(text);
    default:
      return Failure(text);
  }
}

Failure Session::Unsettled(const std::string& text) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::seconds(options_.wait.value_or(10));
  NCCOutcome outcome = net_.Settle();
  while (outcome == NCCOutcome::kNotKnown && LastFailure() != NCCFailure::kNotOwner &&
         Clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    outcome = net_.Settle();
  }
  if (outcome == NCCOutcome::kStored) {
    return Failure(fmt::format("{}. It is stored, as revision {}", text, net_.GetRevision()),
                   "The rest of the command was not done; 'nccadm log' shows what was.",
                   kExitPartly);
  }
  if (outcome == NCCOutcome::kNotStored)
    return Failure(text + ". It is not stored", "Nothing was changed: try it again.");
  return Failure(text, "'nccadm log' tells once the database answers; do not repeat it before.",
                 kExitNotKnown);
}

void Session::Confirm(const std::string& question) {
  if (options_.yes || options_.dry_run) return;
  if (!IsTerminal(Stream::kInput) || !IsTerminal(Stream::kError)) {
    throw Failure(question, "Add --yes if that is meant; nothing was changed.");
  }
  if (!AskYesNo(question + ". Go on?")) throw Failure("not confirmed; nothing was changed");
}

void Session::ConfirmReplacing(const std::string& file) {
  namespace fs = std::filesystem;
  std::error_code error;
  // Also of a file that is not there yet.
  const auto place_of = [&](const fs::path& path) {
    const fs::path whole = fs::absolute(path, error);
    return fs::weakly_canonical(whole.parent_path(), error) / whole.filename();
  };
  for (const char* suffix : {".db", ".db-wal", ".db-journal", ".lock", ".cluster"}) {
    const std::string own = options_.database + suffix;
    if (fs::equivalent(own, file, error) || place_of(own) == place_of(file)) {
      throw Failure(fmt::format("{} belongs to the database itself", file), "Give another file.");
    }
  }
  if (fs::is_regular_file(file, error)) {
    Confirm(fmt::format("the file {} exists and would be replaced", file));
  }
}

Batch::Batch(Session& session) : session_(session) {
  session.Net();  // with it a unit of the session may begin
  running_ = !session.IsInUnit();
  if (running_) session.BeginUnit();
}

Batch::~Batch() {
  if (running_) session_.EndUnit(false);
}

void Batch::Store() {
  if (std::exchange(running_, false)) session_.EndUnit(true);
}

}  // namespace ncc::tool
