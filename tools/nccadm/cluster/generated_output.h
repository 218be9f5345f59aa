// The generated files of a standby: its own, made from what it follows, so that they are ready when
// it takes over.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "console/output.h"
#include "console/program.h"

namespace ncc::tool {

// Runs 'nccadm generate all --changed' beside the standby, which goes on to follow meanwhile. One
// run follows many changes in a row.
class GeneratedOutput {
 public:
  struct Place {
    std::string folder;
    std::string key;  // the file of the stamping key; empty: the one of the environment
    bool unstamped = false;
    unsigned mode = 0;
  };

  GeneratedOutput(Output& out, std::string database, Place place);

  // The network has changed.
  void Note();
  // To be called again and again: begins a run when it is time, and tells how the last has ended.
  void Look();

 private:
  using Clock = std::chrono::steady_clock;

  void Begin();
  void End();

  Output& out_;
  const std::string database_;
  const Place place_;
  bool is_behind_ = true;
  Clock::time_point first_;  // of the changes that wait for a run
  Clock::time_point last_;
  std::unique_ptr<Program> run_;
};

}  // namespace ncc::tool
