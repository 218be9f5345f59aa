// Batches, what became of them, backups and the revision.

#include "core/last_error.h"
#include "core/operation.h"
#include "platform/disk/paths.h"

using namespace ncc;

bool CNCCNet::BeginBatch() {
  NetState& net = *state_;
  net.lock.Enter();
  const bool begun = Attempt([&] {
    if (net.callback_depth > 0) throw Refusal("a progress callback cannot begin a batch");
    if (net.batch) throw Refusal("a batch has begun already");
    net.batch = std::make_unique<UnitScope>(net);
  });
  if (!begun) net.lock.Leave();  // else EndBatch does
  return begun;
}

bool CNCCNet::EndBatch(bool keep) {
  NetState& net = *state_;
  if (!net.lock.HeldByThisThread() || !net.batch) {
    SetLastError("this thread has no batch to end");
    return false;
  }
  if (net.callback_depth > 0) {
    SetLastError("a progress callback cannot end a batch");
    return false;
  }
  const auto unit = std::move(net.batch);
  const bool ended = Attempt([&] {
    if (keep) {
      unit->Finish();
    } else {
      unit->Drop();
    }
  });
  net.lock.Leave();
  return ended;
}

bool CNCCNet::Backup(const char* file) {
  NetState& net = *state_;
  LockScope lock(net.lock);
  return Attempt([&] {
    if (file == nullptr || *file == '\0') throw Refusal("no file was named");
    if (!net.base) throw Refusal("no database is open");
    net.base->CheckUsable();
    if (net.base->InUnit()) throw Refusal("a backup cannot be made inside a batch or an operation");
    net.base->CopyTo(NativePath(file));
  });
}

NCCOutcome CNCCNet::Settle() {
  NetState& net = *state_;
  LockScope lock(net.lock);
  NCCOutcome outcome = NCCOutcome::kNone;
  Attempt([&] {
    if (!net.base) throw Refusal("no database is open");
    outcome = net.base->Outcome();
    if (net.callback_depth > 0 || net.base->InUnit())
      throw Refusal("this cannot be asked inside a batch or an operation");
    const std::uint64_t before = net.base->Revision();
    outcome = net.base->Settle();
    if (net.base->Revision() != before) net.FollowStored();
  });
  return outcome;
}

std::uint64_t CNCCNet::GetRevision() {
  LockScope lock(state_->lock);
  return state_->base ? state_->base->Revision() : 0;
}
