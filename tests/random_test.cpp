// Random operations on a network object and on a plain model, compared all the way.
// NCCNET_TEST_SEED and NCCNET_TEST_ROUNDS repeat a run or make it longer.
#include "support/model.h"
#include "support/network.h"

#include <cstdlib>

namespace {

unsigned long Setting(const char* name, unsigned long otherwise) {
  const char* const text = std::getenv(name);
  return text != nullptr ? std::strtoul(text, nullptr, 0) : otherwise;
}

// One network and its model, taken through a number of steps.
class Comparison {
 public:
  explicit Comparison(unsigned long seed) : random_(static_cast<std::mt19937::result_type>(seed)) {
    if (!net_.Create(folder_.c_str(), "net", 7)) ADD_FAILURE() << net_.LastError();
    model_ = Model(*net_.Preferences());
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
      if (random_() % 4 == 0 || i + 1 == steps) Compare();
      if (::testing::Test::HasFailure()) return false;
    }
    return true;
  }

  const std::string& Log() const { return log_; }

 private:
  void RunStep() {
    const Step step = RandomStep(random_, model_);
    log_ += step.Text() + "\n";
    EXPECT_EQ(step.Run(net_), step.Run(model_)) << net_.LastError();
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

  void Compare() { EXPECT_EQ(Describe(net_), model_.Describe()); }

  std::mt19937 random_;
  ScratchFolder scratch_;
  std::string folder_ = scratch_.Path("db");
  CNCCNet net_;
  Model model_{CNetPref{}};
  std::string log_;
};

TEST(RandomOperations, LeaveNetworkAndModelEqual) {
  const unsigned long first = Setting("NCCNET_TEST_SEED", 20260101);
  const unsigned long rounds = Setting("NCCNET_TEST_ROUNDS", 12);
  for (unsigned long seed = first; seed < first + rounds; ++seed) {
    Comparison comparison(seed);
    ASSERT_TRUE(comparison.Run(250)) << "seed " << seed << " after\n" << comparison.Log();
  }
}

}  // namespace
