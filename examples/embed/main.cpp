// A program that keeps a network of its own: embed FOLDER
#include <nccnet/nccnet.h>

#include <iostream>
#include <list>

namespace {

bool AddHarbour(CNCCNet& net) {
  // One batch: after a power cut the network holds all three nodes or none.
  if (!net.BeginBatch()) return false;
  const unsigned long harbour = net.AddServer("Harbour", 0, 10);
  const bool added = harbour != 0 && net.AddAP(harbour, "Crane", 0) != 0 &&
                     net.AddAP(harbour, "Customs", kFlagNCC) != 0;
  return net.EndBatch(added) && added;
}

void PrintNode(CNCCNet& net, const CNNEntry& node, const char* indent) {
  char address[9];
  std::cout << indent << node.name << " (" << net.GetAddr4(node.id, address) << ")\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: embed FOLDER\n";
    return 2;
  }
  CNCCNet net;
  const bool ready =
      net.Open(argv[1], "harbour") || (net.Create(argv[1], "harbour", 0x1A) && AddHarbour(net));
  if (!ready) {
    std::cerr << "embed: " << net.LastError() << '\n';
    return 1;
  }
  std::list<CNNEntry> servers;
  net.GetListServer(servers);
  for (const CNNEntry& server : servers) {
    PrintNode(net, server, "");
    std::list<CNNEntry> points;
    net.GetListAP(server.id, points);
    for (const CNNEntry& point : points) PrintNode(net, point, "  ");
  }
}
