#include "generate/node_file.h"

#include "core/find.h"
#include "generate/output.h"
#include "structure/nodes.h"

#include <algorithm>
#include <vector>

namespace ncc {
namespace {

// Servers in root order, with kTypeNone behind each its APs; all else by ascending identifier.
std::vector<std::uint32_t> NumbersOfNodes(const NetState& net, std::uint8_t type) {
  if (type == kTypeServer) return RootObjects(net, type);
  if (type != kTypeNone) return NumbersOf(net, type);
  std::vector<std::uint32_t> nodes;
  for (const std::uint32_t server : RootObjects(net, kTypeServer)) {
    nodes.push_back(server);
    ForEachAP(net, server, [&](const CHDBRecord& ap) {
      nodes.push_back(ap.Number());
      return true;
    });
  }
  return nodes;
}

void RefuseUnlessThere(const NetState& net, const NodeFile& file, unsigned long id) {
  const bool is_there = file.type == kTypeNone ? FindNode(net, id) != nullptr
                                               : FindObject(net, id, file.type) != nullptr;
  if (!is_there) RefuseUnknown(file.type, id);
}

// Of a node that a progress callback may have replaced by another object meanwhile.
bool WriteOf(Generation& run, const NodeFile& file, const char* folder, std::uint32_t node) {
  return run.Run([&] {
    NetState& net = run.Net();
    RefuseUnlessThere(net, file, node);
    file.write(run, Prefix(folder), node);
  });
}

}  // namespace

KeptFiles::KeptFiles(const NetState& net, const NodeFile& file, const std::string& folder)
    : collection_(net.collection) {
  if (collection_ != nullptr) files_ = collection_->FindKeepable(file.Names(folder), file.made_of);
}

bool KeptFiles::Keep(std::uint32_t node) {
  const auto file = std::lower_bound(files_.begin(), files_.end(), Collection::Keepable{node, 0});
  if (file == files_.end() || file->node != node) return false;
  collection_->Keep(*file);
  return true;
}

std::optional<SharedBytes> KeptBytes(const NetState& net, const NodeFile& file,
                                     const std::string& folder) {
  if (net.collection == nullptr) return std::nullopt;
  const auto kept = net.collection->FindKept(file.Names(folder));
  const auto text = kept ? ReadWholeFile(kept->path) : std::nullopt;
  if (!text || DigestOf(text->View()) != kept->digest) return std::nullopt;
  SharedBytes known;
  known.bytes = text->View();
  known.digest = kept->digest;
  if (kept->stamp) known.stamp = StampKey().Known(*kept->stamp);
  known.twin = kept->path;
  known.twin_identity = kept->file;
  return known;
}

bool GenerateAll(NetState& net, const NodeFile& file, const char* folder, unsigned char mode) {
  Generation run(net, mode);
  WriteAllNodes(run, file, folder);
  return run.Finish();
}

bool GenerateOne(NetState& net, const NodeFile& file, const char* folder, unsigned long id,
                 unsigned char mode) {
  Generation run(net, mode);
  const bool is_known = WriteOneNode(run, file, folder, id);
  return run.Finish() && is_known;
}

bool GenerateListed(NetState& net, const NodeFile& file, const char* folder,
                    const std::list<unsigned long>& ids, unsigned char mode) {
  Generation run(net, mode);
  if (file.sub_folder == nullptr) {
    WriteListedNodes(run, file, folder, ids);
  } else if (auto into = run.MakeFolder(folder, file.sub_folder)) {
    if (file.Has(kTakesParent)) into = run.Path(folder, "");
    if (into && file.Has(kAllBefore)) WriteAllNodes(run, file, into->c_str());
    if (into) WriteListedNodes(run, file, into->c_str(), ids);
  }
  return run.Finish();
}

bool GenerateOf(NetState& net, const NodeFile& file, const char* folder, const TDBObjId& node,
                unsigned char mode) {
  Generation run(net, mode);
  const bool is_written = WriteOf(run, file, folder, node.number);
  return run.Finish() && is_written;
}

void WriteAllNodes(Generation& run, const NodeFile& file, const char* folder) {
  const auto nodes = run.Obtain([&] { return NumbersOfNodes(run.Net(), file.type); });
  auto kept = run.Obtain([&] { return KeptFiles(run.Net(), file, Prefix(folder)); });
  if (!nodes || !kept) return;
  for (const std::uint32_t node : *nodes) {
    if (!file.Has(kNoCallback)) run.CallBetweenNodes();
    if (!kept->Keep(node)) WriteOf(run, file, folder, node);
    if (!file.Has(kNeverStops) && run.Net().StopRequested()) return;
  }
}

bool WriteOneNode(Generation& run, const NodeFile& file, const char* folder, unsigned long id) {
  const bool is_known = run.Run([&] { RefuseUnlessThere(run.Net(), file, id); });
  if (is_known) WriteOf(run, file, folder, static_cast<std::uint32_t>(id));
  return is_known;
}

void WriteListedNodes(Generation& run, const NodeFile& file, const char* folder,
                      const std::list<unsigned long>& ids) {
  for (const unsigned long id : ids) {
    WriteOneNode(run, file, folder, id);
    if (!file.Has(kNeverStops) && run.Net().StopRequested()) return;
  }
}

}  // namespace ncc
