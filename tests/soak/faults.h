// The faults that a round is about.
#pragma once

#include "soak/scene.h"

#include <string>
#include <vector>

class Fault {
 public:
  virtual ~Fault() = default;

  virtual void Strike(Scene& scene) = 0;
  // All is well again.
  virtual void Heal(Scene& scene) { static_cast<void>(scene); }

  // Whether the owner goes on after it, so that only force or its end takes the database from it.
  virtual bool IsSurvived() const { return false; }
  // Whether the owner needs it healed before it goes on.
  virtual bool IsHealedFirst() const { return false; }
  // What is amiss with what it has left.
  virtual void Check(Scene& scene, const std::vector<ncc::HistoryEntry>& history) {
    static_cast<void>(scene);
    static_cast<void>(history);
  }
};

struct FaultKind {
  const char* name;
  std::unique_ptr<Fault> (*make)();
  bool needs_machines = false;
};

const std::vector<FaultKind>& FaultKinds();
