// The applications of nodes: their flags, and nodes selected by flags.

#include "core/entry.h"
#include "core/find.h"
#include "core/operation.h"
#include "structure/nodes.h"
#include "structure/objects.h"

#include <array>

using namespace ncc;

namespace {

// Application number k stands at k-1 and belongs to bit k-1 of a node's flags.
constexpr std::array<const char*, 17> kApplicationNames = {
    "MAIL",  "FILES",  "NCC",   "SIGN",    "ARCHIVE", "ROUTER",  "KC",     "DIRECTORY", "WEB",
    "QUERY", "NOTICE", "VOICE", "MONITOR", "GATEWAY", "UPDATES", "BACKUP", "TERMINAL"};

void Register(const NetState& net, const CHDBRecord& node, unsigned long mask,
              unsigned char value) {
  const Entity opened = OpenEntity(net, FolderOf(node));
  auto entry = EntryOf<CNNEntry>(*opened.record);
  entry.flags = static_cast<std::uint32_t>(mask);
  entry.settings = value;
  ReplaceEntry(*opened.record, entry);
}

bool HasAll(const CNNEntry& node, unsigned int mask) { return (node.flags & mask) == mask; }
bool HasAny(const CNNEntry& node, unsigned int mask) { return (node.flags & mask) != 0; }

int Select(std::list<CNNEntry>& list, unsigned int mask, bool (*has)(const CNNEntry&, unsigned)) {
  list.remove_if([&](const CNNEntry& node) { return !has(node, mask); });
  return static_cast<int>(list.size());
}

}  // namespace

bool CNCCNet::RegAPP(unsigned long id, unsigned long mask, unsigned char value) {
  return Run(*state_, [&] { Register(*state_, KnownNode(*state_, id), mask, value); });
}

bool CNCCNet::RegSrv(unsigned long server, unsigned long mask, unsigned char value) {
  return Run(*state_,
             [&] { Register(*state_, KnownRecord(*state_, kTypeServer, server), mask, value); });
}

unsigned long CNCCNet::GetAPP(unsigned long id) {
  CNNEntry node;
  return GetNNInfo(id, node) ? node.flags : 0xFFFFFFFF;
}

unsigned long CNCCNet::GetAPP(unsigned long id, std::list<std::string>& names) {
  const unsigned long mask = GetAPP(id);
  try {
    names.insert(names.end(), kApplicationNames.begin(), kApplicationNames.end());
  } catch (...) {
    SetLastErrorToCaught();
  }
  return mask;
}

int CNCCNet::GetListSrvInApps(unsigned int mask, std::list<CNNEntry>& list) {
  GetListServer(list);
  return Select(list, mask, HasAll);
}

int CNCCNet::GetListSrvInApps1(unsigned int mask, std::list<CNNEntry>& list) {
  GetListServer(list);
  return Select(list, mask, HasAny);
}

int CNCCNet::GetListApInApps(unsigned int mask, std::list<CNNEntry>& list) {
  GetListAP(list);
  return Select(list, mask, HasAll);
}

int CNCCNet::GetListApInApps1(unsigned int mask, std::list<CNNEntry>& list) {
  GetListAP(list);
  return Select(list, mask, HasAny);
}
