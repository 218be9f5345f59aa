// Random operations on a network object and on a plain model, compared all the way.
// NCCNET_TEST_SEED and NCCNET_TEST_ROUNDS repeat a run or make it longer.
#include "support/integrity.h"
#include "support/memory_net.h"
#include "support/model.h"
#include "support/network.h"

#include <cstdlib>
#include <iostream>
#include <map>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr unsigned long kRounds = 25;
#else
constexpr unsigned long kRounds = 130;
#endif
constexpr int kStepsOfRound = 800;

unsigned long Setting(const char* name, unsigned long otherwise) {
  const char* const text = std::getenv(name);
  return text != nullptr ? std::strtoul(text, nullptr, 0) : otherwise;
}

// How often each operation was tried, and how often in vain.
struct Counts {
  unsigned long all = 0;
  unsigned long refused = 0;
};
using Tally = std::map<std::size_t, Counts>;

// One network and its model, taken through a number of steps.
class Comparison {
 public:
  Comparison(CNCCNet& net, const std::string& folder, unsigned long seed, Tally& tally)
      : random_(static_cast<std::mt19937::result_type>(seed)),
        folder_(folder),
        net_(net),
        tally_(tally) {
    if (!net_.Create(folder_.c_str(), "net", 7)) ADD_FAILURE() << net_.LastError();
    net_.Preferences()->node_settings = 9;
    net_.SaveNetInfo();
    model_ = Model(*net_.Preferences());
    // With a progress callback look-ups walk, without one they go by index.
    if (seed % 3 == 0) net_.SetCallback([](void*, void*) -> long { return 0; });
  }

  // False at the first difference.
  bool Run(int steps) {
    for (int i = 0; i < steps; ++i) {
      switch (random_() % 25) {
        case 0:
          Reopen();
          break;
        case 1:
          RunBatch();
          break;
        default:
          RunStep();
      }
      if (random_() % 2 == 0 || i + 1 == steps) Compare();
      if (::testing::Test::HasFailure()) return false;
    }
    return true;
  }

  const std::string& Log() const { return log_; }

 private:
  void RunStep() {
    const Step step = RandomStep(random_, model_);
    log_ += step.Text() + "\n";
    const unsigned long result = step.Run(net_);
    EXPECT_EQ(*net_.LastError() != '\0', result == 0) << step.Text() << ": " << net_.LastError();
    EXPECT_EQ(result, step.Run(model_)) << step.Text() << ": " << net_.LastError();
    Counts& counts = tally_[step.operation];
    ++counts.all;
    counts.refused += result == 0 ? 1 : 0;
  }

  void RunBatch() {
    const Model before = model_;
    log_ += "begin\n";
    EXPECT_TRUE(net_.BeginBatch());
    for (auto steps = random_() % 20; steps > 0; --steps) RunStep();
    if (random_() % 2 == 0) Compare();
    const bool keep = random_() % 3 != 0;
    log_ += keep ? "keep\n" : "drop\n";
    EXPECT_TRUE(net_.EndBatch(keep)) << net_.LastError();
    if (!keep) model_ = before;
  }

  // Half the time without saving first: every finished operation is stored already.
  void Reopen() {
    log_ += "reopen\n";
    if (random_() % 2 == 0) net_.Close();
    EXPECT_TRUE(net_.Open(folder_.c_str(), "net")) << net_.LastError();
  }

  void Compare() {
    EXPECT_EQ(Describe(net_), model_.Describe());
    EXPECT_EQ(FindFaults(net_), "");
    if (random_() % 8 == 0) {
      EXPECT_EQ(FindDisagreements(net_), "");
    }
  }

  std::mt19937 random_;
  std::string folder_;
  CNCCNet& net_;
  Tally& tally_;
  Model model_{CNetPref{}};
  std::string log_;
};

const unsigned long kFirstSeed = Setting("NCCNET_TEST_SEED", 20260101);

TEST(RandomOperations, LeaveNetworkAndModelEqual) {
  const unsigned long rounds = Setting("NCCNET_TEST_ROUNDS", kRounds);
  Tally tally;
  for (unsigned long seed = kFirstSeed; seed < kFirstSeed + rounds; ++seed) {
    MemoryNet memory;
    Comparison comparison(memory.Net(), "memory", seed, tally);
    ASSERT_TRUE(comparison.Run(kStepsOfRound)) << "seed " << seed << " after\n" << comparison.Log();
  }
  unsigned long steps = 0;
  for (const auto& [operation, counts] : tally) steps += counts.all;
  std::cout << steps << " operations, seeds from " << kFirstSeed << std::endl;
  if (rounds < kRounds) return;
  const unsigned long wanted = steps / 1000;
  const auto names = OperationNames();
  for (std::size_t i = 0; i < names.size(); ++i) {
    EXPECT_GE(tally[i].all - tally[i].refused, wanted) << names[i] << " hardly ever succeeded";
    if (names[i] == "LinkAllDeps") continue;  // works on whatever there is
    EXPECT_GE(tally[i].refused, wanted) << names[i] << " hardly ever failed";
  }
}

TEST(RandomOperations, LeaveAFileAndModelEqual) {
  Tally tally;
  for (unsigned long seed = kFirstSeed; seed < kFirstSeed + 4; ++seed) {
    ScratchFolder scratch;
    CNCCNet net;
    Comparison comparison(net, scratch.Path("db"), seed, tally);
    ASSERT_TRUE(comparison.Run(250)) << "seed " << seed << " after\n" << comparison.Log();
  }
}

}  // namespace
