// The files of the servers: their directories, and the maps, tunnels and registrations that route
// between them.

#include "generate/forms.h"

using namespace ncc;

bool CNCCNet::GenMAP(const char* folder, unsigned char mode) {
  NetState& net = *state_;
  const auto map = OutputPath(net, folder, "MAP\\");
  if (!map) return true;
  FirstFailure failure;
  MAPPath(map->c_str());
  failure.Note();
  const bool usable = OutputFolder(net, folder, "MAP\\").has_value();
  failure.Note(usable);
  failure.Note(OutputFolder(net, folder, "NEW\\MAP\\").has_value());
  if (usable) {
    failure.Note(GenMAPApa(map->c_str()));
    if (!net.StopRequested()) failure.Note(GenMAPApn(map->c_str(), mode));
    if (!net.StopRequested()) failure.Note(GenMAPApnCrg(map->c_str()));
  }
  failure.Report();
  return true;
}

// The stamp list of each server is made before its map and its tunnels are written anew, so it has
// the stamps of their previous versions.
bool CNCCNet::GenMAP(const char* folder, unsigned char mode, std::list<unsigned long> ids) {
  NetState& net = *state_;
  const auto map = OutputPath(net, folder, "");
  if (!map) return true;
  FirstFailure failure;
  MAPPath(map->c_str());
  failure.Note();
  failure.Note(OutputFolder(net, folder, "").has_value());
  return ForList(net, ids, Stop::kAfterEach, failure, [&](unsigned long id) {
    failure.Note(GenMAPApa(map->c_str(), id));
    failure.Note(GenMAPApn(map->c_str(), mode, id));
    failure.Note(GenMAPApnCrg(map->c_str(), id));
    failure.NoteMinor(GenMAPNodeTun(map->c_str()));
    failure.Note(GenMAPNodeMap(map->c_str()));
    failure.Note(GenMAPNodeReg(map->c_str()));
  });
}

bool CNCCNet::GenRoutingTables(const char* folder) {
  NetState& net = *state_;
  const auto map = OutputFolder(net, folder, "MAP\\");
  if (!map) return true;
  FirstFailure failure;
  failure.Note(EmptyFolder(net, *map, "node"));
  failure.NoteMinor(GenMAPNodeTun(map->c_str()));
  if (!net.StopRequested()) failure.Note(GenMAPNodeMap(map->c_str()));
  if (!net.StopRequested()) failure.Note(GenMAPNodeReg(map->c_str()));
  failure.Report();
  return true;
}
