#include "console/terminal.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <iostream>

#include <fcntl.h>
#include <unistd.h>

#include "console/failure.h"

namespace ncc::tool {
namespace {

std::atomic<int> g_guards = 0;
std::atomic<bool> g_asked = false;

constexpr int kWakeUp = SIGUSR1;

}  // namespace

void PrepareStreams() {
  // Opened the wrong way round on purpose: reading from or writing to a closed stream has to fail.
  constexpr std::array<int, 3> kModes = {O_WRONLY, O_RDONLY, O_RDONLY};
  for (int descriptor = 0; descriptor < 3; ++descriptor) {
    if (fcntl(descriptor, F_GETFD) != -1) continue;
    if (open("/dev/null", kModes[static_cast<std::size_t>(descriptor)]) != descriptor) {
      throw Failure("a standard stream is closed and /dev/null cannot be opened");
    }
  }
  std::signal(SIGPIPE, SIG_IGN);
}

bool IsTerminal(Stream stream) { return isatty(static_cast<int>(stream)) == 1; }

bool AskYesNo(const std::string& question) {
  std::fprintf(stderr, "%s [y/N] ", question.c_str());
  std::fflush(stderr);
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

InterruptWatch::InterruptWatch(std::function<bool()> end) : end_(std::move(end)) {
  sigemptyset(&signals_);
  sigaddset(&signals_, kWakeUp);
  for (const int number : {SIGINT, SIGTERM}) {
    struct sigaction present = {};
    sigaction(number, nullptr, &present);
    // A shell starts background jobs with the key ignored; that stays so.
    if (present.sa_handler != SIG_IGN) sigaddset(&signals_, number);
  }
  // For this thread and all that it starts: the requests come to the one that waits for them.
  pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  thread_ = std::thread([this] { Run(); });
}

InterruptWatch::~InterruptWatch() {
  pthread_kill(thread_.native_handle(), kWakeUp);
  thread_.join();
}

void InterruptWatch::Run() const {
  for (int number = 0; sigwait(&signals_, &number) == 0 && number != kWakeUp;) {
    const bool marks_only = g_guards > 0 && !g_asked.exchange(true);
    if (!marks_only && end_()) _exit(kExitInterrupted);
  }
}

InterruptGuard::InterruptGuard() { ++g_guards; }

InterruptGuard::~InterruptGuard() { --g_guards; }

bool InterruptGuard::IsAsked() const { return g_asked; }

void InterruptGuard::Check() const {
  if (IsAsked()) {
    throw Failure("interrupted; nothing was changed", {}, kExitInterrupted);
  }
}

}  // namespace ncc::tool
