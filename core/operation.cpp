#include "core/operation.h"

#include "platform/disk/files.h"
#include "platform/disk/paths.h"

namespace ncc {

std::string FolderOfDatabase(const char* path, const char* name) {
  if (path == nullptr || name == nullptr || *name == '\0') throw Refusal("no database was named");
  return WithSeparator(path);
}

std::string DatabasePath(const char* path, const char* name) {
  return NativePath(FolderOfDatabase(path, name) + name);
}

UnitScope::UnitScope(NetState& net) : net_(net), base_(net.base.get()) {
  // A callback while a database is being opened finds none.
  if (base_ == nullptr || (net.callback_depth > 0 && !net.root))
    throw Refusal("no database is open");
  const auto generation = base_->Generation();
  base_->CheckUsable();
  if (generation != base_->Generation()) FollowReload();
  outermost_ = !base_->InUnit();
  if (outermost_) net_.prefs_before = net_.prefs;
  revision_before_ = base_->Revision();
  touched_before_ = base_->Unit().TouchCount();
  base_->BeginUnit();
}

UnitScope::~UnitScope() {
  if (done_) return;
  // An exception of a callback in a mere query leaves the unit as it was.
  if (!outermost_ && !failed_ && base_->Unit().TouchCount() == touched_before_) {
    base_->LeaveUnit();
    return;
  }
  if (outermost_) {
    Drop();
  } else {
    base_->AbandonUnit("an operation in it failed");
  }
}

void UnitScope::Fail(const char* why) noexcept {
  failed_ = true;
  base_->FailUnit(why);
}

void UnitScope::Drop() noexcept {
  done_ = true;
  const auto generation = base_->Generation();
  base_->AbandonUnit("dropped");
  net_.prefs = net_.prefs_before;
  if (generation != base_->Generation()) FollowReload();
  FollowOutcome();
}

void UnitScope::Finish() {
  done_ = true;
  const auto generation = base_->Generation();
  try {
    base_->EndUnit();
  } catch (...) {
    net_.prefs = net_.prefs_before;
    FollowReload();
    FollowOutcome();
    throw;
  }
  if (generation != base_->Generation()) FollowReload();
}

void UnitScope::FollowReload() noexcept {
  net_.root.reset();
  try {
    net_.root = CHDBFolderManager(*base_).FolderOpenRoot(kFolderSpace);
  } catch (const std::exception&) {
    // Nothing is stored yet, or nothing can be read: the base itself refuses what comes.
  }
}

// An earlier change of which that was not known may have turned out to be stored.
void UnitScope::FollowOutcome() noexcept {
  if (base_->Revision() <= revision_before_) return;
  try {
    net_.FollowStored();
  } catch (const std::exception&) {
    // As above.
  }
}

bool RunInUnit(NetState& net, OperationBody body) {
  try {
    return Attempt([&] {
      UnitScope unit(net);
      try {
        body();
      } catch (const Refusal&) {
        unit.Finish();
        throw;
      } catch (const FileError&) {  // nothing to do with what is stored
        unit.Finish();
        throw;
      } catch (const CallbackFailure&) {
        throw;
      } catch (const std::exception& error) {
        unit.Fail(error.what());
        throw;
      }
      unit.Finish();
    });
  } catch (const CallbackFailure& failure) {
    failure.Rethrow();
  }
}

}  // namespace ncc
