#include "soak/jumping_clock.h"

#include <atomic>
#include <csignal>
#include <ctime>

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr long kDay = 86400;
std::atomic<long> jumped{0};  // seconds

extern "C" void NccJump(int) { jumped = jumped > 0 ? -kDay : kDay; }

}  // namespace

// In place of those of the C library, for all that this process has loaded.
extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  const long result = ::syscall(SYS_clock_gettime, clock, now);
  if (result == 0 && clock == CLOCK_REALTIME) now->tv_sec += jumped;
  return static_cast<int>(result);
}

extern "C" std::time_t time(std::time_t* at) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (at != nullptr) *at = now.tv_sec;
  return now.tv_sec;
}

extern "C" int gettimeofday(timeval* at, void*) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  *at = {now.tv_sec, now.tv_nsec / 1000};
  return 0;
}

void LetClockJumpAt(int signal) { std::signal(signal, &NccJump); }
