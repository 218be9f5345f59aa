// The key centre's files.
//
//   "ABONAME.TXT"    "%-56.56s%s\n": a user's name and address
//   "ABONAMEE.TXT"   empty
//   "CCC_KC.TXT"     "%s0\n": the address of the network control centre, then of the key centre
//   "ABN_AP.TXT"     "%s %s\n": a user's address and that of a node at which the user is a member

#include "generate/file_names.h"
#include "generate/forms.h"
#include "generate/output_cache.h"

#include <set>

using namespace ncc;

namespace {

constexpr std::size_t kNameColumns = 56;

// Runs one(user, record) for each user among the items of the root folder, calling the progress
// callback before each item.
template <class One>
void ForEachUserItem(NetState& net, One one) {
  const TRef<CHDBFolder> root = net.root;
  WalkItems(net, *root, [&](const CHDBFolderEntry& entry, std::uint32_t) {
    if (entry.Kind() == kTypeAB) one(RecordOf(net, entry.Object()));
    return true;
  });
}

// Makes the folder and writes a file into it; compose(file, network) appends the text.
template <class Compose>
bool WriteKeyCentreFile(NetState& net, const char* folder, const char* name, Compose compose) {
  return Run(net, false, [&] {
    const std::string prefix = Prefix(folder);
    try {
      MakeFolders(prefix);
    } catch (const FileError&) {
      // Where it matters the file fails too.
    }
    WriteFile(net, prefix + name, 0, compose);
    return true;
  });
}

void AddAddress(std::string& text, const std::string& network, std::uint32_t id) {
  text += network;
  AppendHex4(text, id);
}

}  // namespace

bool CNCCNet::CreateAbonameFile(const char* folder) {
  NetState& net = *state_;
  return WriteKeyCentreFile(net, folder, "ABONAME.TXT", [&](OutputFile& file) {
    const std::string network = Hex4(net.prefs.net_number);
    std::string text;
    ForEachUserItem(net, [&](const CHDBRecord& record) {
      const CABEntry user = EntryOf<CABEntry>(record);
      AppendColumn(text, user.name, kNameColumns);
      AddAddress(text, network, user.id);
      text += '\n';
    });
    file.AppendText(text);
  });
}

// The key centre expects the empty file.
bool CNCCNet::CreateAbonameeFile(const char* folder) {
  return WriteKeyCentreFile(*state_, folder, "ABONAMEE.TXT", [](OutputFile&) {});
}

bool CNCCNet::CreateCcc_kcFile(const char* folder) {
  NetState& net = *state_;
  return WriteKeyCentreFile(net, folder, "CCC_KC.TXT", [&](OutputFile& file) {
    OutputCache& cache = OutputCache::Of(net);
    for (const std::uint32_t flag : {kFlagNCC, kFlagKC})
      file.AppendText(Hex4(net.prefs.net_number) + Hex4(cache.Role(net, flag).id) + "0\n");
  });
}

bool CNCCNet::CreateAbn_apFile(const char* folder) {
  NetState& net = *state_;
  return WriteKeyCentreFile(net, folder, "ABN_AP.TXT", [&](OutputFile& file) {
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
  });
}

bool CNCCNet::ExportForKC(bool full, const char* folder) {
  NetState& net = *state_;
  FirstFailure failure;
  const auto empty_folder = [&](const char* below) {
    auto path = OutputFolder(net, folder, below);
    failure.Note(path.has_value());
    if (path) failure.Note(EmptyFolder(net, *path));
    return path;
  };
  const auto root = empty_folder("");
  if (!root) return true;
  const char* into = root->c_str();
  failure.Note(CreateAbonameFile(into));
  failure.Note(CreateAbonameeFile(into));
  failure.Note(CreateCcc_kcFile(into));
  failure.Note(CreateAbn_apFile(into));
  failure.Note(CreateNodenameFile(into));
  if (const auto users = empty_folder("AB\\")) failure.Note(GenAB(users->c_str()));
  if (const auto aps = empty_folder("AP\\")) failure.Note(GenAP(aps->c_str()));
  failure.Note(CreateNmatrixFile(into));
  if (empty_folder("AAA\\")) failure.Note(full ? GenFullDistr(into) : GenShortDistr(into));
  ForgetComposed(net);
  failure.Report();
  return true;
}
