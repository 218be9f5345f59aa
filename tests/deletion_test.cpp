// Takes a densely linked network apart in random order. NCCNET_TEST_SEED repeats a run.
#include "support/integrity.h"
#include "support/memory_net.h"
#include "support/network.h"

#include <cstdlib>
#include <random>
#include <set>

namespace {

using Numbers = std::vector<unsigned long>;

class Deletion {
 public:
  explicit Deletion(unsigned long seed) : random_(static_cast<std::mt19937::result_type>(seed)) {
    EXPECT_TRUE(memory_.Create()) << net_.LastError();
    empty_ = RowKeys();
    Build();
    EXPECT_EQ(FindFaults(net_), "");
  }

  void DeleteEverything() {
    Numbers left = AllObjects(net_);
    for (int step = 0; !left.empty() && !::testing::Test::HasFailure(); ++step) {
      const unsigned long id = left[random_() % left.size()];
      const std::size_t gone = net_.GetType(id) == kTypeServer ? 1 + ApIds(net_, id).size() : 1;
      EXPECT_TRUE(DeleteOne(id, net_.GetType(id))) << net_.LastError();
      if (step % 7 == 0) {
        EXPECT_TRUE(memory_.Open()) << net_.LastError();
      }
      EXPECT_EQ(net_.GetType(id), kTypeNone);
      const std::size_t before = left.size();
      left = AllObjects(net_);
      EXPECT_EQ(left.size() + gone, before);
      EXPECT_EQ(FindFaults(net_), "") << "after the deletion of " << id;
      ExpectMembershipsOfKnownDeps();
    }
    EXPECT_EQ(RowKeys(), empty_) << "something stays in the file";
  }

 private:
  bool Often() { return random_() % 2 == 0; }

  void Build() {
    for (unsigned i = 0; i < 6; ++i) servers_.push_back(net_.AddServer(NewName().c_str(), 0, 0));
    nodes_ = servers_;
    for (unsigned i = 0; i < 14; ++i) {
      nodes_.push_back(net_.AddAP(servers_[random_() % 6], NewName().c_str(), 0));
    }
    for (unsigned i = 0; i < 12; ++i) users_.push_back(net_.CreateAB(NewName().c_str()));
    for (unsigned i = 0; i < 8; ++i) deps_.push_back(net_.CreateDep(NewName().c_str()));
    for (unsigned i = 0; i < 6; ++i) groups_.push_back(net_.CreateNGrp(NewName().c_str()));
    LinkHalf(servers_, servers_, [&](auto a, auto b) { return a == b || net_.LinkSrvToSrv(a, b); });
    LinkHalf(groups_, nodes_, [&](auto a, auto b) { return net_.LinkNNToNGrp(a, b); });
    LinkHalf(groups_, deps_, [&](auto a, auto b) { return net_.LinkDepToNGrp(a, b); });
    LinkHalf(deps_, users_, [&](auto a, auto b) { return net_.LinkABToDep(a, b, Often()); });
    LinkHalf(deps_, users_, [&](auto a, auto b) { return net_.LinkABToDep(a, b, true); });
    LinkHalf(deps_, deps_, [&](auto a, auto b) { return net_.LinkDepToDep(a, b); });
    if (Often()) net_.LinkAllDeps();
  }

  template <class Link>
  void LinkHalf(const Numbers& ones, const Numbers& others, Link link) {
    for (const unsigned long one : ones) {
      for (const unsigned long other : others) {
        EXPECT_TRUE(!Often() || link(one, other)) << net_.LastError();
      }
    }
  }

  std::string NewName() { return "object " + std::to_string(++names_); }

  bool DeleteOne(unsigned long id, unsigned char type) {
    const std::string name(NetAccess::HDBase(net_)->FindRecord(id)->Name());
    switch (type) {
      case kTypeServer:
        return Often() ? net_.DeleteServer(id) : net_.DeleteServer(name.c_str());
      case kTypeAP:
        return net_.DeleteAP(net_.GetAPServerID(id), name.c_str());
      case kTypeDep:
        return Often() ? net_.DeleteDep(id) : net_.DeleteDep(name.c_str());
      case kTypeAB:
        return Often() ? net_.DeleteAB(id) : net_.DeleteAB(name.c_str());
      default:
        return Often() ? net_.DeleteNGrp(id) : net_.DeleteNGrp(name.c_str());
    }
  }

  void ExpectMembershipsOfKnownDeps() {
    std::list<CABEntry> users;
    net_.GetListAB(users);
    for (const CABEntry& user : users) {
      const Numbers memberships = Memberships(net_, user.id);
      for (std::size_t i = 0; i < memberships.size(); i += 3) {
        EXPECT_EQ(net_.GetType(memberships[i]), kTypeDep) << "user " << user.id;
      }
    }
  }

  std::set<ncc::RowKey> RowKeys() {
    std::set<ncc::RowKey> keys;
    for (const auto& [key, row] : memory_.Store().Rows()) keys.insert(key);
    return keys;
  }

  MemoryNet memory_;
  CNCCNet& net_ = memory_.Net();
  std::mt19937 random_;
  std::set<ncc::RowKey> empty_;
  Numbers servers_, nodes_, users_, deps_, groups_;
  int names_ = 0;
};

TEST(RandomDeletion, LeavesNothingThatNamesWhatIsGone) {
  const char* const text = std::getenv("NCCNET_TEST_SEED");
  const unsigned long first = text != nullptr ? std::strtoul(text, nullptr, 0) : 20260201;
  for (unsigned long seed = first; seed < first + 25; ++seed) {
    Deletion deletion(seed);
    deletion.DeleteEverything();
    ASSERT_FALSE(::testing::Test::HasFailure()) << "seed " << seed;
  }
}

}  // namespace
