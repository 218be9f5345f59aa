// Addresses in text, types of objects, and the nodes that play a part for the whole network.

#include "structure/nodes.h"

#include <cstdio>

using namespace ncc;

namespace {

// At least four upper-case hexadecimal digits.
char* PutHex4(unsigned long value, char* at) {
  return at + std::snprintf(at, 2 * sizeof(value) + 1, "%4.4lX", value);
}

}  // namespace

char* CNCCNet::GetAddr4(unsigned long id, char* buffer) {
  PutHex4(id, buffer);
  return buffer;
}

char* CNCCNet::GetAddr8(unsigned long id, char* buffer) {
  PutHex4(id, PutHex4(state_->prefs.net_number, buffer));
  return buffer;
}

char* CNCCNet::GetNetAddr(char* buffer) {
  PutHex4(state_->prefs.net_number, buffer);
  return buffer;
}

unsigned char CNCCNet::GetType(unsigned long id) {
  return Run(*state_, kTypeNone, [&] {
    for (const std::uint8_t type : {kTypeServer, kTypeAP, kTypeDep, kTypeAB, kTypeNGrp}) {
      if (FindObject(*state_, id, type) != nullptr) return type;
    }
    RefuseUnknown(kTypeNone, id);
  });
}

unsigned long CNCCNet::GetAP(unsigned long mask) {
  NetState& net = *state_;
  return Run(net, 0UL, [&] {
    for (const std::uint32_t server : RootObjects(net, kTypeServer)) {
      unsigned long found = 0;
      ForEachAP(net, server, [&](const CHDBRecord& record) {
        const CNNEntry ap = EntryOf<CNNEntry>(record);
        if ((ap.flags & mask) == mask) found = ap.id;
        net.Progress();
        return found == 0;
      });
      if (found != 0) return found;
    }
    throw Refusal("no AP has these application flags");
  });
}

unsigned long CNCCNet::GetNCC() { return GetAP(static_cast<unsigned long>(kFlagNCC)); }
unsigned long CNCCNet::GetKC() { return GetAP(static_cast<unsigned long>(kFlagKC)); }
