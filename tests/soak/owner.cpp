#include "soak/owner.h"

#include "platform/cluster/etcd_engine.h"
#include "soak/jumping_clock.h"

#include <csignal>
#include <iostream>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

using ncc::StorageEngine;
using ncc::StorageError;
using ncc::etcd::EtcdSettings;
using std::chrono::milliseconds;

namespace {

using Fate = Report::Fate;

std::vector<std::string> ArgumentsFor(const EtcdSettings& settings) {
  std::vector<std::string> words{"owner", kOwnerCommand, settings.prefix,
                                 std::to_string(settings.lease.count()),
                                 std::to_string(settings.timeout.count())};
  for (const std::string& endpoint : settings.endpoints) words.push_back(endpoint);
  return words;
}

void Tell(const Report& report) {
  if (::write(STDOUT_FILENO, &report, sizeof report) != sizeof report) ::_exit(0);
}

// Whether the attempt is stored. Throws where another owns the database, and the attempt is lost
// sight of.
Fate Settle(StorageEngine& engine, const ListedChanges& changes) {
  for (;;) {
    try {
      const ncc::StoredState now = engine.Settle();
      return now.unit == changes.state.unit ? Fate::kFoundStored : Fate::kNotStored;
    } catch (const StorageError& error) {
      if (error.Kind() != NCCFailure::kUnavailable) throw;
    }
  }
}

// Throws where another owns the database.
Fate Attempt(StorageEngine& engine, const ListedChanges& changes) {
  try {
    engine.Commit(changes);
    return Fate::kStored;
  } catch (const StorageError& error) {
    switch (error.Kind()) {
      case NCCFailure::kNotKnown:
        return Settle(engine, changes);
      case NCCFailure::kUnavailable:
        return Fate::kNotStored;
      case NCCFailure::kNotOwner:
        Tell({Fate::kNotStored, changes.state.revision, changes.state.unit});
        throw;
      default:
        throw;
    }
  }
}

[[noreturn]] void CommitOnAndOn(StorageEngine& engine, std::uint64_t first) {
  Ledger ledger(LoadAll(engine));
  for (Tag tag = OwnerProcess::kFirstTag;; ++tag) {
    const ListedChanges changes = ledger.Next(tag, first);
    const Fate fate = Attempt(engine, changes);
    if (fate != Fate::kNotStored) ledger.Take(changes);
    Tell({fate, changes.state.revision, tag});
  }
}

}  // namespace

int RunOwner(const std::vector<std::string>& arguments) {
  LetClockJumpAt(SIGUSR1);
  EtcdSettings settings;
  settings.file = "soak.cluster";
  settings.prefix = arguments.at(0);
  settings.lease = std::chrono::seconds(std::stoi(arguments.at(1)));
  settings.timeout = std::chrono::seconds(std::stoi(arguments.at(2)));
  settings.endpoints.assign(arguments.begin() + 3, arguments.end());
  try {
    const auto engine = ncc::etcd::OpenEtcdEngine(settings, {ncc::OpenMode::kOpen});
    const std::uint64_t first = LoadAll(*engine).revision;
    CommitOnAndOn(*engine, first);
  } catch (const StorageError& error) {
    if (error.Kind() == NCCFailure::kNotOwner) return OwnerProcess::kFenced;
    std::cerr << "owner of " << settings.prefix << ": " << error.what() << "\n";
    return OwnerProcess::kFailed;
  }
}

OwnerProcess::OwnerProcess(const EtcdSettings& settings) {
  std::vector<std::string> words = ArgumentsFor(settings);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  process_ = ::fork();
  if (process_ == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(ends[1], STDOUT_FILENO);
    ::execv("/proc/self/exe", arguments.data());
    ::_exit(kFailed);
  }
  ::close(ends[1]);
  told_ = ends[0];
  ::fcntl(told_, F_SETFL, O_NONBLOCK);
  if (process_ < 0) throw std::runtime_error("no process");
}

OwnerProcess::~OwnerProcess() {
  Kill();
  ::close(told_);
}

void OwnerProcess::Signal(int number) const {
  if (process_ > 0) ::kill(process_, number);
}

void OwnerProcess::Kill() {
  const pid_t process = std::exchange(process_, 0);
  if (process <= 0) return;
  is_killed_ = true;
  ::kill(process, SIGKILL);
  ::waitpid(process, nullptr, 0);
}

void OwnerProcess::Read() {
  Report report{};
  while (::read(told_, &report, sizeof report) == sizeof report) reports_.push_back(report);
}

const std::vector<Report>& OwnerProcess::Reports() {
  Read();
  return reports_;
}

std::optional<int> OwnerProcess::WaitForEnd(milliseconds wait) {
  const auto end = std::chrono::steady_clock::now() + wait;
  for (int status = 0;;) {
    Read();  // or it would wait for place
    if (::waitpid(process_, &status, WNOHANG) == process_) {
      process_ = 0;
      return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    }
    if (std::chrono::steady_clock::now() >= end) return std::nullopt;
    std::this_thread::sleep_for(milliseconds(10));
  }
}
