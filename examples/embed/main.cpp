// Who may work where: embed DATABASE [USER]. The database is named as for nccadm, that is without
// ".db"; what is typed and printed is UTF-8.
#include <nccnet/nccnet.h>

#include <filesystem>
#include <iostream>
#include <list>

namespace {

void PrintUser(CNCCNet& net, const CABEntry& user) {
  std::list<CColAb> memberships;
  net.GetListAvailableColAb(user.id, memberships);
  std::cout << Utf8NameOf(user) << (memberships.empty() ? ": nowhere\n" : "\n");
  for (const CColAb& membership : memberships) {
    CNNEntry node;
    CDepEntry dep;
    // A deleted node leaves the memberships at it behind.
    const bool is_known =
        net.GetNNInfo(membership.id.node, node) && net.GetDepInfo(membership.id.dep, dep);
    if (!is_known) continue;
    const bool is_primary =
        membership.id.dep == user.primary.dep && membership.id.node == user.primary.node;
    std::cout << "  at " << Utf8NameOf(node) << " for " << Utf8NameOf(dep)
              << (is_primary ? ", primary\n" : "\n");
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::cerr << "usage: embed DATABASE [USER]\n";
    return 2;
  }
  const auto database = std::filesystem::absolute(argv[1]);
  CNCCNet net;
  net.SetTextEncoding(CTextEncoding::kUtf8);
  std::list<CABEntry> users;
  bool is_done = net.Open(database.parent_path().c_str(), database.filename().c_str());
  if (is_done && argc == 2) net.GetListAB(users);
  if (is_done && argc == 3) is_done = net.GetABInfo(argv[2], users.emplace_back());
  if (!is_done) {
    std::cerr << "embed: " << net.LastError() << '\n';
    return 1;
  }
  for (const CABEntry& user : users) PrintUser(net, user);
}
