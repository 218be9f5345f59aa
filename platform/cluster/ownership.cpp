#include "platform/cluster/ownership.h"

#include "platform/cluster/lease.h"
#include "platform/cluster/process_text.h"
#include "platform/process.h"

#include <algorithm>

namespace ncc::etcd {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kPause(100);
constexpr milliseconds kShortPause(5);
constexpr milliseconds kLetGo(3000);

}  // namespace

Ownership::Ownership(const EtcdSettings& settings, const Layout& layout, std::uint64_t mark,
                     std::size_t node, milliseconds wait, bool force)
    : settings_(settings), layout_(layout), mark_(mark), client_(settings_, node) {
  lease_ = GrantLease(client_, settings_.lease, settings_.timeout);
  Client client(settings_, client_.Current());
  thread_ = std::thread([this] { KeepAlive(); });
  try {
    Acquire(client, wait, force);
  } catch (...) {
    Stop();
    throw;
  }
}

Ownership::~Ownership() { Stop(); }

void Ownership::Acquire(Client& client, milliseconds wait, bool force) {
  const std::string value = ProcessText(mark_, MicrosecondsNow() / 1000000);
  const Transaction take = std::move(Transaction()
                                         .WhenCreated(layout_.Owner(), 0)
                                         .Put(layout_.Owner(), value, lease_)
                                         .Delete(layout_.Closed())
                                         .ElseGet({layout_.Owner()}));
  const Clock::time_point end = Clock::now() + wait;
  for (;;) {
    const Answer answer = client.Run(take);
    if (answer.succeeded) {
      token_ = answer.revision;
      return;
    }
    const KeyValue* const owner = answer.found.front().Only();
    if (owner == nullptr) {
      std::this_thread::sleep_for(kShortPause);
      continue;
    }
    if (MarkOf(owner->value) == mark_) {  // by a request whose answer was lost
      if (owner->lease == lease_) {
        token_ = owner->created;
        return;
      }
      Transaction keep;  // of a former try: on a lease that nobody keeps alive
      keep.WhenCreated(layout_.Owner(), owner->created);
      client.Run(keep.Put(layout_.Owner(), value, lease_));
      continue;
    }
    if (force) {
      RevokeLease(client, owner->lease, settings_.timeout);
      continue;
    }
    if (Clock::now() >= end) {
      throw StorageError("database is in use by " + DescribeProcess(owner->value),
                         NCCFailure::kInUse);
    }
    std::this_thread::sleep_for(
        std::min(kPause, std::chrono::ceil<milliseconds>(end - Clock::now())));
  }
}

void Ownership::KeepAlive() {
  const milliseconds period = milliseconds(settings_.lease) / 3;
  milliseconds pause = period;
  std::unique_lock lock(mutex_);
  while (!stopped_.wait_for(lock, pause, [this] { return stops_; })) {
    lock.unlock();
    pause = period;
    try {
      // Where it is gone the next commit finds out, and takes the ownership again if nobody has.
      KeepLease(client_, lease_, period);
    } catch (const std::exception&) {
      pause = kPause;
    }
    lock.lock();
  }
}

void Ownership::Stop() noexcept {
  {
    const std::lock_guard lock(mutex_);
    stops_ = true;
  }
  stopped_.notify_all();
  thread_.join();
  try {
    LetGo();
  } catch (const std::exception&) {
    // It ends by itself.
  }
}

void Ownership::LetGo() {
  const auto timeout = std::min<milliseconds>(settings_.timeout, kLetGo);
  if (token_ != 0) {
    Transaction close;
    close.WhenCreated(layout_.Owner(), token_).Delete(layout_.Owner()).Put(layout_.Closed(), "");
    try {
      client_.Call("/v3/kv/txn", close.Body(), timeout);
    } catch (const StorageError&) {
      // Without its lease the key goes, too.
    }
  }
  RevokeLease(client_, lease_, timeout);
}

}  // namespace ncc::etcd
