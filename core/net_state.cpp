#include "core/net_state.h"

#include "core/entry.h"
#include "core/examination.h"
#include "core/last_error.h"
#include "core/operation.h"
#include "platform/process.h"

namespace ncc {

NetState::NetState() : pool(std::make_unique<CThreadPool>()) {
  manager.SetExaminer(ExamineNetwork);
  manager.SetOrigin({UserOfProcess(), ProgramOfProcess(), {}});
}
NetState::~NetState() = default;

namespace {

// A callback of the application runs.
class CallbackScope {
 public:
  explicit CallbackScope(int& running) : running_(running) { ++running_; }
  ~CallbackScope() { --running_; }
  CallbackScope(const CallbackScope&) = delete;
  CallbackScope& operator=(const CallbackScope&) = delete;

 private:
  int& running_;
};

}  // namespace

void NetState::Progress() {
  if (callback == nullptr) return;
  const CallbackScope running(callback_depth);
  try {
    callback(context, nullptr);
  } catch (...) {
    throw CallbackFailure(std::current_exception());
  }
}

void NetState::Observe(const CFileEvent& event) const {
  if (!file_observer) return;
  const CallbackScope running(callback_depth);
  try {
    const auto observer = file_observer;  // it may take itself off
    observer(event);
  } catch (...) {
    // What an observer thinks of a file changes no result.
  }
}

void NetState::DropBatch() {
  if (!batch) return;
  batch.reset();
  lock.Leave();
}

void NetState::Release() {
  output_cache.reset();
  root.reset();
  watch.reset();
  base.reset();
}

TRef<CHDBRecord> NetState::NetworkRecord() const {
  const auto& entries = root->Entries();
  if (entries.Size() == 0) throw StorageError("the database has no network record");
  const TDBObjId network = entries.At(entries.First()).Object();
  return CHDBRecordManager(*base).RecOpen({kRecordSpace, network.number});
}

void NetState::StorePreferences() const { ReplaceEntry(*NetworkRecord(), prefs); }

void NetState::FollowStored() {
  output_cache.reset();
  root.reset();
  if (!base) return;
  root = CHDBFolderManager(*base).FolderOpenRoot(kFolderSpace);
  prefs = EntryOf<CNetPref>(*NetworkRecord());
}

}  // namespace ncc
