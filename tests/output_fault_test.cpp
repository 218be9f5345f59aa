// Generating while the system fails it: memory that is short, files that cannot be read, and the
// end of the process.
#include "support/net_access.h"
#include "support/no_memory.h"
#include "support/outputs.h"

#include <atomic>
#include <cstdlib>
#include <functional>
#include <thread>
#include <utility>

#include <unistd.h>

namespace {

namespace fs = std::filesystem;

using OutputFaults = OutputTest;

using Ids = std::list<unsigned long>;

struct Step {
  const char* name;
  std::function<void(CNCCNet&, Ids)> run;
  Ids nodes = {};
};

const std::vector<Step>& Steps() {
  static const Ids aps = {0xC, 0xD};
  static const std::vector<Step> steps = {
      {"GenApa", [](CNCCNet& n, Ids) { n.GenApa("out/APDB/A/"); }},
      {"GenApc", [](CNCCNet& n, Ids) { n.GenApc("out/APDB/C/"); }},
      {"GenApn", [](CNCCNet& n, Ids) { n.GenApn("out/APDB/N/", 200); }},
      {"GenApu", [](CNCCNet& n, Ids) { n.GenApu("out/APDB/U/"); }},
      {"GenMAPApa", [](CNCCNet& n, Ids) { n.GenMAPApa("out/MAP/"); }},
      {"GenAPDB", [](CNCCNet& n, Ids) { n.GenAPDB("out", 200); }},
      {"GenAPDB+", [](CNCCNet& n, Ids i) { n.GenAPDB("out/APDB", 200, std::move(i)); }, aps},
      {"GenApa+", [](CNCCNet& n, Ids i) { n.GenApa("out/APDB", std::move(i)); }, aps},
      {"GenApnCrc+", [](CNCCNet& n, Ids i) { n.GenApnCrc("out/APDB", std::move(i)); }, aps},
      {"GenApnCrg+", [](CNCCNet& n, Ids i) { n.GenApnCrg("out/APDB", std::move(i)); }, aps},
      {"GenMAP", [](CNCCNet& n, Ids) { n.GenMAP("out", 200); }},
      {"GenMAP+", [](CNCCNet& n, Ids i) { n.GenMAP("out/MAP", 200, std::move(i)); }, {9, 10}},
      {"GenRoutingTables", [](CNCCNet& n, Ids) { n.GenRoutingTables("out"); }},
      {"ExportForKC", [](CNCCNet& n, Ids) { n.ExportForKC(true, "kc"); }},
      {"GetImito",
       [](CNCCNet& n, Ids) {
         char line[100];
         n.GetImito("./out/APDB/a name of more than fifteen bytes", line);
         EXPECT_STREQ(line, "A NAME OF MORE THAN FIFTEEN BYTES=00000000\n");
       }},
  };
  return steps;
}

// A step that runs out of memory ends as described and tells it; the next run of it, of the same
// network, makes the right files.
TEST_F(OutputFaults, WantOfMemoryPassesWithItsRun) {
  UseKey(std::string(32, 'k'));
  net_.GetUpdateManager()->WriteCRC(false);
  GenerateAll();
  ASSERT_TRUE(net_.GenMAP("out", 200) && net_.ExportForKC(true, "kc")) << net_.LastError();
  const Files whole = FilesBelow(".");
  for (const Step& step : Steps()) {
    SCOPED_TRACE(step.name);
    long allowed = 0;
    for (bool ended = false; !ended && !HasFailure(); allowed += 1 + allowed / 10) {
      // So that nothing is composed yet.
      ASSERT_TRUE(net_.ModifyAB(0x1C, "x") && net_.ModifyAB(0x1C, "twice at Alpha"));
      Ids nodes = step.nodes;
      AllowAllocations(allowed);
      EXPECT_NO_THROW(step.run(net_, std::move(nodes)));
      AllowAllocations(-1);
      ended = *net_.LastError() == '\0';
      if (!ended) step.run(net_, step.nodes);
      EXPECT_STREQ(net_.LastError(), "");
      EXPECT_EQ(Differences(whole, FilesBelow(".")), "") << allowed;
    }
    EXPECT_GT(allowed, 2);
  }
}

TEST_F(OutputFaults, APackageOfAFileThatCannotBeReadIsNotMade) {
  Files expected = LoadNetworkFiles();
  Put(expected);
  net_.APDBPath("out/APDB/");
  net_.MAPPath("out/MAP/");
  std::vector<std::string> failed;
  net_.SetFileObserver([&](const CFileEvent& event) {
    if (event.failure == nullptr) return;
    failed.push_back(event.path + (" of " + std::to_string(event.node) + ": ") + event.failure);
  });
  fs::remove("out/APDB/U/apu000C.txt");
  fs::create_symlink("apu000C.txt", "out/APDB/U/apu000C.txt");
  fs::remove("out/MAP/node9.tun");
  fs::create_directory("out/MAP/node9.tun");
  fs::remove_all("kc/AAA");
  Put({{"kc/AAA/001A000C.aaf", "as it was"}});
  EXPECT_TRUE(net_.GenFullDistr("kc"));
  EXPECT_NE(std::string(net_.LastError()).find("node9.tun is no plain file"), std::string::npos);
  ASSERT_EQ(failed.size(), 2U);
  EXPECT_TRUE(failed[1].starts_with("kc\\AAA\\001A000C.aaf of 12: package ")) << failed[1];
  EXPECT_NE(failed[1].find("apu000C.txt cannot be read: Too many levels"), std::string::npos);
  expected["kc/AAA/001A000C.aaf"] = "as it was";
  expected.erase("kc/AAA/001A0009.aaf");
  EXPECT_EQ(Differences(Only(expected, "kc/AAA/"), FilesBelow("kc/AAA")), "");
}

// Made before all that is made while it runs, so it goes after that.
CNCCNet at_exit;
std::atomic<bool> is_generating = false;

class ExitStamps : public LengthStamps {
 public:
  ~ExitStamps() override {
    if (is_generating) ::_exit(3);
  }
};

TEST_F(OutputFaults, APoolThatGeneratesAtExitHasItsStamps) {
  const auto generate = [](void*) -> unsigned long {
    while (!NetAccess::IsStopGen(at_exit)) {
      at_exit.GenMAPNodeReg("./");
      is_generating = true;
    }
    is_generating = false;
    return 0;
  };
  EXPECT_EXIT(
      {
        SetStampProvider(std::make_shared<ExitStamps>());
        if (!at_exit.Create("db", "net", 1) || at_exit.AddServer("A", 0, 0) == 0) ::_exit(1);
        at_exit.GetThreadPool()->Start(generate, nullptr);
        while (!is_generating) std::this_thread::yield();
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
