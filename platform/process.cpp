#include "platform/process.h"

#include <array>
#include <chrono>
#include <filesystem>
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

std::int64_t MicrosecondsNow() {
  using std::chrono::duration_cast;
  using std::chrono::microseconds;
  return duration_cast<microseconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace ncc
