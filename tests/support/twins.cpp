// Do the twins of a query - by name, by identifier, by folder - give one answer?
#include "net_access.h"
#include "network.h"

#include <algorithm>

namespace {

using Numbers = std::vector<unsigned long>;

template <class Entry>
std::string Bytes(const Entry& entry) {
  return {reinterpret_cast<const char*>(&entry), sizeof entry};
}

TDBObjId FolderOf(unsigned long id) { return {ncc::kFolderSpace, static_cast<std::uint32_t>(id)}; }

class Twins {
 public:
  explicit Twins(CNCCNet& net) : net_(net) {}

  std::string Run() {
    LookAtNodes();
    LookAtUsers();
    LookAtDeps();
    LookAtGroups();
    LookAtSelections();
    LookAtChecks();
    return faults_;
  }

 private:
  void Expect(bool agree, const char* what, const std::string& of) {
    if (!agree) faults_ += std::string(what) + " of \"" + of + "\" differ\n";
  }

  // `by_name` and `by_id` are the two lists of one query.
  template <class Entry, class ByName, class ById>
  void ExpectLists(const char* what, const char* name, ByName by_name, ById by_id) {
    const auto one = Filled<Entry>(by_name), other = Filled<Entry>(by_id);
    Expect(std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](const Entry& a, const Entry& b) { return Bytes(a) == Bytes(b); }),
           what, name);
  }

  template <class Entry>
  void ExpectEntries(const char* name, std::initializer_list<std::function<bool(Entry&)>> forms) {
    Entry first;
    Expect((*forms.begin())(first), "found entries", name);
    for (const auto& form : forms) {
      Entry entry;
      Expect(form(entry) && Bytes(entry) == Bytes(first), "entries", name);
    }
  }

  void LookAtNodes() {
    std::list<CNNEntry> servers, aps;
    Expect(net_.GetListServer(servers) == net_.GetServersCount(), "counts", "servers");
    for (const CNNEntry& server : servers) {
      const char* const name = server.name;
      const unsigned long id = net_.GetServer(name);
      TDBObjId folder, same;
      Expect(net_.GetServer(name, folder) && net_.GetServer(id, same) && folder == same &&
                 folder == FolderOf(id) && net_.CheckServerName(name),
             "folders", name);
      ExpectEntries<CNNEntry>(name, {[&](auto& e) { return net_.GetServerInfo(name, e); },
                                     [&](auto& e) { return net_.GetServerInfo(id, e); },
                                     [&](auto& e) { return net_.GetServerInfo(folder, e); },
                                     [&](auto& e) { return net_.GetNNInfo(id, e); }});
      ExpectLists<CNNEntry>(
          "links", name, [&](auto& list) { return net_.GetListLinkedSrv(name, list); },
          [&](auto& list) { return net_.GetListLinkedSrv(id, list); });
      ExpectLists<CNNEntry>(
          "APs", name, [&](auto& list) { return net_.GetListAP(name, list); },
          [&](auto& list) { return net_.GetListAP(id, list); });
      net_.GetListAP(id, aps);
      for (const CNNEntry& ap : aps) LookAtAp(name, id, ap);
    }
  }

  void LookAtAp(const char* server_name, unsigned long server, const CNNEntry& ap) {
    const char* const name = ap.name;
    TDBObjId first, of_server, by_number, by_both;
    const unsigned long here = net_.GetAP(server_name, name);
    Expect(net_.GetAP(name, first) && first == FolderOf(net_.GetAP(name)), "first APs", name);
    Expect(net_.GetAP(server_name, name, of_server) && of_server == FolderOf(here), "APs", name);
    Expect(net_.GetAP(here, by_number) && net_.GetAP(server, here, by_both) &&
               by_number == of_server && by_both == of_server && net_.CheckAPName(name),
           "AP folders", name);
    ExpectEntries<CNNEntry>(name, {[&](auto& e) { return net_.GetAPInfo(name, e); },
                                   [&](auto& e) { return net_.GetAPInfo(first.number, e); }});
  }

  void LookAtUsers() {
    std::list<CABEntry> users;
    net_.GetListAB(users);
    for (const CABEntry& user : users) {
      const char* const name = user.name;
      TDBObjId folder, same;
      const bool found = net_.GetAB(name, folder) && net_.GetAB(folder.number, same);
      const unsigned long id = folder.number;
      Expect(found && folder == same && net_.CheckABName(name), "folders", name);
      ExpectEntries<CABEntry>(name, {[&](auto& e) { return net_.GetABInfo(name, e); },
                                     [&](auto& e) { return net_.GetABInfo(id, e); }});
      Expect(net_.GetPrimaryCol(name).dep == net_.GetPrimaryCol(id).dep &&
                 net_.GetPrimaryCol(name).node == net_.GetPrimaryCol(id).node,
             "primary collectives", name);
      LookAtMemberships(name, id);
    }
  }

  void LookAtMemberships(const char* name, unsigned long id) {
    std::list<CColAb> all, of_dep;
    std::list<CCol> pairs, possible;
    net_.GetListAvailableColAb(id, all);
    net_.GetListAvailableColAb(id, pairs);
    Expect(std::equal(all.begin(), all.end(), pairs.begin(), pairs.end(),
                      [](auto& a, auto& b) { return Bytes(a.id) == Bytes(b.id); }),
           "pairs", name);
    ExpectLists<CColAb>(
        "memberships", name, [&](auto& list) { return net_.GetListAvailableColAb(name, list); },
        [&](auto& list) { return net_.GetListAvailableColAb(id, list); });
    net_.GetListColAb(id, possible);
    std::size_t open = 0;
    for (const CDepEntry& dep : Filled<CDepEntry>([&](auto& l) { return net_.GetListDep(l); })) {
      ExpectLists<CColAb>(
          "memberships of a Dep", name,
          [&](auto& list) { return net_.GetListAvailableColAb(name, dep.id, list); },
          [&](auto& list) { return net_.GetListAvailableColAb(id, dep.id, list); });
      net_.GetListAvailableColAb(id, dep.id, of_dep);
      const auto other_dep = [&](auto& one) { return one.id.dep != dep.id; };
      std::list<CColAb> wanted = all;
      wanted.remove_if(other_dep);
      Expect(
          std::none_of(of_dep.begin(), of_dep.end(), other_dep) && of_dep.size() == wanted.size(),
          "memberships by Dep", name);
      open += net_.GetListColAb(id, dep.id, pairs);
    }
    Expect(open == possible.size(), "collectives by Dep", name);
  }

  void LookAtDeps() {
    for (const CDepEntry& dep : Filled<CDepEntry>([&](auto& l) { return net_.GetListDep(l); })) {
      const char* const name = dep.name;
      TDBObjId folder, same;
      const bool found = net_.GetDep(name, folder) && net_.GetDep(folder.number, same);
      const unsigned long id = folder.number;
      Expect(found && folder == same && net_.CheckDepName(name), "folders", name);
      ExpectEntries<CDepEntry>(name, {[&](auto& e) { return net_.GetDepInfo(name, e); },
                                      [&](auto& e) { return net_.GetDepInfo(id, e); },
                                      [&](auto& e) { return net_.GetDepInfo(folder, e); }});
      ExpectLists<CABEntry>(
          "users", name, [&](auto& list) { return net_.GetListAB(name, list); },
          [&](auto& list) { return net_.GetListAB(id, list); });
      ExpectLists<CDepEntry>(
          "linked Deps", name, [&](auto& list) { return net_.GetListLinkedDep(name, list); },
          [&](auto& list) { return net_.GetListLinkedDep(id, list); });
    }
  }

  void LookAtGroups() {
    std::list<CNGrpEntry> groups;
    net_.GetListNGrp(groups);
    for (const CNGrpEntry& group : groups) {
      const char* const name = group.name;
      TDBObjId folder, same;
      const bool found = net_.GetNGrp(name, folder) && net_.GetNGrp(folder.number, same);
      Expect(found && folder == same && net_.CheckNGrpName(name), "folders", name);
      ExpectEntries<CNGrpEntry>(name, {[&](auto& e) { return net_.GetNGrpInfo(name, e); },
                                       [&](auto& e) { return net_.GetNGrpInfo(folder.number, e); },
                                       [&](auto& e) { return net_.GetNGrpInfo(folder, e); }});
    }
  }

  // By application: all bits, or any of them.
  void LookAtSelections() {
    for (const unsigned mask : {0U, 1U, 3U, 0x80000000U}) {
      const auto expect = [&](const std::list<CNNEntry>& nodes, auto all_of, auto any_of) {
        Numbers with_all, with_any;
        for (const CNNEntry& node : nodes) {
          if ((node.flags & mask) == mask) with_all.push_back(node.id);
          if ((node.flags & mask) != 0) with_any.push_back(node.id);
        }
        Expect(with_all == Ids(Filled<CNNEntry>(all_of)), "all applications", "mask");
        Expect(with_any == Ids(Filled<CNNEntry>(any_of)), "any applications", "mask");
      };
      std::list<CNNEntry> servers, aps;
      net_.GetListServer(servers);
      net_.GetListAP(aps);
      expect(
          servers, [&](auto& list) { return net_.GetListSrvInApps(mask, list); },
          [&](auto& list) { return net_.GetListSrvInApps1(mask, list); });
      expect(
          aps, [&](auto& list) { return net_.GetListApInApps(mask, list); },
          [&](auto& list) { return net_.GetListApInApps1(mask, list); });
    }
  }

  // Each list of a check alone is as beside the others, behind what stood in it.
  void LookAtChecks() {
    const auto expect = [&]<class Entry>(const char* what, std::list<Entry>* all, std::size_t size,
                                         auto check) {
      for (std::size_t i = 0; i < size; ++i) {
        std::vector<std::list<Entry>*> wanted(size);
        std::list<Entry> alone(1);
        wanted[i] = &alone;
        Expect(check(wanted) == 0 && alone.size() == all[i].size() + 1, what, "lists");
        alone.pop_front();
        Expect(Ids(alone) == Ids(all[i]), what, "lists");
      }
    };
    std::list<CABEntry> users[3];
    std::list<CNNEntry> servers[3], aps[2];
    std::list<CNGrpEntry> groups[2];
    std::list<CDepEntry> deps[2];
    net_.CheckAnomaliesAB(&users[0], &users[1], &users[2]);
    net_.CheckAnomaliesSrv(&servers[0], &servers[1], &servers[2]);
    net_.ChechAnomaliesAP(&aps[0], &aps[1]);
    net_.CheckAnomaliesNGrp(&groups[0], &groups[1]);
    net_.CheckAnomaliesDep(&deps[0], &deps[1]);
    expect("user checks", users, 3,
           [&](auto& l) { return net_.CheckAnomaliesAB(l[0], l[1], l[2]); });
    expect("server checks", servers, 3,
           [&](auto& l) { return net_.CheckAnomaliesSrv(l[0], l[1], l[2]); });
    expect("AP checks", aps, 2, [&](auto& l) { return net_.ChechAnomaliesAP(l[0], l[1]); });
    expect("group checks", groups, 2, [&](auto& l) { return net_.CheckAnomaliesNGrp(l[0], l[1]); });
    expect("Dep checks", deps, 2, [&](auto& l) { return net_.CheckAnomaliesDep(l[0], l[1]); });
  }

  CNCCNet& net_;
  std::string faults_;
};

}  // namespace

std::string FindDisagreements(CNCCNet& net) { return Twins(net).Run(); }
