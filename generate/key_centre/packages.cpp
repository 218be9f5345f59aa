// The distribution packages "AAA\<address>.aaf" (full) and ".aas" (short): a record for each file
// that is there, in the order of the lists below.
//
// A record: u32 length, little-endian; "%-12.12s" of the file's name in upper case, and a zero; the
// contents. A longer package that is there keeps its end.

#include "generate/file_names.h"
#include "generate/forms.h"
#include "generate/output.h"
#include "platform/disk/package_file.h"
#include "structure/nodes.h"

#include <span>

using namespace ncc;

namespace {

enum class Folder { kMap, kMapHere, kDirectory, kRoot, kDatabase };
enum class Naming { kPlain, kHex, kDecimal };

struct PackedFile {
  Folder folder;
  const char* stem;
  Naming naming;
  const char* extension;
};

constexpr PackedFile kFullServer[] = {{Folder::kMap, "node", Naming::kDecimal, ".map"},
                                      {Folder::kMap, "node", Naming::kDecimal, ".reg"},
                                      {Folder::kMap, "node", Naming::kDecimal, ".xnw"},
                                      {Folder::kMap, "node", Naming::kDecimal, ".tun"},
                                      {Folder::kMap, "apa", Naming::kHex, ".txt"},
                                      {Folder::kMap, "apn", Naming::kHex, ".crg"},
                                      {Folder::kMap, "apn", Naming::kHex, ".txt"},
                                      {Folder::kRoot, "NMATRIX.DAT", Naming::kPlain, ""},
                                      {Folder::kDatabase, "ipkeladr.doc", Naming::kPlain, ""}};
constexpr PackedFile kFullAP[] = {{Folder::kDirectory, "N\\apn", Naming::kHex, ".txt"},
                                  {Folder::kDirectory, "U\\apu", Naming::kHex, ".txt"},
                                  {Folder::kDirectory, "A\\apa", Naming::kHex, ".txt"},
                                  {Folder::kDirectory, "C\\apc", Naming::kHex, ".txt"},
                                  {Folder::kDirectory, "L\\apl", Naming::kHex, ".txt"},
                                  {Folder::kDirectory, "T\\node", Naming::kHex, ".tun"},
                                  {Folder::kDirectory, "R\\apn", Naming::kHex, ".crc"},
                                  {Folder::kDirectory, "R\\apn", Naming::kHex, ".crg"},
                                  {Folder::kDatabase, "ipkeladr.doc", Naming::kPlain, ""}};
// Two of these are taken from "MAP\" of the current directory, whatever the MAP path is.
constexpr PackedFile kShortServer[] = {{Folder::kMap, "node", Naming::kDecimal, ".map"},
                                       {Folder::kMap, "node", Naming::kDecimal, ".reg"},
                                       {Folder::kMap, "node", Naming::kDecimal, ".xnw"},
                                       {Folder::kMapHere, "node", Naming::kDecimal, ".tun"},
                                       {Folder::kRoot, "NMATRIX.DAT", Naming::kPlain, ""},
                                       {Folder::kMap, "apa", Naming::kHex, ".txt"},
                                       {Folder::kMap, "apn", Naming::kHex, ".crg"},
                                       {Folder::kMapHere, "apn", Naming::kHex, ".txt"},
                                       {Folder::kDatabase, "extnet.doc", Naming::kPlain, ""},
                                       {Folder::kDatabase, "ipkeladr.doc", Naming::kPlain, ""}};
constexpr PackedFile kShortAP[] = {{Folder::kDirectory, "A\\apa", Naming::kHex, ".txt"},
                                   {Folder::kDirectory, "R\\apn", Naming::kHex, ".crc"},
                                   {Folder::kDirectory, "R\\apn", Naming::kHex, ".crg"},
                                   {Folder::kDirectory, "N\\apn", Naming::kHex, ".txt"},
                                   {Folder::kDirectory, "U\\apu", Naming::kHex, ".txt"},
                                   {Folder::kDatabase, "extnet.doc", Naming::kPlain, ""},
                                   {Folder::kDatabase, "ipkeladr.doc", Naming::kPlain, ""}};

std::string PathOf(const NetState& net, const PackedFile& file, const std::string& root,
                   std::uint32_t node) {
  std::string path;
  switch (file.folder) {
    case Folder::kMap:
      path = net.map_path;
      break;
    case Folder::kMapHere:
      path = "MAP\\";
      break;
    case Folder::kDirectory:
      path = net.apdb_path;
      break;
    case Folder::kRoot:
      path = root;
      break;
    case Folder::kDatabase:
      path = net.db_path;
      break;
  }
  path += file.stem;
  if (file.naming == Naming::kHex) AppendHex4(path, node);
  if (file.naming == Naming::kDecimal) path += std::to_string(node);
  return path + file.extension;
}

// Builds one package; add(path, package) appends the record of a file.
template <class Add>
bool BuildPackage(NetState& net, const char* folder, const TDBObjId& node,
                  std::string_view extension, std::span<const PackedFile> of_server,
                  std::span<const PackedFile> of_ap, Add add) {
  return Run(net, false, [&] {
    const std::string root = Root(folder);
    const CNNEntry entry = EntryOf<CNNEntry>(RecordOf(net, node));
    const std::string path =
        root + "AAA\\" + AddressName(net.prefs.net_number, entry.id, extension);
    ReportingFailure(net, path, entry.id, [&] {
      try {
        RefuseLinks(root, "AAA\\");
        PackageFile package(path);
        for (const PackedFile& file : entry.type == kTypeServer ? of_server : of_ap)
          add(PathOf(net, file, root, entry.id), package);
        ReportFile(net, path, entry.id, package.Finish());
      } catch (const FileError& error) {
        throw FileError("package " + path + " was not made: " + error.what());
      }
    });
    return true;
  });
}

// All nodes: the servers in root order, behind each its APs.
template <class One>
bool ForAllNodes(NetState& net, One one) {
  std::vector<TDBObjId> nodes;
  const bool listed = Run(net, false, [&] {
    for (const std::uint32_t server : RootObjects(net, kTypeServer)) {
      nodes.push_back({kFolderSpace, server});
      ForEachAP(net, server, [&](const CHDBRecord& ap) {
        nodes.push_back(FolderOf(ap));
        return true;
      });
    }
    return true;
  });
  if (!listed) return true;
  FirstFailure failure;
  for (TDBObjId& node : nodes) {
    CallBetweenNodes(net);
    failure.Note(one(node));
    if (net.StopRequested()) break;
  }
  failure.Report();
  return true;
}

}  // namespace

