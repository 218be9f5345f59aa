// The applications of nodes: their flags, and nodes selected by flags.

#include "structure/nodes.h"

#include <array>

using namespace ncc;

namespace {

// Application number k stands at k-1 and belongs to bit k-1 of a node's flags.
constexpr std::array<const char*, 17> kApplicationNames = {
    "MAIL",  "FILES",  "NCC",   "SIGN",    "ARCHIVE", "ROUTER",  "KC",     "DIRECTORY", "WEB",
    "QUERY", "NOTICE", "VOICE", "MONITOR", "GATEWAY", "UPDATES", "BACKUP", "TERMINAL"};

void Register(const NetState& net, const CHDBRecord& node, unsigned long mask,
              unsigned char value) {
  const Entity opened = OpenEntity(net, {kFolderSpace, node.Number()});
  CNNEntry entry = EntryOf<CNNEntry>(*opened.record);
  entry.flags = static_cast<std::uint32_t>(mask);
  entry.settings = value;
  ReplaceEntry(*opened.record, entry);
}

bool HasAll(const CNNEntry& node, unsigned int mask) { return (node.flags & mask) == mask; }
bool HasAny(const CNNEntry& node, unsigned int mask) { return (node.flags & mask) != 0; }

using Selector = bool (*)(const CNNEntry&, unsigned int);

int Keep(std::list<CNNEntry>& list, unsigned int mask, Selector keep) {
  list.remove_if([&](const CNNEntry& node) { return !keep(node, mask); });
  return static_cast<int>(list.size());
}

}  // namespace

bool CNCCNet::RegAPP(unsigned long id, unsigned long mask, unsigned char value) {
  return Run(*state_, false, [&] {
    Register(*state_, KnownNode(*state_, id), mask, value);
    return true;
  });
}

bool CNCCNet::RegSrv(unsigned long server, unsigned long mask, unsigned char value) {
  return Run(*state_, false, [&] {
    Register(*state_, RecordOf(*state_, RootObject(server, kTypeServer)), mask, value);
    return true;
  });
}

unsigned long CNCCNet::GetAPP(unsigned long id) {
  return Run(*state_, 0xFFFFFFFFUL, [&] {
    return static_cast<unsigned long>(EntryOf<CNNEntry>(KnownNode(*state_, id)).flags);
  });
}

unsigned long CNCCNet::GetAPP(unsigned long id, std::list<std::string>& names) {
  const unsigned long mask = GetAPP(id);
  try {
    names.insert(names.end(), kApplicationNames.begin(), kApplicationNames.end());
  } catch (const std::bad_alloc&) {
    SetLastError("out of memory");
  }
  return mask;
}

int CNCCNet::GetListSrvInApps(unsigned int mask, std::list<CNNEntry>& list) {
  GetListServer(list);
  return Keep(list, mask, HasAll);
}

int CNCCNet::GetListSrvInApps1(unsigned int mask, std::list<CNNEntry>& list) {
  GetListServer(list);
  return Keep(list, mask, HasAny);
}

int CNCCNet::GetListApInApps(unsigned int mask, std::list<CNNEntry>& list) {
  GetListAP(list);
  return Keep(list, mask, HasAll);
}

int CNCCNet::GetListApInApps1(unsigned int mask, std::list<CNNEntry>& list) {
  GetListAP(list);
  return Keep(list, mask, HasAny);
}
