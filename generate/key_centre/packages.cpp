// The distribution packages "AAA\<address>.aaf" (full) and ".aas" (short): a record for each file
// that is there, in the order of the lists below.
//
// A record: u32 length, little-endian; "%-12.12s" of the file's name in upper case, and a zero; the
// contents. A longer package that is there keeps its end.

#include "core/entry.h"
#include "core/find.h"
#include "generate/collection/package_sum.h"
#include "generate/file_names.h"
#include "generate/key_centre/key_centre_files.h"
#include "generate/output.h"
#include "platform/disk/package_file.h"

#include <span>
#include <vector>

namespace ncc {
namespace {

enum class Folder { kMap, kMapHere, kDirectory, kRoot, kDatabase };

struct PackedFile {
  Folder folder;
  const char* name;  // with the node's identifier: %d in decimal, %s in hexadecimal digits
};

constexpr PackedFile kFullServer[] = {
    {Folder::kMap, "node%d.map"},       {Folder::kMap, "node%d.reg"},
    {Folder::kMap, "node%d.xnw"},       {Folder::kMap, "node%d.tun"},
    {Folder::kMap, "apa%s.txt"},        {Folder::kMap, "apn%s.crg"},
    {Folder::kMap, "apn%s.txt"},        {Folder::kRoot, "NMATRIX.DAT"},
    {Folder::kDatabase, "ipkeladr.doc"}};
constexpr PackedFile kFullAP[] = {
    {Folder::kDirectory, "N\\apn%s.txt"}, {Folder::kDirectory, "U\\apu%s.txt"},
    {Folder::kDirectory, "A\\apa%s.txt"}, {Folder::kDirectory, "C\\apc%s.txt"},
    {Folder::kDirectory, "L\\apl%s.txt"}, {Folder::kDirectory, "T\\node%s.tun"},
    {Folder::kDirectory, "R\\apn%s.crc"}, {Folder::kDirectory, "R\\apn%s.crg"},
    {Folder::kDatabase, "ipkeladr.doc"}};
// Two of these are taken from "MAP\" of the current directory, whatever the MAP path is.
constexpr PackedFile kShortServer[] = {
    {Folder::kMap, "node%d.map"},      {Folder::kMap, "node%d.reg"},
    {Folder::kMap, "node%d.xnw"},      {Folder::kMapHere, "node%d.tun"},
    {Folder::kRoot, "NMATRIX.DAT"},    {Folder::kMap, "apa%s.txt"},
    {Folder::kMap, "apn%s.crg"},       {Folder::kMapHere, "apn%s.txt"},
    {Folder::kDatabase, "extnet.doc"}, {Folder::kDatabase, "ipkeladr.doc"}};
constexpr PackedFile kShortAP[] = {
    {Folder::kDirectory, "A\\apa%s.txt"}, {Folder::kDirectory, "R\\apn%s.crc"},
    {Folder::kDirectory, "R\\apn%s.crg"}, {Folder::kDirectory, "N\\apn%s.txt"},
    {Folder::kDirectory, "U\\apu%s.txt"}, {Folder::kDatabase, "extnet.doc"},
    {Folder::kDatabase, "ipkeladr.doc"}};

std::string PathOf(const NetState& net, const PackedFile& file, const std::string& root,
                   std::uint32_t node) {
  static const std::string kHere = "MAP\\";
  // In the order of Folder.
  const std::string* const folders[] = {&net.map_path, &kHere, &net.apdb_path, &root, &net.db_path};
  std::string path = *folders[static_cast<std::size_t>(file.folder)];
  const std::string_view name(file.name);
  const std::size_t place = name.find('%');
  path.append(name, 0, place);
  if (place == std::string_view::npos) return path;
  path.append(name[place + 1] == 'd' ? std::to_string(node) : Hex4(node));
  return path.append(name, place + 2);
}

// Of a package whose files are as they were nothing is read or written.
void CollectPackage(const NetState& net, const std::string& path, std::uint32_t node,
                    const std::string& root, std::span<const PackedFile> files) {
  Collection& collection = *net.collection;
  PackageSum sum;
  std::vector<std::string> sources;
  for (const PackedFile& file : files) {
    const std::string member_path = PathOf(net, file, root, node);
    const auto member = file.folder == Folder::kDatabase ? collection.FindOutside(member_path)
                                                         : collection.FindMember(member_path);
    if (!member) continue;
    sum.Add(FileName(member_path), member->bytes, member->digest);
    sources.push_back(member->source);
  }
  const std::uint64_t bytes = sum.Bytes();
  if (collection.Settle(path, {CFileRecord::Kind::kPackage, node, bytes, sum.Finish()}, {}))
    return ReportNoted(net, path, node, bytes);
  PackageFile package(path);
  for (const std::string& source : sources) AppendPackageRecord(source, package.Handle());
  const std::uint64_t written = package.Finish();
  collection.Written(path, package.Identity());
  ReportFile(net, path, node, written);
}

void WritePackage(const NetState& net, const NodeFile& kind, const std::string& folder,
                  std::uint32_t number, std::span<const PackedFile> of_server,
                  std::span<const PackedFile> of_ap) {
  const std::string root = Root(folder.c_str());
  const CNNEntry node = EntryOf<CNNEntry>(*FindNode(net, number));
  const std::string path = kind.Path(net, root, node.id);
  ReportingFailure(net, path, node.id, [&] {
    try {
      RefuseLinks(root, "AAA\\");
      const auto files = node.type == kTypeServer ? of_server : of_ap;
      if (net.collection != nullptr) return CollectPackage(net, path, node.id, root, files);
      PackageFile package(path);
      for (const PackedFile& file : files)
        AppendPackageRecord(PathOf(net, file, root, node.id), package.Handle());
      ReportFile(net, path, node.id, package.Finish());
    } catch (const FileError& error) {
      throw FileError("package " + path + " was not made: " + error.what());
    }
  });
}

}  // namespace

void WriteFullPackage(Generation& run, const std::string& folder, std::uint32_t node) {
  WritePackage(run.Net(), kFullPackage, folder, node, kFullServer, kFullAP);
}

void WriteShortPackage(Generation& run, const std::string& folder, std::uint32_t node) {
  WritePackage(run.Net(), kShortPackage, folder, node, kShortServer, kShortAP);
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
