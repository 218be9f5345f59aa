#include "console/program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <array>
#include <cerrno>
#include <cstring>

#include <fmt/format.h>

#include "console/failure.h"
#include "console/text.h"

namespace ncc::tool {
namespace {

constexpr std::size_t kMostToldBytes = 4096;

class Streams {
 public:
  Streams() {
    if (pipe2(ends_.data(), O_CLOEXEC) != 0)
      throw Failure(fmt::format("no pipe can be made: {}", std::strerror(errno)));
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions_, ends_[1], STDERR_FILENO);
  }
  ~Streams() {
    posix_spawn_file_actions_destroy(&actions_);
    for (const int end : ends_) {
      if (end >= 0) close(end);
    }
  }
  Streams(const Streams&) = delete;
  Streams& operator=(const Streams&) = delete;

  const posix_spawn_file_actions_t* Actions() const { return &actions_; }

  // What the program tells until it ends.
  std::string ReadAll() {
    close(ends_[1]);
    ends_[1] = -1;
    std::string told;
    std::array<char, 512> part;
    for (;;) {
      const ssize_t count = read(ends_[0], part.data(), part.size());
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return told;
      if (told.size() < kMostToldBytes) told.append(part.data(), static_cast<std::size_t>(count));
    }
  }

 private:
  std::array<int, 2> ends_ = {-1, -1};
  posix_spawn_file_actions_t actions_{};
};

}  // namespace

void RunProgram(const std::vector<std::string>& words, const std::string& package) {
  Streams streams;
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  pid_t pid = 0;
  const int error =
      posix_spawnp(&pid, arguments[0], streams.Actions(), nullptr, arguments.data(), environ);
  if (error != 0) {
    throw Failure(fmt::format("{} cannot be run: {}", words[0], std::strerror(error)),
                  fmt::format("The package {} has it.", package));
  }
  const std::string told = streams.ReadAll();
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return;
  throw Failure(fmt::format("{} failed: {}", words[0], Printable(told)));
}

}  // namespace ncc::tool
