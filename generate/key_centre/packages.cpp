// The distribution packages "AAA\<address>.aaf" (full) and ".aas" (short): a record for each file
// that is there, in the order of the lists below.
//
// A record: u32 length, little-endian; "%-12.12s" of the file's name in upper case, and a zero; the
// contents. A longer package that is there keeps its end.

#include "core/entry.h"
#include "core/find.h"
#include "generate/file_names.h"
#include "generate/key_centre/key_centre_files.h"
#include "generate/output.h"
#include "platform/disk/package_file.h"


#include <span>

namespace ncc {
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

void WritePackage(const NetState& net, const std::string& folder, std::uint32_t number,
                  std::string_view extension, std::span<const PackedFile> of_server,
                  std::span<const PackedFile> of_ap) {
  const std::string root = Root(folder.c_str());
  const CNNEntry node = EntryOf<CNNEntry>(*FindNode(net, number));
  const std::string path = root + "AAA\\" + AddressName(net.prefs.net_number, node.id, extension);
  ReportingFailure(net, path, node.id, [&] {
    try {
      RefuseLinks(root, "AAA\\");
      PackageFile package(path);
      for (const PackedFile& file : node.type == kTypeServer ? of_server : of_ap)
        AppendPackageRecord(PathOf(net, file, root, node.id), package.Handle());
      ReportFile(net, path, node.id, package.Finish());
    } catch (const FileError& error) {
      throw FileError("package " + path + " was not made: " + error.what());
    }
  });
}

}  // namespace

void WriteFullPackage(Generation& run, const std::string& folder, std::uint32_t node) {
  WritePackage(run.Net(), folder, node, ".aaf", kFullServer, kFullAP);
}

void WriteShortPackage(Generation& run, const std::string& folder, std::uint32_t node) {
  WritePackage(run.Net(), folder, node, ".aas", kShortServer, kShortAP);
}

}  // namespace ncc

using namespace ncc;

void CNCCNet::PutFile(const char* path, int fd) { AppendPackageRecord(path, fd); }

bool CNCCNet::GenFullDistr(const char* folder) {
  return GenerateAll(*state_, kFullPackage, folder);
}
bool CNCCNet::GenFullDistr(const char* folder, unsigned long id) {
  return GenerateOne(*state_, kFullPackage, folder, id);
}
bool CNCCNet::GenFullDistr(const char* folder, std::list<unsigned long> ids) {
  return GenerateListed(*state_, kFullPackage, folder, ids);
}
bool CNCCNet::GenFullDistr(const char* folder, TDBObjId& node) {
  return GenerateOf(*state_, kFullPackage, folder, node);
}

bool CNCCNet::GenShortDistr(const char* folder) {
  return GenerateAll(*state_, kShortPackage, folder);
}
bool CNCCNet::GenShortDistr(const char* folder, unsigned long id) {
  return GenerateOne(*state_, kShortPackage, folder, id);
}
bool CNCCNet::GenShortDistr(const char* folder, std::list<unsigned long> ids) {
  return GenerateListed(*state_, kShortPackage, folder, ids);
}
bool CNCCNet::GenShortDistr(const char* folder, TDBObjId& node) {
  return GenerateOf(*state_, kShortPackage, folder, node);
}
