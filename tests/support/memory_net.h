// A network object over an engine in memory that fails when told to.
#pragma once

#include "net_access.h"
#include "network.h"
#include "tests/support/memory_engine.h"

#include <memory>
#include <string>

class MemoryNet {
 public:
  explicit MemoryNet(std::shared_ptr<ncc::MemoryStore> store = std::make_shared<ncc::MemoryStore>())
      : store_(std::move(store)) {
    NetAccess::UseEngines(net_, ncc::MemoryEngineFactory(store_));
  }

  CNCCNet& Net() { return net_; }
  ncc::MemoryStore& Store() { return *store_; }

  bool Create() { return net_.Create("memory", "net", 0x1A); }
  bool Open() { return net_.Open("memory", "net"); }
  bool OpenStandby() { return net_.OpenStandby("memory", "net"); }

  void FailNextCommit() { store_->FailCommit(store_->CommitCount() + 1); }
  void FailNextCommitButKeepIt() { store_->FailCommitButKeep(store_->CommitCount() + 1); }

 private:
  std::shared_ptr<ncc::MemoryStore> store_;
  CNCCNet net_;
};

// With the sample and its people in it.
struct SampleNet : MemoryNet {
  explicit SampleNet(std::shared_ptr<ncc::MemoryStore> store = std::make_shared<ncc::MemoryStore>())
      : MemoryNet(std::move(store)) {
    EXPECT_TRUE(Create()) << Net().LastError();
    BuildSample(Net());
    BuildPeople(Net());
  }
};
