// Kills a process at random moments of its work and looks at what the database holds then:
// everything that was acknowledged, and of the operation in flight all or nothing. NCCNET_TEST_SEED
// repeats a run.
#include "support/model.h"
#include "support/network.h"

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <thread>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kKills = 120;
constexpr int kKillsInFlight = 30;

// The operations between two acknowledgements: one, or a batch of several.
struct Unit {
  std::vector<Step> steps;
  bool batch = false;

  Unit(std::mt19937& random, const Model& model) : batch(random() % 5 == 0) {
    for (auto count = batch ? 2 + random() % 30 : 1; count > 0; --count) {
      steps.push_back(RandomStep(random, model));
    }
  }
  void Run(Model& model) const {
    for (const Step& step : steps) step.Run(model);
  }
  bool Run(CNCCNet& net) const {
    if (batch && !net.BeginBatch()) return false;
    for (const Step& step : steps) step.Run(net);
    return !batch || net.EndBatch();
  }
};

// Works without end; never returns. Nothing but the pipe tells how far it came.
[[noreturn]] void Work(const std::string& folder, Model model, std::mt19937 random, int pipe) {
  CNCCNet net;
  if (!net.Open(folder.c_str(), "net")) _exit(1);
  for (;;) {
    const Unit unit(random, model);
    if (write(pipe, "s", 1) != 1) _exit(2);
    if (!unit.Run(net)) _exit(3);
    unit.Run(model);
    if (write(pipe, "a", 1) != 1) _exit(4);
  }
}

struct Killed {
  int acknowledged = 0;
  bool in_flight = false;
};

// Lets the child acknowledge so many units and live a little longer.
Killed KillAfter(pid_t child, int pipe, int units, std::chrono::microseconds longer) {
  Killed killed;
  char mark = 0;
  const auto take = [&] {
    if (read(pipe, &mark, 1) != 1) return false;
    if (mark == 'a') ++killed.acknowledged;
    killed.in_flight = mark == 's';
    return true;
  };
  while (killed.acknowledged < units && take()) continue;
  std::this_thread::sleep_for(longer);
  kill(child, SIGKILL);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status)) << "the child gave up with " << WEXITSTATUS(status);
  while (take()) continue;
  return killed;
}

class Crash : public ::testing::Test {
 protected:
  // The child is forked while no database is open.
  Killed RunAndKill(const Model& model, std::mt19937 child_random) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const auto units = static_cast<int>(random() % 20);
    const std::chrono::microseconds longer(random() % 1500);
    const pid_t child = fork();
    if (child == 0) {
      close(ends[0]);
      Work(folder, model, child_random, ends[1]);
    }
    close(ends[1]);
    const Killed killed = KillAfter(child, ends[0], units, longer);
    close(ends[0]);
    return killed;
  }

  const unsigned long seed = [] {
    const char* const text = std::getenv("NCCNET_TEST_SEED");
    return text != nullptr ? std::strtoul(text, nullptr, 0) : std::random_device()();
  }();
  std::mt19937 random{static_cast<std::mt19937::result_type>(seed)};
  ScratchFolder scratch;
  std::string folder = scratch.Path("db");
};

// The first commit is in the log alone for a moment, and is missed when that goes.
TEST_F(Crash, RightAfterCreateTheNetworkIsThere) {
  const pid_t child = fork();
  if (child == 0) {
    CNCCNet net;
    _exit(net.Create(folder.c_str(), "net", 9) ? 0 : 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_EQ(status, 0);
  const std::string log = ReadFile(folder + "/net.db-wal");
  CNCCNet net;
  for (const char* lost : {"net.db-wal", "net.lock"}) {
    std::filesystem::remove(folder + "/" + lost);
    EXPECT_FALSE(net.Open(folder.c_str(), "net")) << lost;
    EXPECT_EQ(LastFailure(), NCCFailure::kLossPossible) << net.LastError();
  }
  WriteFile(folder + "/net.db-wal", log);
  ASSERT_TRUE(net.Open(folder.c_str(), "net")) << net.LastError();
  EXPECT_EQ(Describe(net), Model(*net.Preferences()).Describe());
}

TEST_F(Crash, NothingAcknowledgedIsLostAndNothingIsHalfDone) {
  std::cout << "seed " << seed << std::endl;
  Model model{CNetPref{}};
  {
    CNCCNet net;
    ASSERT_TRUE(net.Create(folder.c_str(), "net", 9)) << net.LastError();
    model = Model(*net.Preferences());
  }
  int in_flight = 0;
  int kept_in_flight = 0;
  for (int kill = 0; kill < kKills; ++kill) {
    std::mt19937 steps(static_cast<std::mt19937::result_type>(random()));
    const Killed killed = RunAndKill(model, steps);
    for (int i = 0; i < killed.acknowledged; ++i) Unit(steps, model).Run(model);
    Model after = model;
    if (killed.in_flight) Unit(steps, after).Run(after);

    CNCCNet net;
    ASSERT_TRUE(net.Open(folder.c_str(), "net")) << net.LastError() << ", seed " << seed;
    const std::string found = Describe(net);
    in_flight += killed.in_flight ? 1 : 0;
    if (found != model.Describe()) {
      ASSERT_EQ(found, after.Describe()) << "kill " << kill << ", seed " << seed;
      ++kept_in_flight;
      model = after;
    }
  }
  std::cout << kKills << " kills, " << in_flight << " inside an operation, " << kept_in_flight
            << " of those were stored" << std::endl;
  EXPECT_GE(in_flight, kKillsInFlight);
}

}  // namespace
