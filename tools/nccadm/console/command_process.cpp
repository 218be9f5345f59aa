#include "console/command_process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "console/failure.h"

namespace ncc::tool {
namespace {

constexpr std::array<int, 2> kKeys = {SIGINT, SIGQUIT};
constexpr int kSignalBase = 128;

// While one lives, the keys are nothing to this process.
class KeysIgnored {
 public:
  KeysIgnored() {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    for (std::size_t i = 0; i < kKeys.size(); ++i) sigaction(kKeys[i], &ignore, &before_[i]);
  }
  ~KeysIgnored() {
    for (std::size_t i = 0; i < kKeys.size(); ++i) sigaction(kKeys[i], &before_[i], nullptr);
  }
  KeysIgnored(const KeysIgnored&) = delete;
  KeysIgnored& operator=(const KeysIgnored&) = delete;

  // Those that were not ignored before.
  sigset_t Minded() const {
    sigset_t keys;
    sigemptyset(&keys);
    for (std::size_t i = 0; i < kKeys.size(); ++i) {
      if (before_[i].sa_handler != SIG_IGN) sigaddset(&keys, kKeys[i]);
    }
    return keys;
  }

 private:
  std::array<struct sigaction, kKeys.size()> before_ = {};
};

pid_t Start(const std::vector<std::string>& arguments, CommandInput input, const sigset_t& minded) {
  std::vector<std::string> words = {"nccadm"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_t actions;
  posix_spawnattr_init(&attributes);
  posix_spawn_file_actions_init(&actions);
  posix_spawnattr_setsigdefault(&attributes, &minded);
  sigset_t blocked;
  pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
  for (const int key : kKeys) sigdelset(&blocked, key);
  posix_spawnattr_setsigmask(&attributes, &blocked);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  if (input == CommandInput::kNone) {
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  }
  pid_t process = 0;
  const int error =
      posix_spawn(&process, "/proc/self/exe", &actions, &attributes, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) {
    throw Failure(fmt::format("the command could not begin: {}", std::strerror(error)));
  }
  return process;
}

}  // namespace

int RunCommand(const std::vector<std::string>& arguments, CommandInput input) {
  for (const std::string& argument : arguments) {
    if (argument.find('\0') == std::string::npos) continue;
    throw Failure("a word holds a zero byte", {}, kExitUsage);
  }
  std::fflush(stdout);
  const KeysIgnored ignored;
  const pid_t process = Start(arguments, input, ignored.Minded());
  int status = 0;
  while (waitpid(process, &status, 0) == -1) {
    if (errno != EINTR) throw Failure(fmt::format("the command is lost: {}", std::strerror(errno)));
  }
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  const int number = WTERMSIG(status);
  throw Failure(fmt::format("the command was ended by signal {} ({})", number, strsignal(number)),
                {}, kSignalBase + number);
}

}  // namespace ncc::tool
