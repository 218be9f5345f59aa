// The key centre's files.
//
//   "ABONAME.TXT"    "%-56.56s%s\n": a user's name and address
//   "ABONAMEE.TXT"   empty
//   "CCC_KC.TXT"     "%s0\n": the address of the network control centre, then of the key centre
//   "ABN_AP.TXT"     "%s %s\n": a user's address and that of a node at which the user is a member

#include "core/entry.h"
#include "core/find.h"
#include "core/walk.h"
#include "generate/key_centre/key_centre_files.h"
#include "generate/output_cache.h"
#include "platform/text/bytes.h"

#include <set>

using namespace ncc;

namespace {

constexpr std::size_t kNameColumns = 56;

// Calls visit(record) for each user among the items of the root folder, and the progress callback
// before each item.
template <class Visit>
void ForEachUserItem(NetState& net, Visit visit) {
  const TRef<CHDBFolder> root = net.root;
  WalkItems(net, *root, [&](const CHDBFolderEntry& entry, std::uint32_t) {
    if (entry.Kind() == kTypeAB) visit(RecordOf(net, entry.Object()));
    return true;
  });
}

void AddAddress(std::string& text, const std::string& network, std::uint32_t id) {
  text += network;
  AppendHex4(text, id);
}

void ComposeUserNames(NetState& net, ComposedFile& file) {
  const std::string network = Hex4(net.prefs.net_number);
  std::string text;
  ForEachUserItem(net, [&](const CHDBRecord& record) {
    const CABEntry user = EntryOf<CABEntry>(record);
    AppendColumn(text, user.name, kNameColumns);
    AddAddress(text, network, user.id);
    text += '\n';
  });
  file.AppendText(text);
}

void ComposeCentres(NetState& net, ComposedFile& file) {
  OutputCache& cache = OutputCache::Of(net);
  for (const std::uint32_t flag : {kFlagNCC, kFlagKC})
    file.AppendText(Hex4(net.prefs.net_number) + Hex4(cache.Role(net, flag).id) + "0\n");
}

void ComposeUsersAtNodes(NetState& net, ComposedFile& file) {
  const std::string network = Hex4(net.prefs.net_number);
  std::string text;
  ForEachUserItem(net, [&](const CHDBRecord& user) {
    std::set<std::uint32_t> written;
    for (auto at = user.Pairs().First(); at != kNoPosition; at = user.Pairs().Next(at)) {
      const std::uint32_t node = user.Pairs().At(at).second;
      if (!written.insert(node).second) continue;
      AddAddress(text, network, user.Number());
      text += ' ';
      AddAddress(text, network, node);
      text += '\n';
    }
  });
  file.AppendText(text);
}

constexpr KeyCentreFile kUserNames = {"ABONAME.TXT", ComposeUserNames, kOfUsers | kOfServers};
// The key centre expects it.
constexpr KeyCentreFile kEmptyNames = {"ABONAMEE.TXT", [](NetState&, ComposedFile&) {}, kOfNothing};
constexpr KeyCentreFile kCentres = {"CCC_KC.TXT", ComposeCentres, kOfStructure};
constexpr KeyCentreFile kUsersAtNodes = {"ABN_AP.TXT", ComposeUsersAtNodes, kOfUsers | kOfServers};
constexpr KeyCentreFile kNodeNames = {"NODENAME.DOC", ComposeNodeNames, kOfStructure, false};
constexpr KeyCentreFile kNodeMatrix = {"NMATRIX.DAT", ComposeNodeMatrix, kOfStructure, false};

bool WriteFileOf(Generation& run, const KeyCentreFile& file, const char* folder) {
  return run.Run([&] {
    const std::string prefix = Prefix(folder);
    try {
      if (file.makes_folder && WritesFiles(run.Net())) MakeFolders(prefix);
    } catch (const FileError&) {
      // Where it matters the file fails too.
    }
    NetState& net = run.Net();
    const std::string path = prefix + file.name;
    if (net.collection != nullptr && net.collection->KeepOne(path, file.made_of)) return;
    WriteFile(net, path, 0, [&](ComposedFile& output) { file.compose(net, output); });
  });
}

bool WriteAlone(NetState& net, const KeyCentreFile& file, const char* folder) {
  Generation run(net);
  const bool is_written = WriteFileOf(run, file, folder);
  return run.Finish() && is_written;
}

}  // namespace

bool CNCCNet::CreateAbonameFile(const char* folder) {
  return WriteAlone(*state_, kUserNames, folder);
}
bool CNCCNet::CreateAbonameeFile(const char* folder) {
  return WriteAlone(*state_, kEmptyNames, folder);
}
bool CNCCNet::CreateCcc_kcFile(const char* folder) { return WriteAlone(*state_, kCentres, folder); }
bool CNCCNet::CreateAbn_apFile(const char* folder) {
  return WriteAlone(*state_, kUsersAtNodes, folder);
}
bool CNCCNet::CreateNodenameFile(const char* folder) {
  return WriteAlone(*state_, kNodeNames, folder);
}
bool CNCCNet::CreateNmatrixFile(const char* folder) {
  return WriteAlone(*state_, kNodeMatrix, folder);
}

bool CNCCNet::ExportForKC(bool full, const char* folder) {
  NetState& net = *state_;
  Generation run(net);
  const auto empty_folder = [&](const char* below) {
    auto path = run.MakeFolder(folder, below);
    if (path) run.EmptyFolder(*path);
    return path;
  };
  const auto root = empty_folder("");
  if (!root) return run.Finish();
  const char* into = root->c_str();
  for (const auto* file : {&kUserNames, &kEmptyNames, &kCentres, &kUsersAtNodes, &kNodeNames})
    WriteFileOf(run, *file, into);
  if (const auto users = empty_folder("AB\\")) WriteAllNodes(run, kUserObject, users->c_str());
  if (const auto aps = empty_folder("AP\\")) WriteAllNodes(run, kApObject, aps->c_str());
  WriteFileOf(run, kNodeMatrix, into);
  if (empty_folder("AAA\\")) WriteAllNodes(run, full ? kFullPackage : kShortPackage, into);
  ForgetComposed(net);
  return run.Finish();
}
