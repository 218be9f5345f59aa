// The value of a follower's key: the revision in 16 hexadecimal digits, then as an owner's.

#include "platform/cluster/presence.h"

#include "platform/cluster/lease.h"
#include "platform/cluster/process_text.h"
#include "platform/process.h"

namespace ncc::etcd {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr seconds kLease(10);
constexpr seconds kRenewal(3);
constexpr seconds kPause(1);  // between two writes
constexpr milliseconds kTimeout(1000);

}  // namespace

Presence::~Presence() {
  if (lease_ == 0) return;
  try {
    RevokeLease(client_, lease_, kTimeout);
  } catch (const std::exception&) {
    // It ends by itself.
  }
}

void Presence::Tell(std::uint64_t revision) {
  const Clock::time_point now = Clock::now();
  if (now < next_ || (revision == told_ && now < renewed_ + kRenewal)) return;
  next_ = now + kPause;
  try {
    Write(revision);
    if (now < renewed_ + kRenewal) return;
    renewed_ = now;
    if (!KeepLease(client_, lease_, kTimeout)) lease_ = 0;
  } catch (const Rejected&) {
    lease_ = 0;
  } catch (const StorageError&) {
    told_ = 0;
  }
  if (lease_ == 0) told_ = 0;
}

void Presence::Write(std::uint64_t revision) {
  if (revision == told_) return;
  if (since_ == 0) since_ = MicrosecondsNow() / 1000000;
  if (lease_ == 0) lease_ = GrantLease(client_, kLease, kTimeout);
  Transaction put;
  put.Put(layout_.Follower(lease_), ProcessText(revision, since_), lease_);
  client_.Call("/v3/kv/txn", put.Body(), kTimeout);
  told_ = revision;
}

std::vector<EngineStatus::Follower> ReadFollowers(Client& client, const Layout& layout) {
  std::vector<EngineStatus::Follower> followers;
  const Answer answer = client.Get({layout.First('f', 0), layout.End('f')});
  for (const KeyValue& one : answer.found.front().keys)
    followers.push_back({DescribeProcess(one.value), MarkOf(one.value)});
  return followers;
}

}  // namespace ncc::etcd
