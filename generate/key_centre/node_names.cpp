// The node name file "NODENAME.DOC": the key centre's list of every addressable unit of the
// network.
//
// One line a unit, the name in exactly 51 columns, lines ended by CR LF; NA is the network number
// and every other number an identifier, each as four hexadecimal digits:
//
//   <name>1 G C000<NA>0000<group> <NA><group>       node groups, in list order
//   <name>1 A 0000<NA><server><ap> <NA><ap>         APs, server by server
//   <name>1 S 0000<NA><server>0000 <NA><server>     servers
//   <name>1 G C000<NA>00000000 <NA>0000             the whole network, in code page 866

#include "core/entry.h"
#include "core/find.h"
#include "generate/key_centre/key_centre_files.h"
#include "platform/text/bytes.h"
#include "platform/text/code_page.h"
#include "structure/nodes.h"

namespace ncc {
namespace {

// "Вся сеть" in code page 1251.
constexpr char kWholeNetwork[] = "\xC2\xF1\xFF \xF1\xE5\xF2\xFC";

std::string NameColumn(std::string_view name) {
  std::string column;
  AppendColumn(column, name, kMaxNameLength);
  return column;
}

std::string GroupLine(const std::string& network, const CNGrpEntry& group) {
  return NameColumn(group.name) + "1 G C000" + network + "0000" + Hex4(group.id) + " " + network +
         Hex4(group.id) + "\n";
}

std::string ApLine(const std::string& network, const CNNEntry& ap) {
  return NameColumn(ap.name) + "1 A 0000" + network + Hex4(ap.server_id) + Hex4(ap.id) + " " +
         network + Hex4(ap.id) + "\n";
}

std::string ServerLine(const std::string& network, const CNNEntry& server) {
  return NameColumn(server.name) + "1 S 0000" + network + Hex4(server.id) + "0000 " + network +
         Hex4(server.id) + "\n";
}

std::string NetworkLine(const std::string& network) {
  const std::string line =
      NameColumn(kWholeNetwork) + "1 G C000" + network + "00000000 " + network + "0000\n";
  return Cp866FromCp1251(line);
}

}  // namespace

void ComposeNodeNames(NetState& net, ComposedFile& file) {
  const std::string network = Hex4(net.prefs.net_number);
  for (const std::uint32_t number : NumbersOf(net, kTypeNGrp)) {
    net.Progress();
    if (const CHDBRecord* record = FindObject(net, number, kTypeNGrp); record != nullptr)
      file.AppendText(GroupLine(network, EntryOf<CNGrpEntry>(*record)));
  }
  std::string server_lines;
  for (const std::uint32_t number : RootObjects(net, kTypeServer)) {
    net.Progress();
    ForEachAP(net, number, [&](const CHDBRecord& ap) {
      const std::uint32_t ap_number = ap.Number();
      net.Progress();
      if (const CHDBRecord* record = FindObject(net, ap_number, kTypeAP); record != nullptr)
        file.AppendText(ApLine(network, EntryOf<CNNEntry>(*record)));
      return true;
    });
    if (const CHDBRecord* record = FindObject(net, number, kTypeServer); record != nullptr)
      server_lines += ServerLine(network, EntryOf<CNNEntry>(*record));
  }
  file.AppendText(server_lines);
  file.AppendText(NetworkLine(network));
}

}  // namespace ncc
