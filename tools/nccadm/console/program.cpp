#include "console/program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <thread>

#include <fmt/format.h>

#include "console/failure.h"
#include "console/text.h"

namespace ncc::tool {
namespace {

constexpr std::size_t kMostToldBytes = 4096;

// How the program begins: with streams of its own, and with the signals as the system has them,
// since this tool keeps some from its threads.
class Beginning {
 public:
  explicit Beginning(int words) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (words >= 0) posix_spawn_file_actions_adddup2(&actions_, words, STDERR_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, STDERR_FILENO, STDOUT_FILENO);
    posix_spawnattr_init(&attributes_);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &all);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~Beginning() {
    posix_spawnattr_destroy(&attributes_);
    posix_spawn_file_actions_destroy(&actions_);
  }
  Beginning(const Beginning&) = delete;
  Beginning& operator=(const Beginning&) = delete;

  const posix_spawn_file_actions_t* Actions() const { return &actions_; }
  const posix_spawnattr_t* Attributes() const { return &attributes_; }

 private:
  posix_spawn_file_actions_t actions_{};
  posix_spawnattr_t attributes_{};
};

std::vector<char*> PointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> EnvironmentWith(const std::vector<std::string>& added) {
  const auto is_replaced = [&](std::string_view entry) {
    const std::string_view name = entry.substr(0, entry.find('=') + 1);
    return std::any_of(added.begin(), added.end(),
                       [name](const std::string& other) { return other.starts_with(name); });
  };
  std::vector<std::string> all = added;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (!is_replaced(*entry)) all.emplace_back(*entry);
  }
  return all;
}

}  // namespace

Program::Program(const std::vector<std::string>& arguments, ProgramWords words,
                 const std::vector<std::string>& added)
    : name_(arguments.at(0)) {
  if (words == ProgramWords::kKept) words_ = memfd_create("words", MFD_CLOEXEC);
  const Beginning beginning(words_);
  const std::vector<std::string> environment = EnvironmentWith(added);
  const int error = posix_spawnp(&pid_, name_.c_str(), beginning.Actions(), beginning.Attributes(),
                                 PointersTo(arguments).data(), PointersTo(environment).data());
  if (error == 0) return;
  if (words_ >= 0) close(words_);
  throw Failure(fmt::format("{} cannot be run: {}", name_, std::strerror(error)));
}

Program::~Program() {
  constexpr std::chrono::milliseconds kLook(20);
  constexpr int kLooks = 250;
  if (IsRunning()) kill(pid_, SIGTERM);
  for (int i = 0; i < kLooks && IsRunning(); ++i) std::this_thread::sleep_for(kLook);
  if (IsRunning()) kill(pid_, SIGKILL);
  Wait();
  if (words_ >= 0) close(words_);
}

bool Program::HasEnded(bool wait) {
  while (!ended_) {
    const pid_t found = waitpid(pid_, &status_, wait ? 0 : WNOHANG);
    ended_ = found == pid_ || (found < 0 && errno != EINTR);
    if (found == 0) return false;
  }
  return true;
}

std::string Program::Fault() const {
  if (WIFEXITED(status_) && WEXITSTATUS(status_) == 0) return {};
  std::string fault = WIFEXITED(status_)
                          ? fmt::format("{} ended with {}", name_, WEXITSTATUS(status_))
                          : fmt::format("{} was ended by signal {}", name_, WTERMSIG(status_));
  std::array<char, kMostToldBytes> told;
  const ssize_t count = words_ >= 0 ? pread(words_, told.data(), told.size(), 0) : 0;
  if (count > 0) {
    std::string text(told.data(), static_cast<std::size_t>(count));
    text.erase(text.find_last_not_of(" \n") + 1);
    fault += ": " + Printable(text);
  }
  return fault;
}

void RequireProgram(const std::string& name) {
  const auto is_program = [](const std::string& file) {
    std::error_code error;
    return std::filesystem::is_regular_file(file, error) && access(file.c_str(), X_OK) == 0;
  };
  bool is_found = name.find('/') != std::string::npos && is_program(name);
  const char* const path = std::getenv("PATH");
  if (name.find('/') == std::string::npos && path != nullptr) {
    std::istringstream folders(path);
    for (std::string folder; !is_found && std::getline(folders, folder, ':');)
      is_found = is_program(folder + "/" + name);
  }
  if (is_found) return;
  throw Failure(fmt::format("{} is no program that can be run", Printable(name)),
                "Give its path; it has to be executable, and a script begins with #!.", kExitUsage);
}

void RunProgram(const std::vector<std::string>& arguments, const std::string& package) {
  std::string fault;
  try {
    Program program(arguments, ProgramWords::kKept);
    program.Wait();
    fault = program.Fault();
  } catch (const Failure& failure) {
    throw Failure(failure.what(), fmt::format("The package {} has it.", package));
  }
  if (!fault.empty()) throw Failure(fault);
}

}  // namespace ncc::tool
