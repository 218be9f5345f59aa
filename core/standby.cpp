// Following the owner of a database, and taking it over.

#include "nccnet/standby.h"

#include "core/operation.h"
#include "core/owner_watch.h"

#include <algorithm>

using namespace ncc;

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// How soon a waiting thread sees that the database was closed, or that its owner has gone.
constexpr milliseconds kLook(200);

Clock::time_point EndOf(unsigned long wait) {
  constexpr unsigned long kLongest = 1000UL * 60 * 60 * 24 * 365;
  return Clock::now() + milliseconds(std::min(wait, kLongest));
}

// Under the lock.
void CheckStandby(const NetState& net) {
  if (!net.base) throw Refusal("no database is open");
  if (!net.watch) throw Refusal("this is no standby: it was not opened to follow an owner");
  if (net.callback_depth > 0 || net.base->InUnit())
    throw Refusal("a standby does not follow inside a batch or an operation");
}

// Runs `change`, which may put another state of the database in memory. Under the lock.
template <class Change>
void ReplaceShown(NetState& net, Change change) {
  const std::uint64_t generation = net.base->Generation();
  const auto follow = [&] {
    if (net.base->Generation() != generation) net.FollowStored();
  };
  try {
    change();
  } catch (...) {
    try {
      follow();
    } catch (const std::exception&) {
      // Nothing can be read: the base itself refuses what comes.
    }
    throw;
  }
  follow();
}

// Waits for news until `end`, but not for long, and takes them in. False when there were none.
bool FollowAWhile(NetState& net, Clock::time_point end) {
  std::shared_ptr<OwnerWatch> watch;
  std::uint64_t revision = 0;
  {
    const LockScope lock(net.lock);
    CheckStandby(net);
    ReplaceShown(net, [&] { net.base->CheckUsable(); });
    watch = net.watch;
    revision = net.base->Revision();
  }
  const auto left = std::chrono::ceil<milliseconds>(end - Clock::now());
  const OwnerWatch::News news = watch->Wait(revision, std::clamp(left, milliseconds(0), kLook));
  const LockScope lock(net.lock);
  if (net.watch != watch) return false;
  CheckStandby(net);
  net.base->BeFollowerOf(news.owner);
  net.is_owner_lost = news.is_owner_lost;
  bool moved = false;
  if (news.is_behind) ReplaceShown(net, [&] { moved = net.base->Follow(milliseconds(0)); });
  return moved;
}

// False when there is another owner and `keeps_trying`.
bool TryTakeOver(NetState& net, bool force, bool keeps_trying) {
  const LockScope lock(net.lock);
  CheckStandby(net);
  try {
    ReplaceShown(net, [&] { net.base->TakeOver(milliseconds(0), force); });
  } catch (const StorageError& error) {
    if (error.Kind() != NCCFailure::kInUse || !keeps_trying) throw;
    return false;
  }
  net.watch.reset();
  return true;
}

// Until the owner is gone or time is over.
void FollowOwner(NetState& net, Clock::time_point end) {
  for (bool has_owner = true; has_owner && Clock::now() < end;) {
    FollowAWhile(net, end);
    const LockScope lock(net.lock);
    CheckStandby(net);
    has_owner = !net.base->OwnerToFollow().empty();
  }
}

}  // namespace

namespace ncc {

OwnerWatch::News OwnerWatch::Wait(std::uint64_t revision, milliseconds wait) {
  const std::lock_guard lock(mutex_);
  const auto units = engine_->Follow(revision, wait);
  const std::string owner = engine_->Owner().value_or(std::string());
  return {!units || !units->empty(), owner, engine_->IsOwnerLost()};
}

}  // namespace ncc

bool CNetStandby::IsStandby() {
  const LockScope lock(net_->lock);
  return net_->watch != nullptr;
}

bool CNetStandby::Follow(unsigned long wait) {
  bool moved = false;
  Attempt([&] {
    const Clock::time_point end = EndOf(wait);
    do {
      moved = FollowAWhile(*net_, end);
    } while (!moved && Clock::now() < end);
  });
  return moved;
}

bool CNetStandby::TakeOver(unsigned long wait, bool force) {
  return Attempt([&] {
    const Clock::time_point end = EndOf(wait);
    while (!TryTakeOver(*net_, force, Clock::now() < end)) FollowOwner(*net_, end);
  });
}

bool CNetStandby::IsOwnerLost() {
  const LockScope lock(net_->lock);
  return net_->watch != nullptr && net_->is_owner_lost;
}

CString CNetStandby::GetOwner() {
  const LockScope lock(net_->lock);
  CString owner;
  Attempt([&] {
    if (!net_->base) throw Refusal("no database is open");
    owner = net_->watch ? net_->base->OwnerToFollow() : net_->base->Owner().value_or(CString());
  });
  return owner;
}
