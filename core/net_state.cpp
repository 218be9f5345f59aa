#include "core/net_state.h"

#include "core/operation.h"

namespace ncc {

NetState::NetState() : pool(std::make_unique<CThreadPool>()) {}
NetState::~NetState() = default;

void NetState::Progress() {
  if (callback == nullptr) return;
  struct Depth {
    explicit Depth(int& running) : count(running) { ++count; }
    ~Depth() { --count; }
    int& count;
  } depth(callback_depth);
  try {
    callback(context, nullptr);
  } catch (...) {
    throw CallbackFailure(std::current_exception());
  }
}

void NetState::FollowKcPath() {
  // A folder that the application gave to the manager itself stays.
  if (handed_kc_path == nullptr || update_manager.GetExportFolder() != handed_kc_path) return;
  handed_kc_path = kc_path.c_str();
  update_manager.SetExportFolder(handed_kc_path);
}

void NetState::DropBatch() {
  if (!batch) return;
  batch.reset();
  lock.Leave();
}

void NetState::Release() {
  output_cache.reset();
  root.reset();
  base.reset();
}

}  // namespace ncc
