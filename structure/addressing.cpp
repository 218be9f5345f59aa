// Addresses in text, types of objects, and the nodes that play a part for the whole network.

#include "structure/nodes.h"

#include <cstdio>

using namespace ncc;

namespace {

// Four to eight upper-case hexadecimal digits.
char* PutHex4(std::uint32_t value, char* at) {
  return at + std::snprintf(at, 2 * sizeof(value) + 1, "%4.4X", value);
}

}  // namespace

char* CNCCNet::GetAddr4(unsigned long id, char* buffer) {
  PutHex4(static_cast<std::uint32_t>(id), buffer);
  return buffer;
}

char* CNCCNet::GetAddr8(unsigned long id, char* buffer) {
  LockScope lock(state_->lock);
  PutHex4(static_cast<std::uint32_t>(id), PutHex4(state_->prefs.net_number, buffer));
  return buffer;
}

char* CNCCNet::GetNetAddr(char* buffer) {
  LockScope lock(state_->lock);
  PutHex4(state_->prefs.net_number, buffer);
  return buffer;
}

unsigned char CNCCNet::GetType(unsigned long id) {
  return Run(*state_, kTypeNone, [&] {
    for (const std::uint8_t type : {kTypeServer, kTypeAP, kTypeDep, kTypeAB, kTypeNGrp}) {
      TDBObjId object;
      const bool found = type == kTypeAP ? FindObject(*state_, id, type) != nullptr
                                         : GetRootEntry(id, type, object);
      if (found) return type;
    }
    RefuseUnknown(kTypeNone, id);
  });
}

unsigned long CNCCNet::GetAP(unsigned long mask) {
  NetState& net = *state_;
  return Run(net, 0UL, [&] {
    unsigned long found = 0;
    WalkEntries(*net.root, [&](const CHDBFolderEntry& entry, std::uint32_t) {
      if (entry.Kind() != kTypeServer) return true;
      const TRef<CHDBFolder> server = OpenFolder(net, entry.Object().number);
      WalkItems(net, *server, [&](const CHDBFolderEntry& item, std::uint32_t) {
        if (item.Kind() != kTypeAP) return true;
        const CNNEntry ap = EntryOf<CNNEntry>(RecordOf(net, item.Object()));
        if ((ap.flags & mask) == mask) found = ap.id;
        return found == 0;
      });
      return found == 0;
    });
    if (found != 0) return found;
    throw Refusal("no AP has these application flags");
  });
}

unsigned long CNCCNet::GetNCC() { return GetAP(static_cast<unsigned long>(kFlagNCC)); }
unsigned long CNCCNet::GetKC() { return GetAP(static_cast<unsigned long>(kFlagKC)); }
