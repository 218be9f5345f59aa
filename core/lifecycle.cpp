// Construction, opening and closing of the network database, and its preferences block.

#include "core/entry.h"
#include "core/last_error.h"
#include "core/operation.h"
#include "core/owner_watch.h"
#include "platform/disk/paths.h"

#include <cstring>

using namespace ncc;

namespace {

constexpr char kNetworkEntry[] = "Net";

// Runs `open` after the steps that Create and Open share.
template <class OpenBase>
bool OpenDatabase(NetState& net, const char* path, const char* name, OpenBase open) {
  LockScope lock(net.lock);
  if (net.callback_depth > 0) {
    SetLastError("a progress callback cannot open a database");
    return false;
  }
  try {
    const bool opened = Attempt([&] {
      net.DropBatch();
      net.Release();
      ++net.open_count;
      net.db_path = FolderOfDatabase(path, name);
      net.db_name = name;
      net.manager.VarMap().Set("DBDir", net.db_path);
      open(NativePath(net.db_path + net.db_name));
    });
    if (!opened) net.Release();
    return opened;
  } catch (const CallbackFailure& failure) {
    net.Release();
    failure.Rethrow();
  }
}

// A new database holds nothing but its definitions, the root folder and the network record.
void BuildLayout(NetState& net) {
  CHDBase& base = *net.base;
  const std::string name = "%DBDir%" + net.db_name;
  base.IndexCreate(name + "i", kIdAttribute, kNumberValue, 0);
  base.IndexCreate(name + "n", kNameAttribute, kStringValue, kMaxNameLength);
  base.IndexCreate(name + "t", kTypeAttribute, kNumberValue, 0);
  base.RecSpcCreate(name, kRecordSpace);
  base.ParentLinkCreate(name);
  CHDBFolderManager folders(base);
  net.root = folders.FolderCreateRoot(base.FolderSpcCreate(name, kFolderSpace));
  const auto network = folders.FolderCreate(kNetworkNumber);
  const auto record = CHDBRecordManager(base).RecCreate(network->RecordId());
  record->SetName(kNetworkEntry);
  ReplaceEntry(*record, net.prefs);
  net.root->Append(network->Id(), 0, kNetworkEntry);
}

void SetPath(ReentrantLock& object_lock, std::string& stored, const char* path) {
  LockScope lock(object_lock);
  Attempt([&] { stored = path != nullptr ? path : ""; });
}

}  // namespace

CNCCNet::CNCCNet(NCCCallback callback, void* context) : state_(std::make_unique<NetState>()) {
  state_->callback = callback;
  state_->context = context;
  CNetHistory::SetState(*state_);
  CNetStandby::SetState(*state_);
}

CNCCNet::~CNCCNet() {
  if (state_->lock.HeldByThisThread()) state_->DropBatch();  // a worker may wait for the lock
  state_->pool->StopAll();
  Close();
  state_->lock.Enter();
}

NCCCallback CNCCNet::SetCallback(NCCCallback callback) {
  LockScope lock(state_->lock);
  return std::exchange(state_->callback, callback);
}

NCCCallback CNCCNet::SetCallback(NCCCallback callback, void* context) {
  LockScope lock(state_->lock);
  state_->context = context;
  return std::exchange(state_->callback, callback);
}

bool CNCCNet::SetTextEncoding(CTextEncoding encoding) {
  LockScope lock(state_->lock);
  if (state_->callback_depth > 0) {
    SetLastError("a progress callback cannot change the encoding of names");
    return false;
  }
  state_->encoding = encoding;
  ClearLastError();
  return true;
}

CTextEncoding CNCCNet::GetTextEncoding() {
  LockScope lock(state_->lock);
  return state_->encoding;
}

bool CNCCNet::Create(const char* path, const char* name, unsigned long net_number) {
  NetState& net = *state_;
  return OpenDatabase(net, path, name, [&](const std::string& file) {
    if (net_number > 0xFFFFFFFF) throw Refusal("the network number has more than 32 bits");
    net.base = std::make_shared<CHDBase>(net.manager, file);
    CreateDB(net_number);
  });
}

bool CNCCNet::Open(const char* path, const char* name) {
  NetState& net = *state_;
  return OpenDatabase(net, path, name, [&](const std::string& file) {
    net.base =
        std::make_shared<CHDBase>(net.manager, file, TDBMode::kOpenExisting, net.accepts_loss);
    ReadNetInfo();
  });
}

