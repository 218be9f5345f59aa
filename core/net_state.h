// The members of a CNCCNet.
#pragma once

#include "nccnet/netdb.h"
#include "platform/hdb/base.h"
#include "platform/hdb/manager.h"
#include "platform/sync.h"

#include <memory>
#include <string>

namespace ncc {

class UnitScope;

struct NetState {
  NetState();
  ~NetState();
  NetState(const NetState&) = delete;
  NetState& operator=(const NetState&) = delete;

  CHDBMgr manager;
  TRef<CHDBase> base;     // null while no database is open
  TRef<CHDBFolder> root;  // of the open database
  std::string db_path;
  std::string db_name;
  std::string kc_path;
  std::string apdb_path = ".\\APDB\\";
  std::string map_path = ".\\MAP\\";
  NCCCallback callback = nullptr;
  void* context = nullptr;
  CNetPref prefs;
  ReentrantLock lock;
  Event stop_generation;
  std::unique_ptr<CThreadPool> pool;

  CNetPref prefs_before;             // at the beginning of the running unit
  std::unique_ptr<UnitScope> batch;  // the unit that BeginBatch began; null without one
  int callback_depth = 0;            // progress callbacks that are running

  // Calls the progress callback, if one is set. Throws CallbackFailure when it throws.
  void Progress();

  // Ends a batch without storing it, and leaves the lock that it held.
  void DropBatch();

  // Lets go of the database, without saving anything.
  void Release();
};

}  // namespace ncc
