// Databases in etcd: the contract of engines, and what a cluster adds to it. Real processes.
#include "cluster/etcd_nodes.h"
#include "cluster/proxy.h"
#include "nccnet/backup.h"
#include "nccnet/netdb.h"
#include "platform/cluster/base64.h"
#include "platform/cluster/etcd_engine.h"
#include "platform/cluster/layout.h"
#include "platform/storage/sqlite_engine.h"
#include "support/engine_contract.h"
#include "support/network.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <set>

#include <sys/wait.h>
#include <unistd.h>

namespace ncc {
namespace {

using etcd::EtcdSettings;
using std::chrono::milliseconds;
using std::chrono::seconds;

// One for all tests that kill none of its nodes.
EtcdNodes& SharedNodes() {
  static EtcdNodes nodes(3);
  return nodes;
}

std::string NewPrefix() {
  static std::atomic<int> made{0};
  return "/test/" + std::to_string(++made) + "/";
}

EtcdSettings SettingsFor(const std::vector<int>& ports) {
  EtcdSettings settings;
  settings.file = "net.cluster";
  settings.prefix = NewPrefix();
  settings.lease = seconds(2);
  settings.timeout = seconds(1);
  for (const int port : ports)
    settings.endpoints.push_back("http://127.0.0.1:" + std::to_string(port));
  return settings;
}

EtcdSettings SettingsFor(const EtcdNodes& nodes) {
  std::vector<int> ports;
  for (std::size_t i = 0; i < nodes.Count(); ++i) ports.push_back(nodes.Port(i));
  EtcdSettings settings = SettingsFor(ports);
  settings.timeout = seconds(8);
  return settings;
}

// Each node behind a network of its own.
class EtcdPlace final : public EnginePlace {
 public:
  EtcdPlace() {
    std::vector<int> ports;
    for (std::size_t i = 0; i < SharedNodes().Count(); ++i) {
      proxies_.push_back(std::make_unique<Proxy>(SharedNodes().Port(i)));
      ports.push_back(proxies_.back()->Port());
    }
    settings_ = SettingsFor(ports);
  }

  std::unique_ptr<StorageEngine> Open(OpenMode mode) override {
    return etcd::OpenEtcdEngine(settings_, {mode});
  }
  bool IsShared() const override { return true; }
  void SetNetwork(Network network) override {
    for (const auto& proxy : proxies_) proxy->Set(network);
  }

  Proxy& At(std::size_t node) { return *proxies_[node]; }
  const EtcdSettings& Settings() const { return settings_; }

