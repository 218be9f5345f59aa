#include "support/net_access.h"
#include "support/network.h"
#include "support/no_memory.h"

#include <atomic>
#include <thread>

namespace {

using Threads = NetworkTest;
using namespace std::chrono_literals;

TEST_F(Threads, EachOperationIsWholeForTheOthers) {
  constexpr unsigned long kWriters = 4;
  constexpr int kRounds = 60;
  for (unsigned long i = 0; i < kWriters; ++i) {
    const std::string name(1, static_cast<char>('A' + i));
    ASSERT_EQ(net_.AddServer(name.c_str(), 0, 0), i + 1);
  }
  for (int i = 0; i < 10; ++i) ASSERT_NE(net_.AddAP(1, ("m" + std::to_string(i)).c_str(), 0), 0U);
  std::atomic<bool> done = false;
  std::vector<std::thread> threads;
  // The ten moving APs are always ten, whoever counts them.
  threads.emplace_back([&] {
    std::list<CNNEntry> list;
    while (!done) {
      net_.GetListServer(list);
      unsigned long moving = 0;
      for (const CNNEntry& server : list) moving += server.ap_count * (server.flags == 0 ? 1 : 0);
      EXPECT_EQ(moving, 10U);
      net_.GetListAP(list);
      EXPECT_FALSE(net_.CheckAPName("nobody"));
    }
  });
  for (unsigned long i = 0; i < kWriters; ++i) {
    threads.emplace_back([&, i] {
      const std::string own = "own" + std::to_string(i);
      for (int round = 0; round < kRounds; ++round) {
        EXPECT_TRUE(net_.ChangeSrv(5 + (i + static_cast<unsigned>(round)) % 10, 1 + i));
        EXPECT_TRUE(net_.LinkSrvToSrv(1 + i, 1 + (i + 1) % kWriters));
        const unsigned long server = net_.AddServer(own.c_str(), 1, 0);
        EXPECT_NE(server, 0U) << net_.LastError();
        EXPECT_NE(net_.AddAP(server, own.c_str(), 0), 0U) << net_.LastError();
        EXPECT_EQ(net_.AddServer("A", 0, 0), 0U);
        EXPECT_STRNE(net_.LastError(), "");
        if (round % 8 == 0) {
          EXPECT_TRUE(net_.BeginBatch());
          EXPECT_TRUE(net_.ChangeSrv("m1", 1 + i) && net_.DeleteServer(server));
          EXPECT_TRUE(net_.EndBatch(round % 16 == 0));
        }
        net_.DeleteServer(server);
      }
    });
  }
  for (std::size_t i = 1; i < threads.size(); ++i) threads[i].join();
  done = true;
  threads.front().join();
  EXPECT_EQ(net_.GetServersCount(), kWriters);
  EXPECT_EQ(net_.Preferences()->next_id, 15U + 2 * kWriters * kRounds);
  for (unsigned long i = 1; i <= kWriters; ++i) EXPECT_EQ(LinkIds(net_, i).size(), 2U);
  net_.SaveNetInfo();
  const std::string before = Describe(net_);
  Reopen();
  EXPECT_EQ(Describe(net_), before);
}

TEST_F(Threads, StopRequestsComeFromLockGenAndFromThePool) {
  EXPECT_FALSE(NetAccess::IsStopGen(net_));
  net_.LockGen();
  EXPECT_TRUE(NetAccess::IsStopGen(net_));
  net_.UnLockGen();
  EXPECT_FALSE(NetAccess::IsStopGen(net_));

  struct Worker {
    CNCCNet& net;
    std::atomic<bool> ended = false;
  } worker{net_};
  const auto until_stopped = [](void* param) -> unsigned long {
    auto& self = *static_cast<Worker*>(param);
    while (!NetAccess::IsStopGen(self.net)) std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(150ms);
    self.ended = true;
    return 0;
  };
  CThreadPool& pool = *net_.GetThreadPool();
  ASSERT_NE(pool.Start(until_stopped, &worker), nullptr);
  EXPECT_EQ(pool.GetCount(), 1U);
  pool.StopAll();
  EXPECT_TRUE(worker.ended) << "StopAll waits for the thread";
  EXPECT_EQ(pool.GetCount(), 0U);
  EXPECT_FALSE(pool.IsStopping());
  EXPECT_FALSE(NetAccess::IsStopGen(net_));
}

TEST(ThreadPool, SuspendedThreadsCountAndWaitForResume) {
  std::atomic<int> runs = 0;
  const auto count = [](void* param) -> unsigned long {
    ++*static_cast<std::atomic<int>*>(param);
    AllowAllocations(0);  // ending needs none
    return 0;
  };
  CThreadPool pool;
  EXPECT_EQ(pool.Start(nullptr, nullptr), nullptr);
  const auto suspended = pool.Start(count, &runs, 0, 0, CThreadPool::kSuspended);
  ASSERT_NE(suspended, nullptr);
  for (int i = 0; i < 20; ++i) ASSERT_NE(pool.Start(count, &runs), nullptr);
  while (pool.GetCount() > 1) std::this_thread::sleep_for(1ms);
  std::this_thread::sleep_for(20ms);
  EXPECT_EQ(runs, 20);
  EXPECT_EQ(pool.GetCount(), 1U);
  suspended->Resume();
  suspended->Resume();
  while (pool.GetCount() > 0) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(runs, 21);
  suspended->Resume();
  std::chrono::nanoseconds shortest = 1h;  // a busy machine makes some of them long, a wait all
  for (int i = 0; i < 20; ++i) {
    const auto before = std::chrono::steady_clock::now();
    pool.StopAll();
    shortest =
        std::min<std::chrono::nanoseconds>(shortest, std::chrono::steady_clock::now() - before);
  }
  EXPECT_LT(shortest, 90ms) << "nothing to wait for";
  EXPECT_FALSE(pool.IsStopping());
}

TEST(ThreadPool, DestructionOfTheNetworkStopsItsThreads) {
  std::atomic<int> ended = 0;
  struct Parameters {
    CNCCNet* net;
    std::atomic<int>* ended;
  };
  {
    CNCCNet net;
    Parameters parameters{&net, &ended};
    const auto work = [](void* param) -> unsigned long {
      const auto own = *static_cast<Parameters*>(param);
      while (!NetAccess::IsStopGen(*own.net)) own.net->GetServersCount();
      ++*own.ended;
      return 0;
    };
    for (int i = 0; i < 3; ++i) ASSERT_NE(net.GetThreadPool()->Start(work, &parameters), nullptr);
  }
  EXPECT_EQ(ended, 3);
}

}  // namespace
