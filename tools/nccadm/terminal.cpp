#include "terminal.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <iostream>

#include <fcntl.h>
#include <unistd.h>

#include "failure.h"

namespace ncc::tool {
namespace {

volatile std::sig_atomic_t g_interrupted = 0;

constexpr std::array<int, 2> kSignals = {SIGINT, SIGTERM};

extern "C" void MarkInterrupted(int number) {
  g_interrupted = 1;
  std::signal(number, SIG_DFL);
}

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

InterruptGuard::InterruptGuard() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    previous_[i] = std::signal(kSignals[i], MarkInterrupted);
    // A shell starts background jobs with the key ignored; that stays so.
    if (previous_[i] == SIG_IGN) std::signal(kSignals[i], SIG_IGN);
  }
}

InterruptGuard::~InterruptGuard() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    if (previous_[i] != SIG_ERR) std::signal(kSignals[i], previous_[i]);
  }
}

bool InterruptGuard::IsAsked() const { return g_interrupted != 0; }

void InterruptGuard::Check() const {
  if (IsAsked()) {
    throw Failure("interrupted; nothing was changed", {}, kExitInterrupted);
  }
}

}  // namespace ncc::tool