 private:
  std::vector<std::unique_ptr<Proxy>> proxies_;
  EtcdSettings settings_;
};

INSTANTIATE_TEST_SUITE_P(Etcd, EngineContract,
                         ::testing::Values(PlaceMaker{[] { return MakePlace<EtcdPlace>(); }}));

class EtcdTest : public ::testing::Test {
 protected:
  static std::unique_ptr<StorageEngine> Open(const EtcdSettings& settings,
                                             OpenMode mode = OpenMode::kOpen) {
    return etcd::OpenEtcdEngine(settings, {mode});
  }
};

// The stored request is the very one that was given up.
TEST_F(EtcdTest, ARequestThatArrivesLateIsNeverStored) {
  EtcdPlace place;
  const auto engine = Continued(place.Open(OpenMode::kCreate), 3);
  for (std::size_t node = 0; node < 3; ++node) place.At(node).Hold();
  EXPECT_EQ(KindOf([&] { engine->Commit(HistoryChanges(4)); }), NCCFailure::kNotKnown);
  EXPECT_EQ(KindOf([&] { engine->Settle(); }), NCCFailure::kUnavailable);
  // Only what goes by one way arrives now; what was asked before still waits on the others.
  std::vector<int> direct;
  for (std::size_t node = 0; node < 3; ++node) direct.push_back(SharedNodes().Port(node));
  EtcdSettings settings = place.Settings();
  for (std::size_t i = 0; i < 3; ++i)
    settings.endpoints[i] = "http://127.0.0.1:" + std::to_string(direct[i]);
  EXPECT_EQ(LoadAll(*Open(settings, OpenMode::kSnapshot)), HistoryContents(3));
  const auto other = Open(settings, OpenMode::kFollow);
  EXPECT_EQ(LoadAll(*other), HistoryContents(3));
  other->Acquire(milliseconds(0), true);
  EXPECT_TRUE(other->Follow(3, milliseconds(0))->empty());
  for (std::size_t node = 0; node < 3; ++node) place.At(node).Release();
  std::this_thread::sleep_for(milliseconds(300));
  EXPECT_EQ(LoadAll(*other), HistoryContents(3));
  other->Commit(OfAnother(4));
  EXPECT_EQ(engine->Settle().revision, 3U) << "revision 4 is another's";
  EXPECT_EQ(KindOf([&] { engine->Commit(HistoryChanges(4)); }), NCCFailure::kNotOwner);
}

TEST_F(EtcdTest, SettlingShutsOutARequestThatIsStillOnItsWay) {
  EtcdPlace place;
  const auto engine = Continued(place.Open(OpenMode::kCreate), 3);
  place.At(0).Hold();
  for (std::size_t node = 1; node < 3; ++node) place.At(node).Set(Network::kLosesRequests);
  EXPECT_EQ(KindOf([&] { engine->Commit(HistoryChanges(4)); }), NCCFailure::kNotKnown);
  for (std::size_t node = 1; node < 3; ++node) place.At(node).Set(Network::kWorks);
  StoredState settled;
  while (KindOf([&] { settled = engine->Settle(); }) != NCCFailure::kNone) {
  }
  EXPECT_EQ(settled.revision, 3U);
  place.At(0).Release();
  std::this_thread::sleep_for(milliseconds(300));
  EXPECT_EQ(LoadAll(*engine), HistoryContents(3));
  engine->Commit(HistoryChanges(4));
  EXPECT_EQ(LoadAll(*place.Open(OpenMode::kSnapshot)), HistoryContents(4));
}

// What takes away old blocks, of a database that is new and when rows were brought together.
std::string TakesBlocksAway(const EtcdSettings& settings) {
  std::string key;
  etcd::AppendBase64(key, etcd::Layout(settings.prefix).First('b', 0));
  return key;
}

void ReleaseLate(Proxy& network) {
  EXPECT_TRUE(network.HasHeld());
  network.Release();
  std::this_thread::sleep_for(milliseconds(300));
}

TEST_F(EtcdTest, ClearingForANewDatabaseThatArrivesLateDoesNothing) {
  EtcdPlace place;
  place.At(0).HoldNext(TakesBlocksAway(place.Settings()));
  const auto engine = Continued(place.Open(OpenMode::kCreate), 3);
  ReleaseLate(place.At(0));
  EXPECT_EQ(LoadAll(*place.Open(OpenMode::kSnapshot)), HistoryContents(3));
}

TEST_F(EtcdTest, ANodeThatHangsHindersNobody) {
  EtcdPlace place;
  Continued(place.Open(OpenMode::kCreate), 3);
  for (std::size_t node = 0; node < 3; ++node) {
    place.At(node).Set(Network::kLosesRequests);
    const auto engine = place.Open(OpenMode::kFollow);
    EXPECT_EQ(LoadAll(*engine).revision, 3U + node);
    engine->Acquire(milliseconds(0), true);
    EXPECT_TRUE(engine->Follow(3 + node, milliseconds(0))->empty());
    engine->Commit(HistoryChanges(4 + node));
    place.At(node).Set(Network::kWorks);
  }
}

// A process that commits on and on, and tells of each acknowledged revision.
class Owner {
 public:
  explicit Owner(const EtcdSettings& settings) {
    if (::pipe(told_) != 0) throw std::runtime_error("no pipe");
    process_ = ::fork();
    if (process_ < 0) throw std::runtime_error("no process");
    if (process_ != 0) {
      ::close(told_[1]);
      return;
    }
    try {
      const auto engine = etcd::OpenEtcdEngine(settings, {OpenMode::kOpen});
      for (auto revision = LoadAll(*engine).revision;;) {
        engine->Commit(HistoryChanges(++revision));
        static_cast<void>(!::write(told_[1], &revision, sizeof revision));
      }
    } catch (const StorageError& error) {
      ::_exit(error.Kind() == NCCFailure::kNotOwner ? 7 : 8);
    }
  }
  ~Owner() {
    ::close(told_[0]);
    if (process_ == 0) return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  Owner(const Owner&) = delete;
  Owner& operator=(const Owner&) = delete;

  // The next revision that it tells of; 0 once it has died.
  std::uint64_t Next() const {
    std::uint64_t revision = 0;
    return ::read(told_[0], &revision, sizeof revision) == sizeof revision ? revision : 0;
  }
  void Signal(int number) const { ::kill(process_, number); }
  int Result() {
    int status = 0;
    ::waitpid(std::exchange(process_, 0), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  int told_[2];
  pid_t process_ = 0;
};

void Create(const EtcdSettings& settings) {
  Continued(etcd::OpenEtcdEngine(settings, {OpenMode::kCreate}), 1);
}

// Everything that was acknowledged is there, and the next owner goes on.
std::uint64_t TakeOver(StorageEngine& follower, Contents& contents, std::uint64_t acknowledged) {
  follower.Acquire(seconds(30), false);
  for (;;) {
    const auto units = follower.Follow(contents.revision, milliseconds(0));
    if (!units) {
      contents = LoadAll(follower);
    } else if (units->empty()) {
      break;
    } else {
      FollowTo(follower, contents, contents.revision + 1);
    }
  }
  EXPECT_GE(contents.revision, acknowledged);
  EXPECT_LE(contents.revision, acknowledged + 1);
  EXPECT_EQ(contents, HistoryContents(contents.revision));
  follower.Commit(HistoryChanges(contents.revision + 1));
  return contents.revision + 1;
}

// With one follower, which has said how far it was.
void ExpectWell(const EngineStatus& status, std::uint64_t first, std::uint64_t last) {
  EXPECT_EQ(status.nodes.size(), 3U);
  int leaders = 0;
  for (const EngineStatus::Node& node : status.nodes) {
    EXPECT_TRUE(node.is_well) << node.text;
    EXPECT_TRUE(Says(node.text, "etcd 3."));
    if (node.text.starts_with("leads")) ++leaders;
  }
  EXPECT_EQ(leaders, 1);
  ASSERT_EQ(status.followers.size(), 1U);
  EXPECT_TRUE(Says(status.followers.front().who, "etcd_test"));
  EXPECT_GE(status.followers.front().revision, first);
  EXPECT_LE(status.followers.front().revision, last);
}

TEST_F(EtcdTest, AStandbyGoesOnWhenTheOwnerAndALeaderDie) {
  EtcdNodes nodes(3);
  const EtcdSettings settings = SettingsFor(nodes);
  Create(settings);
  for (const bool leader_dies : {false, true}) {
    Owner owner(settings);
    while (owner.Next() % 20 != 0) {
    }
    const auto standby = Open(settings, OpenMode::kFollow);
    Contents contents = LoadAll(*standby);
    const std::uint64_t first = contents.revision;
    FollowTo(*standby, contents, first + 5);
    ExpectWell(standby->Status(), first, contents.revision);
    const std::size_t leader = nodes.Leader();
    if (leader_dies) nodes.Kill(leader);
    owner.Signal(SIGKILL);
    std::uint64_t acknowledged = 0;
    while (const std::uint64_t revision = owner.Next()) acknowledged = revision;
    const auto begin = std::chrono::steady_clock::now();
    while (standby->Owner()) std::this_thread::sleep_for(milliseconds(20));
    EXPECT_TRUE(standby->IsOwnerLost());
    const std::uint64_t revision = TakeOver(*standby, contents, acknowledged);
    std::cout << "taken over at revision " << revision << " within "
              << std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - begin)
                     .count()
              << " ms" << (leader_dies ? ", the leader dead too" : "") << std::endl;
    if (leader_dies) nodes.Start(leader);
    EXPECT_EQ(LoadAll(*Open(settings, OpenMode::kSnapshot)), HistoryContents(revision));
  }
}

TEST_F(EtcdTest, AnOwnerThatWasPausedForLongWritesNoMore) {
  const EtcdSettings settings = SettingsFor(SharedNodes());
  Create(settings);
  Owner owner(settings);
  while (owner.Next() < 10) {
  }
  owner.Signal(SIGSTOP);
  const auto standby = Open(settings, OpenMode::kFollow);
  Contents contents = LoadAll(*standby);
  const std::uint64_t revision = TakeOver(*standby, contents, contents.revision);
  owner.Signal(SIGCONT);
  EXPECT_EQ(owner.Result(), 7) << "it learns that it is not the owner any more";
  EXPECT_EQ(LoadAll(*standby), HistoryContents(revision));
}

TEST_F(EtcdTest, AnOwnerGoesOnAfterAPauseInWhichNobodyTookOver) {
  const EtcdSettings settings = SettingsFor(SharedNodes());
  Create(settings);
  Owner owner(settings);
  while (owner.Next() < 10) {
  }
  owner.Signal(SIGSTOP);
  std::uint64_t before = 10;
  while (Open(settings, OpenMode::kSnapshot)->Owner())
    std::this_thread::sleep_for(milliseconds(100));
  owner.Signal(SIGCONT);
  for (int i = 0; i < 50; ++i) {
    const std::uint64_t revision = owner.Next();
    ASSERT_GT(revision, before);
    before = revision;
  }
}

TEST_F(EtcdTest, WithoutAMajorityNothingIsClaimedAndWorkResumes) {
  EtcdNodes nodes(3);
  EtcdSettings settings = SettingsFor(nodes);
  settings.timeout = seconds(3);
  const auto engine = Continued(Open(settings, OpenMode::kCreate), 5);
  nodes.Kill(0);
  nodes.Kill(1);
  const NCCFailure kind = KindOf([&] { engine->Commit(HistoryChanges(6)); });
  EXPECT_TRUE(kind == NCCFailure::kNotKnown || kind == NCCFailure::kUnavailable);
  const auto reader = Open(settings, OpenMode::kSnapshot);
  EXPECT_EQ(KindOf([&] { LoadAll(*reader); }), NCCFailure::kUnavailable);
  const EngineStatus status = reader->Status();
  EXPECT_TRUE(Says(status.nodes[0].text, "connect"));
  EXPECT_TRUE(Says(status.nodes[2].text, "it reaches no majority"));
  for (const EngineStatus::Node& node : status.nodes) EXPECT_FALSE(node.is_well);
  nodes.Start(0);
  nodes.Start(1);
  StoredState now;
  for (int i = 0; i < 20 && KindOf([&] { now = engine->Settle(); }) != NCCFailure::kNone; ++i) {
  }
  ASSERT_TRUE(now.revision == 5 || now.revision == 6);
  for (auto revision = now.revision; revision < 12;) {
    engine->Commit(HistoryChanges(++revision));
  }
  EXPECT_EQ(LoadAll(*Open(settings, OpenMode::kSnapshot)), HistoryContents(12));
}

// So many rows, put anew by each revision.
class ManyRows final : public ChangeSet {
 public:
  ManyRows(std::uint32_t rows, std::uint64_t revision) : rows_(rows), revision_(revision) {}

  StoredState ForEach(const std::function<void(const RowChange&)>& visit) const override {
    StoredState state{revision_, {}, revision_ * 3, {{}, revision_ + 1}};
    Row row;
    for (std::uint32_t i = 1; i <= rows_; ++i) {
      row.key = {RowKind::kObject, i};
      row.type = 4;
      row.name = "user " + std::to_string(i * revision_);
      row.body.assign(150, static_cast<char>(i * 7 + revision_));
      row.body += std::to_string(i * 1234567 * revision_);
      const std::uint32_t sum = SumOf(row);
      AddTo(state.totals, sum);
      visit({row.key, nullptr, &row, sum});
    }
    return state;
  }

 private:
  std::uint32_t rows_;
  std::uint64_t revision_;
};

TEST_F(EtcdTest, LargeCommitsAreStoredWholeAndLeaveNoWaste) {
  const EtcdSettings settings = SettingsFor(SharedNodes());
  constexpr std::uint32_t kRows = 60000;
  const auto keys = [&] {
    return std::stoi(OutputOf("echo \"" +
                              SharedNodes().Control("get --prefix --keys-only " + settings.prefix) +
                              "\" | grep -c test"));
  };
  {
    const auto engine = Open(settings, OpenMode::kCreate);
    const auto follower = [&] {
      engine->Commit(ManyRows(kRows, 1));
      auto opened = Open(settings, OpenMode::kFollow);
      opened->Load([](const RowView&) {});
      return opened;
    }();
    for (std::uint64_t revision = 2; revision <= 6; ++revision)
      engine->Commit(ManyRows(kRows, revision));
    std::uint64_t seen = 1;
    while (const auto units = follower->Follow(seen, milliseconds(0))) {
      if (units->empty()) break;
      EXPECT_EQ(units->front().rows.size(), kRows);
      seen = units->back().state.revision;
    }
  }
  std::uint32_t rows = 0;
  const StoredState state =
      Open(settings, OpenMode::kSnapshot)->Load([&](const RowView&) { ++rows; });
  EXPECT_EQ(state, ManyRows(kRows, 6).ForEach([](const RowChange&) {}));
  EXPECT_EQ(rows, kRows);
  EXPECT_LT(keys(), 80) << "of six times 13 blocks";
}

TEST_F(EtcdTest, SmallCommitsAreBroughtTogether) {
  const EtcdSettings settings = SettingsFor(SharedNodes());
  Continued(Open(settings, OpenMode::kCreate), 1100);
  const auto engine = Open(settings);
  EXPECT_EQ(LoadAll(*engine), HistoryContents(1100));
  const std::string base =
      SharedNodes().Control("get --prefix --keys-only " + settings.prefix + "b/");
  EXPECT_NE(base.find(settings.prefix), base.npos);
  EXPECT_EQ(HistoryOf(*engine, 700, 702).size(), 3U);
}

TEST_F(EtcdTest, BringingRowsTogetherThatArrivesLateDoesNothing) {
  constexpr std::uint32_t kRows = 20000;
  EtcdPlace place;
  const auto engine = place.Open(OpenMode::kCreate);
  place.At(0).HoldNext(TakesBlocksAway(place.Settings()));
  const std::string ask = "get --print-value-only " + etcd::Layout(place.Settings().prefix).Base();
  std::uint64_t revision = 0;
  std::set<std::string> bases;
  for (int i = 0; i < 40 && bases.size() < 3; ++i) {
    engine->Commit(ManyRows(kRows, ++revision));
    std::this_thread::sleep_for(milliseconds(500));
    bases.insert(SharedNodes().Control(ask));
  }
  EXPECT_GE(bases.size(), 3U);
  ReleaseLate(place.At(0));
  EXPECT_EQ(place.Open(OpenMode::kSnapshot)->Load([](const RowView&) {}).revision, revision);
}

TEST_F(EtcdTest, DamageIsRefused) {
  int refused = 0;
  for (const char* kind : {"meta", "base", "b/", "c/", "h/"}) {
    for (const bool is_removed : {false, true}) {
      const EtcdSettings settings = SettingsFor(SharedNodes());
      Continued(Open(settings, OpenMode::kCreate), 520);
      const std::string name = settings.prefix + kind;
      const std::string keys =
          SharedNodes().Control("get --prefix --keys-only --limit=1 --order=DESCEND " + name);
      const std::string key = keys.substr(0, keys.find('\n'));
      ASSERT_TRUE(key.starts_with(name)) << keys;
      SharedNodes().Control(is_removed ? "del " + key : "put " + key + " damaged");
      Contents found;
      const std::string error = ErrorOf([&] {
        const auto engine = Open(settings);
        found = LoadAll(*engine);
        HistoryOf(*engine, 510, 520);
      });
      EXPECT_TRUE(error.starts_with("database is damaged") ||
                  (is_removed && error.starts_with("there is no database")) ||
                  (error.empty() && found == HistoryContents(520)))
          << kind << ": " << error;
      refused += error.empty() ? 0 : 1;
    }
  }
  EXPECT_GE(refused, 9) << "what is still there besides says it all once";
}

TEST_F(EtcdTest, CertificatesAreAskedForOnBothSides) {
  const ScratchFolder folder;
  MakeCertificates(folder.Path());
  const EtcdNodes nodes(1, folder.Path());
  EtcdSettings settings = SettingsFor(std::vector<int>{nodes.Port(0)});
  settings.endpoints = {nodes.Endpoints()};
  EXPECT_EQ(KindOf([&] { Create(settings); }), NCCFailure::kUnavailable);
  settings.certificate = folder.Path("client.pem");
  settings.key = folder.Path("client.key");
  settings.authority = folder.Path("client.pem");
  EXPECT_TRUE(Says(ErrorOf([&] { Create(settings); }), "certificate")) << "of another authority";
  settings.authority = folder.Path("ca.pem");
  Create(settings);
  EXPECT_EQ(LoadAll(*Open(settings)), HistoryContents(1));
}

// As an application has it: the module is loaded, and all else is as with a file.
TEST_F(EtcdTest, ASettingsFileIsAllThatAnApplicationNeeds) {
  const ScratchFolder folder;
  const std::string path = folder.Path("");
  WriteFile(folder.Path("net.cluster"), "engine = etcd\nendpoints = " + SharedNodes().Endpoints() +
                                            "\nprefix = " + NewPrefix() + "\n");
  std::string text;
  {
    CNCCNet net;
    ASSERT_TRUE(net.Create(path.c_str(), "net", 7)) << net.LastError();
    BuildSample(net);
    BuildPeople(net);
    text = Describe(net);
    EXPECT_TRUE(Says(DatabaseOwner(path.c_str(), "net"), "etcd_test"));
    CNCCNet other;
    EXPECT_FALSE(other.Open(path.c_str(), "net"));
    EXPECT_EQ(LastFailure(), NCCFailure::kInUse) << other.LastError();
    ASSERT_TRUE(other.OpenSnapshot(path.c_str(), "net")) << other.LastError();
    EXPECT_EQ(Describe(other), text);
    EXPECT_TRUE(net.Backup(folder.Path("copy.db").c_str())) << net.LastError();
  }
  EXPECT_EQ(DatabaseOwner(path.c_str(), "net"), "");
  for (const char* name : {"net", "copy"}) {
    CNCCNet net;
    ASSERT_TRUE(net.Open(path.c_str(), name)) << net.LastError();
    EXPECT_EQ(Describe(net), text);
  }
}

TEST_F(EtcdTest, IsOfNoUseToAForkedChildAndUnharmedByIt) {
  const EtcdSettings settings = SettingsFor(SharedNodes());
  auto engine = Continued(Open(settings, OpenMode::kCreate), 2);
  EXPECT_EQ(RunInChild([&] {
              const bool refused = !ErrorOf([&] { engine->Commit(HistoryChanges(3)); }).empty() &&
                                   !ErrorOf([&] { LoadAll(*engine); }).empty();
              engine.reset();
              return refused ? 0 : 1;
            }),
            0);
  engine->Commit(HistoryChanges(3));
  EXPECT_EQ(LoadAll(*engine), HistoryContents(3));
}

}  // namespace
}  // namespace ncc

int main(int count, char** arguments) {
  ::testing::InitGoogleTest(&count, arguments);
  constexpr int kSkipped = 77;
  return HasEtcd() ? RUN_ALL_TESTS() : kSkipped;
}
