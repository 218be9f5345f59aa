#include "platform/process.h"

#include <array>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <pwd.h>
#include <unistd.h>

namespace ncc {

std::string UserOfProcess() {
  std::array<char, 4096> room{};
  passwd entry{};
  passwd* found = nullptr;
  const uid_t user = ::geteuid();
  if (::getpwuid_r(user, &entry, room.data(), room.size(), &found) == 0 && found != nullptr)
    return found->pw_name;
  return std::to_string(user);
}

std::string ProgramOfProcess() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).filename().string();
}

std::string CommandOfThisProcess() {
  constexpr std::streamsize kMaxCommand = 200;
  std::string command(static_cast<std::size_t>(kMaxCommand), '\0');
  std::ifstream in("/proc/self/cmdline", std::ios::binary);
  in.read(command.data(), kMaxCommand);
  command.resize(static_cast<std::size_t>(in.gcount()));
  while (!command.empty() && command.back() == '\0') command.pop_back();
  for (char& c : command) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7F') c = ' ';
  }
  return command;
}

std::string DescribeThisProcess() {
  return "process " + std::to_string(::getpid()) + " (" + CommandOfThisProcess() + ")";
}

std::string HostName() {
  std::array<char, 256> name{};
  if (::gethostname(name.data(), name.size() - 1) != 0) return "an unknown machine";
  return name.data();
}

std::string LocalTime(std::int64_t seconds) {
  const auto time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  std::array<char, 32> text{};
  if (::localtime_r(&time, &parts) == nullptr) return {};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &parts);
  return text.data();
}

std::int64_t MicrosecondsNow() {
  using std::chrono::duration_cast;
  using std::chrono::microseconds;
  return duration_cast<microseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace ncc
