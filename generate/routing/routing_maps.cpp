// The files of the servers: their directories, and the maps, tunnels and registrations that route
// between them.

#include "generate/directories/directory_files.h"
#include "generate/routing/routing_files.h"

using namespace ncc;

bool CNCCNet::GenMAP(const char* folder, unsigned char mode) {
  NetState& net = *state_;
  Generation run(net, mode);
  const auto map = run.Path(folder, "MAP\\");
  if (!map) return run.Finish();
  run.Run([&] { net.map_path = *map; });
  const bool is_usable = run.MakeFolder(folder, "MAP\\").has_value();
  run.MakeFolder(folder, "NEW\\MAP\\");
  if (is_usable) {
    for (const NodeFile* file : {&kServerUsers, &kServerNodes, &kServerStampList}) {
      WriteAllNodes(run, *file, map->c_str());
      if (net.StopRequested()) break;
    }
  }
  return run.Finish();
}

// The stamp list of each server is made before its map and its tunnels are written anew, so it has
// the stamps of their previous versions.
bool CNCCNet::GenMAP(const char* folder, unsigned char mode, std::list<unsigned long> ids) {
  NetState& net = *state_;
  Generation run(net, mode);
  Generation tunnels(net);
  const auto map = run.Path(folder, "");
  if (!map) return run.Finish();
  run.Run([&] { net.map_path = *map; });
  run.MakeFolder(folder, "");
  for (const unsigned long id : ids) {
    for (const NodeFile* file : {&kServerUsers, &kServerNodes, &kServerStampList})
      WriteOneNode(run, *file, map->c_str(), id);
    WriteTunnels(tunnels, map->c_str());
    WriteRoutingMaps(run, map->c_str());
    WriteRegistrations(run, map->c_str());
    if (net.StopRequested()) break;
  }
  run.Note(tunnels);
  return run.Finish();
}

bool CNCCNet::GenRoutingTables(const char* folder) {
  NetState& net = *state_;
  Generation run(net);
  Generation tunnels(net);
  const auto map = run.MakeFolder(folder, "MAP\\");
  if (!map) return run.Finish();
  run.EmptyFolder(*map, "node");
  WriteTunnels(tunnels, map->c_str());
  if (!net.StopRequested()) WriteRoutingMaps(run, map->c_str());
  if (!net.StopRequested()) WriteRegistrations(run, map->c_str());
  run.Note(tunnels);
  return run.Finish();
}
