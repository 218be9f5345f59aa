#include "generate/affected/affected_nodes.h"

#include "core/entry.h"
#include "core/find.h"
#include "core/links.h"
#include "core/walk.h"
#include "platform/text/bytes.h"
#include "structure/nodes.h"

#include <cstring>
#include <string>

namespace ncc {
namespace {

// The images of two rows are the same once clear(record) has cleared some of their fields.
template <class Record, class Clear>
bool AreSameBut(const RowDifference& row, Clear clear) {
  std::string images[] = {row.before->body, row.now->body};
  for (std::string& image : images) {
    Record record;
    if (image.size() != sizeof(record)) return false;
    std::memcpy(static_cast<void*>(&record), image.data(), sizeof(record));
    clear(record);
    image.assign(reinterpret_cast<const char*>(&record), sizeof(record));
  }
  return images[0] == images[1];
}

// The number of its APs no file shows.
bool IsSameNode(const RowDifference& row) {
  return row.before && row.now && row.before->type == row.now->type &&
         row.before->name == row.now->name &&
         AreSameBut<CNNEntry>(row, [](CNNEntry& node) { node.ap_count = 0; });
}

// Nor the counters, which each new object raises.
bool ArePreferencesSame(const RowDifference& row) {
  return row.before && row.now && row.before->lists == row.now->lists &&
         AreSameBut<CNetPref>(row, [](CNetPref& preferences) {
           preferences.next_id = preferences.server_counter = preferences.ngrp_counter = 0;
         });
}

bool IsOf(const std::optional<Row>& row, std::uint32_t type) { return row && row->type == type; }

bool IsCentre(const std::optional<Row>& node) {
  CNNEntry entry;
  if (!node || node->body.size() != sizeof(entry)) return false;
  std::memcpy(static_cast<void*>(&entry), node->body.data(), sizeof(entry));
  return (entry.flags & (kFlagNCC | kFlagKC)) != 0;
}

// Calls visit(number) for the elements of an object's id list; for none when it is gone.
template <class Visit>
void ForEachLinked(const NetState& net, std::uint32_t object, std::uint8_t type, int list,
                   Visit visit) {
  if (const CHDBRecord* const record = FindObject(net, object, type); record != nullptr)
    WalkIds(*record, list, [&](const TDBObjId& linked) { visit(linked.number); });
}

}  // namespace

std::string SettingsOf(const NetState& net) {
  const auto centre = [&](std::uint32_t flag) {
    const CHDBRecord* const ap = FindAPWithFlags(net, flag);
    return Hex4(ap != nullptr ? ap->Number() : 0);
  };
  return "network=" + Hex4(net.prefs.net_number) + " ncc=" + centre(kFlagNCC) +
         " kc=" + centre(kFlagKC);
}

AffectedNodes::AffectedNodes(const NetState& net,
                             const std::optional<std::vector<RowDifference>>& rows)
    : net_(net), changed_(rows ? 0U : kOfAnything) {
  if (!rows) return;
  for (const RowDifference& row : *rows) Note(row);
}

void AffectedNodes::Note(const RowDifference& row) {
  const RowKey& key = row.key;
  if (key.kind == RowKind::kNote) return;  // no file has notes
  if (key.kind != RowKind::kObject && key.kind != RowKind::kChunk) {
    changed_ = kOfAnything;
  } else if (key.number == kRootNumber) {
    changed_ |= kOfServers | kOfStructure;
  } else if (key.number == kNetworkNumber) {
    if (!ArePreferencesSame(row)) changed_ = kOfAnything;
  } else if (key.kind == RowKind::kObject) {
    const std::uint32_t before = row.before ? row.before->type : row.now->type;
    const std::uint32_t now = row.now ? row.now->type : before;
    NoteObject(row, before);
    if (now != before) NoteObject(row, now);
  } else if (const CHDBRecord* const object = net_.base->FindRecord(key.number)) {
    // Further elements of a list; when the object is gone or is another one now, its own row tells.
    NoteObject(row, object->Type());
  }
}

void AffectedNodes::NoteObject(const RowDifference& row, std::uint32_t type) {
  const std::uint32_t number = row.key.number;
  if (type == kTypeServer || type == kTypeAP) {
    changed_ |= kOfStructure;
    NoteNode(row, type);
  } else if (type == kTypeDep) {
    changed_ |= kOfStructure;
    // Users can have memberships of a Dep that is not there.
    if (row.key.kind == RowKind::kObject && IsOf(row.before, type) != IsOf(row.now, type))
      changed_ |= kOfUsers;
    AddReadersOfDep(number);
  } else if (type == kTypeNGrp) {
    changed_ |= kOfStructure;
    AddReadersOfGroup(number);
  } else if (type == kTypeAB) {
    changed_ |= kOfUsers;
    nodes_.insert(number);
  } else {
    changed_ = kOfAnything;
  }
}

// What it is linked with shows in the rows of both sides; so if only lists of its own changed,
// other nodes see it as before.
void AffectedNodes::NoteNode(const RowDifference& row, std::uint32_t type) {
  const std::uint32_t number = row.key.number;
  nodes_.insert(number);
  if (row.key.kind != RowKind::kObject || IsSameNode(row)) return;
  if (IsCentre(row.before) || IsCentre(row.now)) changed_ = kOfAnything;
  AddReadersOfNode(number);
  if (type == kTypeAP) {
    const CHDBRecord* const ap = FindObject(net_, number, kTypeAP);
    const std::uint32_t server = ap != nullptr ? EntryOf<CNNEntry>(*ap).server_id : 0;
    if (server != 0) nodes_.insert(server);
    return;
  }
  changed_ |= kOfServers;
  ForEachAP(net_, number, [&](const CHDBRecord& ap) {
    nodes_.insert(ap.Number());
    return true;
  });
}

// Going back along what generators follow: see FindWays -----------------------------------------

void AffectedNodes::AddNodesOf(std::uint32_t group) {
  ForEachLinked(net_, group, kTypeNGrp, kNodesOfGroup,
                [&](std::uint32_t node) { nodes_.insert(node); });
}

void AffectedNodes::AddNodesOfGroupsOf(std::uint32_t dep) {
  ForEachLinked(net_, dep, kTypeDep, kGroupsOfDep, [&](std::uint32_t group) { AddNodesOf(group); });
}

// The nodes of its groups, and those of the groups of Deps that are linked to it.
void AffectedNodes::AddReadersOfDep(std::uint32_t dep) {
  if (FindObject(net_, dep, kTypeDep) == nullptr || !visited_.insert(dep).second) return;
  AddNodesOfGroupsOf(dep);
  for (const TDBObjId& parent : net_.base->ParentLinkSelect({kFolderSpace, dep}))
    AddNodesOfGroupsOf(parent.number);
}

void AffectedNodes::AddReadersOfGroup(std::uint32_t group) {
  if (!visited_.insert(group).second) return;
  AddNodesOf(group);
  ForEachLinked(net_, group, kTypeNGrp, kDepsOfGroup,
                [&](std::uint32_t dep) { AddReadersOfDep(dep); });
}

void AffectedNodes::AddReadersOfNode(std::uint32_t node) {
  const CHDBRecord* const record = FindNode(net_, node);
  if (record == nullptr) return;
  WalkIds(*record, kGroupsOfNode, [&](const TDBObjId& group) { AddReadersOfGroup(group.number); });
}

}  // namespace ncc
