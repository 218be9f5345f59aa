// A process of its own that owns a database and commits to it on and on.
#pragma once

#include "platform/cluster/etcd_settings.h"
#include "soak/ledger.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

// What became of an attempt, as its owner was told by the engine.
struct Report {
  enum class Fate : std::uint64_t { kStored, kFoundStored, kNotStored };
  Fate fate;
  std::uint64_t revision;
  Tag tag;
};

class OwnerProcess {
 public:
  // How it ends when another owns the database, and when anything else is wrong.
  static constexpr int kFenced = 7;
  static constexpr int kFailed = 8;
  static constexpr Tag kFirstTag = 1000;

  explicit OwnerProcess(const ncc::etcd::EtcdSettings& settings);
  ~OwnerProcess();
  OwnerProcess(const OwnerProcess&) = delete;
  OwnerProcess& operator=(const OwnerProcess&) = delete;

  // SIGUSR1 lets its clock jump, see RunOwner.
  void Signal(int number) const;
  void Kill();
  bool IsKilled() const { return is_killed_; }

  // What it has told up to now.
  const std::vector<Report>& Reports();
  // How it has ended; nothing when it goes on.
  std::optional<int> WaitForEnd(std::chrono::milliseconds wait);

 private:
  void Read();

  pid_t process_ = 0;
  int told_ = -1;
  bool is_killed_ = false;
  std::vector<Report> reports_;
};

// The program of that process, for the arguments that OwnerProcess gives it.
constexpr const char* kOwnerCommand = "--be-the-owner";
int RunOwner(const std::vector<std::string>& arguments);
