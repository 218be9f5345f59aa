// The value of the owner's key: a mark of 16 hexadecimal digits, the seconds since 1970 at which it
// was made, and who that is, each behind a blank.

#include "platform/cluster/ownership.h"

#include "platform/process.h"
#include "platform/token.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>

namespace ncc::etcd {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kPause(100);
constexpr std::size_t kMark = 16;

std::string MarkText(std::uint64_t mark) {
  std::array<char, kMark + 1> text{};
  std::snprintf(text.data(), text.size(), "%016" PRIx64, mark);
  return text.data();
}

std::string LeaseBody(const char* name, std::int64_t number) {
  return std::string("{\"") + name + "\":\"" + std::to_string(number) + "\"}";
}

void Revoke(Client& client, std::int64_t lease, milliseconds timeout) {
  try {
    client.Call("/v3/lease/revoke", LeaseBody("ID", lease), timeout);
  } catch (const Rejected&) {
    // It is gone already.
  }
}

}  // namespace

std::string DescribeOwner(const std::string& value) {
  long long since = 0;
  int behind = 0;
  if (value.size() <= kMark ||
      std::sscanf(value.c_str() + kMark, " %lld %n", &since, &behind) != 1 || behind == 0)
    return "another process";
  return value.substr(kMark + static_cast<std::size_t>(behind)) + ", since " + LocalTime(since);
}

Ownership::Ownership(const EtcdSettings& settings, const Layout& layout, milliseconds wait,
                     bool force)
    : settings_(settings), mark_(DrawToken()), client_(settings_) {
  Client client(settings_);
  lease_ = client.Call("/v3/lease/grant", LeaseBody("TTL", settings_.lease.count())).lease;
  thread_ = std::thread([this] { KeepAlive(); });
  try {
    Acquire(layout, wait, force);
  } catch (...) {
    Stop();
    throw;
  }
}

Ownership::~Ownership() { Stop(); }

void Ownership::Acquire(const Layout& layout, milliseconds wait, bool force) {
  const std::string mark = MarkText(mark_);
  const std::string value = mark + " " + std::to_string(MicrosecondsNow() / 1000000) + " " +
                            DescribeThisProcess() + " on " + HostName();
  const Transaction take = std::move(Transaction()
                                         .WhenCreated(layout.Owner(), 0)
                                         .Put(layout.Owner(), value, lease_)
                                         .ElseGet({layout.Owner()}));
  const Clock::time_point end = Clock::now() + wait;
  Client client(settings_);
  for (;;) {
    const Answer answer = client.Run(take);
    if (answer.succeeded) {
      token_ = answer.revision;
      return;
    }
    const KeyValue* const owner = answer.found.front().Only();
    if (owner == nullptr) continue;
    if (owner->value.starts_with(mark)) {  // by a request whose answer was lost
      token_ = owner->created;
      return;
    }
    if (force) {
      Revoke(client, owner->lease, settings_.timeout);
      continue;
    }
    if (Clock::now() >= end) {
      throw StorageError("database is in use by " + DescribeOwner(owner->value),
                         NCCFailure::kInUse);
    }
    std::this_thread::sleep_for(
        std::min(kPause, std::chrono::ceil<milliseconds>(end - Clock::now())));
  }
}

void Ownership::KeepAlive() {
  const milliseconds period = milliseconds(settings_.lease) / 3;
  const std::string body = LeaseBody("ID", lease_);
  milliseconds pause = period;
  std::unique_lock lock(mutex_);
  while (!stopped_.wait_for(lock, pause, [this] { return stops_; })) {
    lock.unlock();
    pause = period;
    try {
      // Where it is gone the next commit finds out, and takes the ownership again if nobody has.
      client_.Call("/v3/lease/keepalive", body, period);
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
    Revoke(client_, lease_, std::min<milliseconds>(settings_.timeout, milliseconds(1000)));
  } catch (const std::exception&) {
    // It ends by itself.
  }
}

}  // namespace ncc::etcd
