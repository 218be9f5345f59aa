// Opens the private side of a network object to the tests.
#pragma once

#include "core/net_state.h"
#include "nccnet/netdb.h"
#include "platform/hdb/base.h"

#include <chrono>
#include <future>
#include <utility>

struct ncc::NetAccess {
  static void UseEngines(CNCCNet& net, EngineFactory engines) {
    net.state_->manager.SetEngineFactory(std::move(engines));
  }

  static void Lock(CNCCNet& net) { net.Lock(); }
  static void UnLock(CNCCNet& net) { net.UnLock(); }
  static bool IsStopGen(CNCCNet& net) { return net.IsStopGen(); }
  static TRef<CHDBase> HDBase(CNCCNet& net) { return net.HDBase(); }
  static TRef<CHDBFolder> RootFolder(CNCCNet& net) { return net.RootFolder(); }

  static void SetData(CNCCNet& net, TRef<CHDBList> list, void* data, unsigned long size) {
    net.SetData(std::move(list), data, size);
  }
  static void AddListId(CNCCNet& net, TRef<CHDBRecord>& record, TDBObjId object, int n) {
    net.AddListId(record, object, n);
  }
  static void DelListId(CNCCNet& net, TRef<CHDBRecord>& record, TDBObjId object, int n) {
    net.DelListId(record, object, n);
  }
  static void DelAllListId(CNCCNet& net, TRef<CHDBRecord>& record, TDBObjId object, int n, int m) {
    net.DelAllListId(record, object, n, m);
  }
  template <class NameOrId>
  static bool GetRootEntry(CNCCNet& net, NameOrId which, unsigned char type, TDBObjId& result) {
    return net.GetRootEntry(which, type, result);
  }
  template <class NameOrId>
  static bool DeleteRootEntry(CNCCNet& net, NameOrId which, unsigned char type) {
    return net.DeleteRootEntry(which, type);
  }
  static unsigned long GetRootFldSpc(CNCCNet& net) { return net.GetRootFldSpc(); }
};

using ncc::NetAccess;

// Runs `change` on the database below the network object as one operation does.
template <class Change>
void ChangeBelow(CNCCNet& net, Change change) {
  const auto base = NetAccess::HDBase(net);
  base->BeginUnit();
  change(*base);
  base->EndUnit();
}

// How many times the calling thread had to leave the object lock before another thread got in.
inline int ReleaseHeldLevels(CNCCNet& net) {
  using namespace std::chrono_literals;
  auto other = std::async(std::launch::async, [&net] { return net.GetServersCount(); });
  int levels = 0;
  while (levels < 8 && other.wait_for(300ms) != std::future_status::ready) {
    NetAccess::UnLock(net);
    ++levels;
  }
  return levels;
}
