// Opens the private side of a network object to the tests.
#pragma once

#include "core/net_state.h"
#include "nccnet/netdb.h"
#include "platform/hdb/base.h"

#include <memory>
#include <utility>

struct ncc::NetAccess {
  static void UseEngines(CNCCNet& net, EngineFactory engines) {
    net.state_->manager.SetEngineFactory(std::move(engines));
  }

  static void Lock(CNCCNet& net) { net.Lock(); }
  static void UnLock(CNCCNet& net) { net.UnLock(); }
  static bool HoldsLock(CNCCNet& net) { return net.state_->lock.HeldByThisThread(); }
  static bool IsStopGen(CNCCNet& net) { return net.IsStopGen(); }
  static TRef<CHDBase> HDBase(CNCCNet& net) { return net.HDBase(); }
  static TRef<CHDBFolder> RootFolder(CNCCNet& net) { return net.RootFolder(); }

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

// How many times the calling thread had to leave the object lock before it no longer held it.
inline int ReleaseHeldLevels(CNCCNet& net) {
  int levels = 0;
  for (; NetAccess::HoldsLock(net); ++levels) NetAccess::UnLock(net);
  return levels;
}
