#include "nccnet/import_container.h"
#include "support/exchange.h"

#include <thread>
#include <vector>

namespace {

using Threads = ExchangeTest;

TEST_F(Threads, LoadAndGiveBackThroughOneContainer) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 60;
  PutSet(SampleSet(), 5);
  CImportContainer container;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      std::list<unsigned long> nets;
      for (int round = 0; round < kRounds; ++round) {
        EXPECT_NE(container.LoadNet(5), nullptr);
        if (round % 4 == i) {
          EXPECT_EQ(container.GetListNets(&nets), 0);
        }
        EXPECT_EQ(container.LoadNet(6), nullptr);
        // The last reference of each thread stays until all have ended.
        if (round + 1 < kRounds) {
          EXPECT_EQ(container.UnLoadNet(5), 0);
        }
      }
      EXPECT_EQ(nets, std::list<unsigned long>(kRounds / 4, 5));
    });
  }
  for (std::thread& thread : threads) thread.join();

  // Any number may ask at a time.
  const CImportNet* const view = container.LoadNet(5);
  const std::string text = DescribeView(*view);
  threads.clear();
  for (int i = 0; i < kThreads; ++i)
    threads.emplace_back([&] {
      CABEntry user;
      EXPECT_EQ(view->GetAbInfo("vera", user), 0);
      EXPECT_EQ(DescribeView(*view), text);
    });
  for (std::thread& thread : threads) thread.join();

  std::filesystem::remove("DB/IMPORT/uc5.txt");
  for (int i = 0; i < kThreads; ++i) {
    container.UnLoadNet(5);
    EXPECT_EQ(view->GetListSm()->size(), 2U);  // one reference is left
  }
  container.UnLoadNet(5);
  EXPECT_EQ(container.LoadNet(5), nullptr);  // a new view, which needs the missing file
}

}  // namespace
