// Addresses in text, types of objects, and the nodes that play a part for the whole network.

#include "core/entry.h"
#include "core/find.h"
#include "core/last_error.h"
#include "core/operation.h"
#include "core/walk.h"
#include "platform/text/bytes.h"
#include "structure/nodes.h"

#include <string>

using namespace ncc;

namespace {

char* PutText(const std::string& text, char* buffer) {
  buffer[text.copy(buffer, text.size())] = '\0';
  return buffer;
}

bool HasFlags(const CHDBRecord& ap, unsigned long mask) {
  return (EntryOf<CNNEntry>(ap).flags & mask) == mask;
}

// The first of a server's APs with these flags, calling the progress callback for each item.
unsigned long FindAmongItems(NetState& net, const TDBObjId& server, unsigned long mask) {
  unsigned long found = 0;
  const TRef<CHDBFolder> folder = OpenFolder(net, server.number);
  WalkItems(net, *folder, [&](const CHDBFolderEntry& item, std::uint32_t) {
    if (item.Kind() == kTypeAP && HasFlags(RecordOf(net, item.Object()), mask))
      found = item.Object().number;
    return found == 0;
  });
  return found;
}

}  // namespace

const CHDBRecord* ncc::FindAPWithFlags(const NetState& net, unsigned long mask) {
  const CHDBRecord* found = nullptr;
  for (const std::uint32_t server : RootObjects(net, kTypeServer)) {
    ForEachAP(net, server, [&](const CHDBRecord& ap) {
      if (HasFlags(ap, mask)) found = &ap;
      return found == nullptr;
    });
    if (found != nullptr) break;
  }
  return found;
}

char* CNCCNet::GetAddr4(unsigned long id, char* buffer) {
  if (buffer == nullptr) return nullptr;
  return PutText(Hex4(static_cast<std::uint32_t>(id)), buffer);
}

char* CNCCNet::GetAddr8(unsigned long id, char* buffer) {
  if (buffer == nullptr) return nullptr;
  LockScope lock(state_->lock);
  // One by one, as both together may need memory.
  const std::string network = Hex4(state_->prefs.net_number);
  PutText(network, buffer);
  PutText(Hex4(static_cast<std::uint32_t>(id)), buffer + network.size());
  return buffer;
}

char* CNCCNet::GetNetAddr(char* buffer) {
  if (buffer == nullptr) return nullptr;
  LockScope lock(state_->lock);
  return PutText(Hex4(state_->prefs.net_number), buffer);
}

unsigned char CNCCNet::GetType(unsigned long id) {
  return Run(*state_, kTypeNone, [&] {
    for (const std::uint8_t type : {kTypeServer, kTypeAP, kTypeDep, kTypeAB, kTypeNGrp}) {
      const CHDBRecord* const found =
          type == kTypeAP ? FindObject(*state_, id, type) : FindRootItem(*state_, type, id);
      if (found != nullptr) return type;
    }
    RefuseUnknown(kTypeNone, id);
  });
}

unsigned long CNCCNet::GetAP(unsigned long mask) {
  NetState& net = *state_;
  return Run(net, 0UL, [&] {
    unsigned long found = 0;
    if (net.callback == nullptr) {
      const CHDBRecord* ap = FindAPWithFlags(net, mask);
      found = ap != nullptr ? ap->Number() : 0;
    } else {
      WalkItems(net, *net.root, [&](const CHDBFolderEntry& entry, std::uint32_t) {
        if (entry.Kind() == kTypeServer) found = FindAmongItems(net, entry.Object(), mask);
        return found == 0;
      });
    }
    if (found != 0) return found;
    throw Refusal("no AP has these application flags");
  });
}

unsigned long CNCCNet::GetNCC() { return GetAP(static_cast<unsigned long>(kFlagNCC)); }
unsigned long CNCCNet::GetKC() { return GetAP(static_cast<unsigned long>(kFlagKC)); }
