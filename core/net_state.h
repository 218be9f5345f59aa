// The members of a CNCCNet.
#pragma once

#include "nccnet/netdb.h"
#include "nccnet/update_manager.h"
#include "platform/hdb/base.h"
#include "platform/hdb/manager.h"
#include "platform/sync.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace ncc {

// Of the folder below the root folder, on which the network record is.
inline constexpr std::uint32_t kNetworkNumber = kRootNumber - 1;

class Collection;
class OutputCache;
class OwnerWatch;
class UnitScope;

struct NetState {
  NetState();
  ~NetState();
  NetState(const NetState&) = delete;
  NetState& operator=(const NetState&) = delete;

  CHDBMgr manager;
  TRef<CHDBase> base;                 // null while no database is open
  TRef<CHDBFolder> root;              // of the open database
  std::shared_ptr<OwnerWatch> watch;  // null unless the database is followed
  bool is_owner_lost = false;         // of a followed one, when this was asked last
  std::string db_path;
  std::string db_name;
  std::string kc_path;
  std::string apdb_path = ".\\APDB\\";
  std::string map_path = ".\\MAP\\";
  CTextEncoding encoding = CTextEncoding::kCp1251;  // of the names that the caller gives
  NCCCallback callback = nullptr;
  void* context = nullptr;
  CNetPref prefs;
  ReentrantLock lock;
  Event stop_generation;
  std::unique_ptr<CThreadPool> pool;
  CUpdateManager update_manager;

  std::function<void(const CFileEvent&)> file_observer;
  std::shared_ptr<OutputCache> output_cache;  // what generators composed; null without
  Collection* collection = nullptr;           // compares what generators compose; null without
  std::uint64_t open_count = 0;               // databases that were opened or created
  bool accepts_loss = false;                  // see AcceptLoss

  CNetPref prefs_before;             // at the beginning of the running unit
  std::unique_ptr<UnitScope> batch;  // the unit that BeginBatch began; null without one
  mutable int callback_depth = 0;    // progress callbacks and file observers that are running

  // Calls the progress callback, if one is set. Throws CallbackFailure when it throws.
  void Progress();

  // Whether generators are to stop.
  bool StopRequested() const { return stop_generation.IsSet() || pool->IsStopping(); }

  // Tells the file observer, if there is one. What it throws is ignored.
  void Observe(const CFileEvent& event) const;

  // Ends a batch without storing it, and leaves the lock that it held.
  void DropBatch();

  // Lets go of the database, without saving anything.
  void Release();

  // The record of the root folder's first entry, whatever its name: the preferences block.
  TRef<CHDBRecord> NetworkRecord() const;
  void StorePreferences() const;
  // After what is stored was replaced by another state of it: root folder and preferences anew.
  void FollowStored();
};

// The members of a network object, for functions that are none of its members.
struct StateOf {
  static NetState& Net(CNCCNet& net) { return *net.state_; }
};

}  // namespace ncc
