// Who may work where: embed DATABASE, which is named as for nccadm. Names are printed as they are
// stored, in code page 1251.
#include <nccnet/nccnet.h>

#include <filesystem>
#include <iostream>
#include <list>

namespace {

void PrintUser(CNCCNet& net, const CABEntry& user) {
  std::list<CColAb> memberships;
  net.GetListAvailableColAb(user.id, memberships);
  std::cout << user.name << (memberships.empty() ? ": nowhere\n" : "\n");
  for (const CColAb& membership : memberships) {
    CNNEntry node;
    CDepEntry dep;
    // A deleted node leaves the memberships at it behind.
    const bool is_known =
        net.GetNNInfo(membership.id.node, node) && net.GetDepInfo(membership.id.dep, dep);
    if (!is_known) continue;
    const bool is_primary =
        membership.id.dep == user.primary.dep && membership.id.node == user.primary.node;
    std::cout << "  at " << node.name << " for " << dep.name << (is_primary ? ", primary\n" : "\n");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: embed DATABASE\n";
    return 2;
  }
  const auto database = std::filesystem::absolute(argv[1]);
  CNCCNet net;
  if (!net.Open(database.parent_path().c_str(), database.filename().c_str())) {
    std::cerr << "embed: " << net.LastError() << '\n';
    return 1;
  }
  std::list<CABEntry> users;
  net.GetListAB(users);
  for (const CABEntry& user : users) PrintUser(net, user);
}