bool CNCCNet::OpenSnapshot(const char* path, const char* name) {
  NetState& net = *state_;
  return OpenDatabase(net, path, name, [&](const std::string& file) {
    net.base = std::make_shared<CHDBase>(net.manager, file, TDBMode::kSnapshot, net.accepts_loss);
    ReadNetInfo();
  });
}

bool CNCCNet::OpenStandby(const char* path, const char* name) {
  NetState& net = *state_;
  return OpenDatabase(net, path, name, [&](const std::string& file) {
    net.base = std::make_shared<CHDBase>(net.manager, file, TDBMode::kFollow);
    net.watch = std::make_shared<OwnerWatch>(net.manager.Engines()(file, {OpenMode::kFollow}));
    net.is_owner_lost = false;
    ReadNetInfo();
  });
}

void CNCCNet::AcceptLoss(bool accept) {
  LockScope lock(state_->lock);
  state_->accepts_loss = accept;
}

// Takes the lock by plain calls: a failure leaves it entered.
void CNCCNet::CreateDB(unsigned long net_number) {
  NetState& net = *state_;
  Lock();
  UnitScope unit(net);
  net.prefs.net_number = static_cast<std::uint32_t>(net_number);
  net.prefs.byte_12 = 1;
  net.prefs.node_settings = 2;
  net.prefs.value_14 = 7721;
  net.prefs.byte_18 = 0;
  net.prefs.byte_19 = 1;
  net.prefs.value_20 = 0;
  BuildLayout(net);
  unit.Finish();
  UnLock();
}

void CNCCNet::Close() {
  NetState& net = *state_;
  LockScope lock(net.lock);
  if (net.callback_depth > 0) {
    SetLastError("a progress callback cannot close the database");
    return;
  }
  net.DropBatch();
  if (!net.base) return;
  if (!net.base->Unit().RefusesChanges()) SaveNetInfo();
  net.Release();
}

void CNCCNet::SaveNetInfo() {
  Run(*state_, [&] { state_->StorePreferences(); });
}

void CNCCNet::LoadNetInfo() {
  Run(*state_, [&] { ReadNetInfo(); });
}

// Takes the lock by plain calls: a failure leaves it entered, other than one of a progress
// callback.
void CNCCNet::ReadNetInfo() {
  NetState& net = *state_;
  Lock();
  unsigned long space = 0;
  try {
    space = GetRootFldSpc();
  } catch (const CallbackFailure&) {
    UnLock();
    throw;
  }
  net.root = CHDBFolderManager(*net.base).FolderOpenRoot(static_cast<std::uint32_t>(space));
  const auto record = net.NetworkRecord();
  if (record->Data().size() < sizeof(CNetPref))
    throw StorageError("the network record is too short");
  std::memcpy(&net.prefs, record->Data().data(), sizeof(CNetPref));
  UnLock();
}

CString CNCCNet::GetDBPath() {
  LockScope lock(state_->lock);
  return state_->db_path;
}

CString CNCCNet::GetDBName() {
  LockScope lock(state_->lock);
  return state_->db_name;
}

void CNCCNet::KCPath(const char* path) {
  LockScope lock(state_->lock);
  SetPath(state_->lock, state_->kc_path, path);
  state_->update_manager.FollowExportFolder(&state_->kc_path);
}
CString& CNCCNet::KCPath() { return state_->kc_path; }
void CNCCNet::APDBPath(const char* path) { SetPath(state_->lock, state_->apdb_path, path); }
CString& CNCCNet::APDBPath() { return state_->apdb_path; }
void CNCCNet::MAPPath(const char* path) { SetPath(state_->lock, state_->map_path, path); }
CString& CNCCNet::MAPPath() { return state_->map_path; }

CNetPref* CNCCNet::Preferences() { return &state_->prefs; }
CUpdateManager* CNCCNet::GetUpdateManager() { return &state_->update_manager; }
CThreadPool* CNCCNet::GetThreadPool() { return state_->pool.get(); }
const char* CNCCNet::LastError() { return LastErrorText(); }

TRef<CHDBase> CNCCNet::HDBase() { return state_->base; }
TRef<CHDBFolder> CNCCNet::RootFolder() { return state_->root; }

void CNCCNet::Lock() { state_->lock.Enter(); }
void CNCCNet::UnLock() { state_->lock.Leave(); }
void CNCCNet::LockGen() { state_->stop_generation.Set(); }
void CNCCNet::UnLockGen() { state_->stop_generation.Reset(); }
bool CNCCNet::IsStopGen() { return state_->StopRequested(); }

void CNCCNet::SetFileObserver(std::function<void(const CFileEvent&)> observer) {
  LockScope lock(state_->lock);
  state_->file_observer = std::move(observer);
}
