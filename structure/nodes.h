// What the operations on servers and subscriber points share.
#pragma once

#include "core/find.h"
#include "core/walk.h"

#include <cstdint>

namespace ncc {

// Calls visit(record) for a server's APs in the order of its folder, until it returns false; for
// none when the server is gone.
template <class Visit>
void ForEachAP(const NetState& net, std::uint32_t server, Visit visit) {
  if (FindObject(net, server, kTypeServer) == nullptr) return;
  WalkEntries(*OpenFolder(net, server), [&](const CHDBFolderEntry& entry, std::uint32_t) {
    return entry.Kind() != kTypeAP || visit(RecordOf(net, entry.Object()));
  });
}

// Calls the progress callback, if there is one, for each item of the root folder, and does nothing
// else: what needs to know the servers is a walk to the caller, whatever index answers it.
void CallBackForServers(NetState& net);

// The first AP whose flags hold the mask, by server in root order, then in the server's order,
// found without progress callback; null when there is none.
const CHDBRecord* FindAPWithFlags(const NetState& net, unsigned long mask);

// The record of a server or an AP. Throws Refusal when there is none.
const CHDBRecord& KnownNode(const NetState& net, unsigned long id);

// Raises or lowers a server's number of APs. Returns the new number.
std::uint32_t ChangeApCount(const Entity& server, int by);

}  // namespace ncc