void CNCCNet::PutFile(const char* path, int fd) { AppendPackageRecord(path, fd); }

bool CNCCNet::GenFullDistr(const char* folder, TDBObjId& node) {
  return BuildPackage(
      *state_, folder, node, ".aaf", kFullServer, kFullAP,
      [&](const std::string& path, const PackageFile& to) { PutFile(path.c_str(), to.Handle()); });
}

bool CNCCNet::GenShortDistr(const char* folder, TDBObjId& node) {
  return BuildPackage(
      *state_, folder, node, ".aas", kShortServer, kShortAP,
      [&](const std::string& path, const PackageFile& to) { PutFile(path.c_str(), to.Handle()); });
}

bool CNCCNet::GenFullDistr(const char* folder) {
  return ForAllNodes(*state_, [&](TDBObjId& node) { return GenFullDistr(folder, node); });
}

bool CNCCNet::GenFullDistr(const char* folder, unsigned long id) {
  return ForKnown(*state_, id, kTypeNone, [&](TDBObjId& node) { GenFullDistr(folder, node); });
}

bool CNCCNet::GenFullDistr(const char* folder, std::list<unsigned long> ids) {
  FirstFailure failure;
  return ForList(*state_, ids, Stop::kAfterEach, failure,
                 [&](unsigned long id) { GenFullDistr(folder, id); });
}

bool CNCCNet::GenShortDistr(const char* folder) {
  return ForAllNodes(*state_, [&](TDBObjId& node) { return GenShortDistr(folder, node); });
}

bool CNCCNet::GenShortDistr(const char* folder, unsigned long id) {
  return ForKnown(*state_, id, kTypeNone, [&](TDBObjId& node) { GenShortDistr(folder, node); });
}

bool CNCCNet::GenShortDistr(const char* folder, std::list<unsigned long> ids) {
  FirstFailure failure;
  return ForList(*state_, ids, Stop::kAfterEach, failure,
                 [&](unsigned long id) { GenShortDistr(folder, id); });
}
