// A database whose storage does not answer, or is another's now: nothing is told that is not so,
// and what is in memory goes on to be shown.
#include "support/memory_net.h"
#include "support/network.h"

namespace {

using ncc::Network;

struct Sample : SampleNet {
  using SampleNet::SampleNet;
  unsigned long AddServer(const char* name) { return Net().AddServer(name, 0, 0); }
  // The description, which must be the same when read again from the store.
  std::string DescribeTwice() {
    std::string text = Describe(Net());
    EXPECT_TRUE(Open()) << Net().LastError();
    EXPECT_EQ(Describe(Net()), text);
    return text;
  }
};

// What the sample is with a server more.
std::string DescribeWith(const char* server) {
  Sample sample;
  EXPECT_NE(sample.AddServer(server), 0U);
  return Describe(sample.Net());
}

class Away : public ::testing::TestWithParam<Network> {
 protected:
  Away() {
    sample.Store().SetNetwork(GetParam());
    EXPECT_EQ(sample.AddServer("lost"), 0U);
    EXPECT_EQ(LastFailure(), NCCFailure::kNotKnown);
    EXPECT_NE(std::string(net.LastError()).find(std::to_string(revision + 1)), std::string::npos);
  }

  const bool is_stored = GetParam() == Network::kLosesAnswers;
  Sample sample;
  CNCCNet& net = sample.Net();
  const std::string before = Describe(net);
  const std::uint64_t revision = net.GetRevision();
};

INSTANTIATE_TEST_SUITE_P(Lost, Away,
                         ::testing::Values(Network::kLosesAnswers, Network::kLosesRequests));

TEST_P(Away, ShowsWhatWasAndRefusesChangesUntilItIsKnown) {
  EXPECT_EQ(Describe(net), before);
  EXPECT_EQ(net.GetRevision(), revision);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(net.DeleteServer("A"));
    EXPECT_EQ(LastFailure(), NCCFailure::kNotKnown) << net.LastError();
  }
  ASSERT_TRUE(net.BeginBatch());
  EXPECT_FALSE(net.DeleteServer("A"));
  EXPECT_FALSE(net.EndBatch());
  EXPECT_EQ(net.Settle(), NCCOutcome::kNotKnown);
  EXPECT_EQ(LastFailure(), NCCFailure::kNotKnown);
  EXPECT_EQ(Describe(net), before);

  sample.Store().SetNetwork(Network::kWorks);
  EXPECT_EQ(net.Settle(), is_stored ? NCCOutcome::kStored : NCCOutcome::kNotStored);
  EXPECT_STREQ(net.LastError(), "");
  EXPECT_EQ(net.GetRevision(), revision + (is_stored ? 1 : 0));
  EXPECT_EQ(sample.DescribeTwice(), is_stored ? DescribeWith("lost") : before);
}

TEST_P(Away, ComesBackWithTheNextChangeThatIsTried) {
  sample.Store().SetNetwork(Network::kWorks);
  if (is_stored) {
    EXPECT_EQ(sample.AddServer("next"), 0U) << "it was asked of a network without the other";
    EXPECT_NE(std::string(net.LastError()).find("stored after all"), std::string::npos);
    EXPECT_EQ(LastFailure(), NCCFailure::kUnavailable) << "to be tried again";
    EXPECT_EQ(Describe(net), DescribeWith("lost"));
  }
  const unsigned long added = sample.AddServer("next");
  EXPECT_NE(added, 0U) << net.LastError();
  EXPECT_EQ(net.Settle(), is_stored ? NCCOutcome::kStored : NCCOutcome::kNotStored);
  EXPECT_EQ(net.GetRevision(), revision + (is_stored ? 2 : 1));
  sample.DescribeTwice();
  EXPECT_EQ(sample.AddServer("last"), added + 1) << "no number is given twice";
}

TEST_P(Away, IsSettledForABatchToo) {
  sample.Store().SetNetwork(Network::kWorks);
  ASSERT_TRUE(net.BeginBatch());
  EXPECT_EQ(net.Settle(), NCCOutcome::kNotKnown);
  EXPECT_EQ(sample.AddServer("next") != 0, !is_stored);
  EXPECT_EQ(net.EndBatch(), !is_stored) << net.LastError();
  EXPECT_EQ(sample.DescribeTwice(), DescribeWith(is_stored ? "lost" : "next"));
}

TEST(Storage, ThatDoesNotAnswerChangesNothing) {
  for (const Operation& change : SampleChanges()) {
    // With a rule of days the engine is asked before the commit, too.
    for (const CHistoryRule& rule : {CHistoryRule{}, CHistoryRule{CHistoryRule::kDays, 1}}) {
      Sample sample;
      CNCCNet& net = sample.Net();
      ASSERT_TRUE(net.SetHistoryRule(rule)) << net.LastError();
      const std::string before = Describe(net);
      sample.Store().SetNetwork(Network::kIsDown);
      EXPECT_TRUE(IsRefused(net, change.run(net))) << change.name;
      EXPECT_EQ(LastFailure(), NCCFailure::kUnavailable) << change.name;
      EXPECT_EQ(Describe(net), before) << change.name;
      sample.Store().SetNetwork(Network::kWorks);
      EXPECT_NE(change.run(net), 0U) << change.name << ": " << net.LastError();
      sample.DescribeTwice();
    }
  }
}

// A failure inside an operation may leave anything in memory, which is read again then.
TEST(Storage, ThatDoesNotAnswerWhenMemoryIsGoneIsAskedAgain) {
  Sample sample;
  CNCCNet& net = sample.Net();
  const std::string before = Describe(net);
  ASSERT_TRUE(net.BeginBatch());
  EXPECT_NE(sample.AddServer("dropped"), 0U);
  NetAccess::HDBase(net)->FailUnit("told to");
  sample.Store().SetNetwork(Network::kIsDown);
  EXPECT_FALSE(net.EndBatch());
  EXPECT_EQ(net.GetServersCount(), 0U);
  EXPECT_EQ(LastFailure(), NCCFailure::kUnavailable);
  sample.Store().SetNetwork(Network::kWorks);
  EXPECT_EQ(Describe(net), before);
  EXPECT_NE(sample.AddServer("next"), 0U) << net.LastError();
}

}  // namespace
