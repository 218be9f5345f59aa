#include "console/terminal.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <future>
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
  sigemptyset(&requests_);
  for (const int number : {SIGINT, SIGTERM}) {
    struct sigaction present = {};
    sigaction(number, nullptr, &present);
    // A shell starts background jobs with the key ignored; that stays so.
    if (present.sa_handler != SIG_IGN) sigaddset(&requests_, number);
  }
  // For this thread and all that it starts: the requests come to the one that waits for them.
  signals_ = requests_;
  sigaddset(&signals_, kWakeUp);
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
    if (!marks_only && End()) _exit(kExitInterrupted);
  }
}

bool InterruptWatch::End() const {
  const auto is_asked_again = [this] {
    const timespec no_time = {};
    return sigtimedwait(&requests_, nullptr, &no_time) > 0;
  };
  std::future<bool> end = std::async(std::launch::async, end_);
  auto state = end.wait_for(std::chrono::seconds(1));
  while (is_asked_again()) {
    // Some send one request twice: to the process and to its group.
  }
  while (state != std::future_status::ready) {
    if (is_asked_again()) _exit(kExitInterrupted);
    state = end.wait_for(std::chrono::milliseconds(50));
  }
  return end.get();
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
