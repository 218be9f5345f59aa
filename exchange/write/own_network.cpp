#include "exchange/write/own_network.h"

#include "core/entry.h"
#include "exchange/application_codes.h"
#include "exchange/read/line_scanner.h"
#include "platform/text/bytes.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>

namespace ncc {
namespace {

constexpr std::uint32_t kMaxId = 0xFFFF;
constexpr std::uint32_t kLetterKeeper = 0x17;  // the AP that keeps its application letter

// Keeps other threads and the progress callback out while the network is read.
class StillNetwork {
 public:
  // Where the calling thread has a batch already, or runs in a callback, it has the lock as well.
  explicit StillNetwork(CNCCNet& net)
      : net_(net), has_begun_(net.BeginBatch()), callback_(net.SetCallback(nullptr)) {}
  ~StillNetwork() {
    net_.SetCallback(callback_);
    if (has_begun_) net_.EndBatch();
  }
  StillNetwork(const StillNetwork&) = delete;
  StillNetwork& operator=(const StillNetwork&) = delete;

 private:
  CNCCNet& net_;
  bool has_begun_;
  NCCCallback callback_;
};

// Runs a query, which gives its result; throws when it failed.
template <class Query>
auto Ask(CNCCNet& net, Query query) {
  const auto result = query();
  const char* error = net.LastError();
  if (*error != '\0') throw std::runtime_error(error);
  return result;
}

std::string_view NameOf(const CNCCEntry& entry) {
  return {entry.name, strnlen(entry.name, sizeof(entry.name))};
}

std::string KindNameAndId(const CNCCEntry& entry) {
  return std::string(KindName(entry.type)) + " \"" + std::string(NameOf(entry)) + "\" (" +
         Hex4(entry.id) + ")";
}

// Whether a reader keeps the letter of a node's applications as its settings.
bool KeepsLetter(const CNNEntry& node) {
  return node.type == kTypeAP && node.id == kLetterKeeper && node.flags != 0;
}

std::uint8_t SettingsOfReader(const CNNEntry& node) {
  return KeepsLetter(node) ? static_cast<std::uint8_t>(ApplicationLetter(node)) : 0;
}

// Something that is left out wherever it occurs.
class Omission {
 public:
  explicit Omission(const char* what) : what_(what) {}

  void Count(const CNCCEntry& entry, bool occurs) {
    if (!occurs) return;
    if (count_++ == 0) first_ = KindNameAndId(entry);
  }

  void Report(CExchangeReport& report) const {
    if (count_ == 0) return;
    std::string line = what_ + std::string(" of ") + first_;
    if (count_ > 1) line += " and " + std::to_string(count_ - 1) + " more";
    report.not_carried.push_back(std::move(line));
  }

 private:
  const char* what_;
  std::size_t count_ = 0;
  std::string first_;
};

class Judge {
 public:
  Judge(char blank, CExchangeReport& report) : blank_(blank), report_(report) {}

  void JudgeNode(const CNNEntry& node) {
    JudgeHead(node);
    JudgeNumber(node, node.number);
    if ((node.flags & ~kApplicationBits) != 0) Refuse(node, "it has applications without a code");
    attributes_.Count(node, node.attribute != 1);
    settings_.Count(node, node.settings != SettingsOfReader(node));
    values_.Count(node, node.value != 0);
  }

  void JudgeGroup(const OwnGroup& group) {
    JudgeHead(group.entry);
    JudgeNumber(group.entry, group.entry.number);
    servers_in_groups_.Count(
        group.entry, std::any_of(group.nodes.begin(), group.nodes.end(),
                                 [](const CNNEntry& node) { return node.type == kTypeServer; }));
  }

  void JudgeDep(const CDepEntry& dep) {
    JudgeHead(dep);
    if (dep.ngrp_id == 0) Refuse(dep, "it is in no node group");
    JudgeReference(dep, dep.ngrp_id);
  }

  void JudgeUser(const OwnUser& user) {
    const CColId primary = user.entry.primary;
    JudgeHead(user.entry);
    bool has_memberships = false;
    int primaries = 0;
    bool has_others = false;
    for (const CColAb& membership : user.memberships) {
      if (membership.kind != 0) {
        has_others = true;
        continue;
      }
      JudgeReference(user.entry, membership.id.dep);
      JudgeReference(user.entry, membership.id.node);
      has_memberships = true;
      if (membership.id.dep == primary.dep && membership.id.node == primary.node) ++primaries;
    }
    const bool wants_primary = primary.dep != 0 || primary.node != 0;
    if (wants_primary && primaries == 0) {
      Refuse(user.entry, "the primary collective is no membership of kind 0");
    } else if (has_memberships && primaries == 0) {
      Refuse(user.entry, "it has memberships and no primary collective");
    }
    memberships_.Count(user.entry, has_others);
    repeated_.Count(user.entry, primaries > 1);
  }

  void ReportOmissions() const {
    for (const Omission* omission :
         {&attributes_, &settings_, &values_, &servers_in_groups_, &memberships_, &repeated_}) {
      omission->Report(report_);
    }
  }

 private:
  void Refuse(const CNCCEntry& entry, const std::string& why) {
    report_.refused.push_back(KindNameAndId(entry) + ": " + why);
  }

  void JudgeHead(const CNCCEntry& entry) {
    const std::string_view name = NameOf(entry);
    if (const char* obstacle = NameObstacle(name, blank_ != '\0')) Refuse(entry, obstacle);
    if (blank_ != '\0') {
      std::string written(name);
      std::replace_if(written.begin(), written.end(), LineScanner::Separates, blank_);
      const auto [first, is_new] =
          names_.emplace(std::pair(entry.type, std::move(written)), std::string(name));
      if (!is_new && first->second != name)
        Refuse(entry, "with its blanks replaced it has the name of \"" + first->second + "\"");
    }
    if (entry.id > kMaxId) Refuse(entry, "the identifier is above FFFF");
  }

  void JudgeNumber(const CNCCEntry& entry, std::uint32_t number) {
    if (number > kMaxId) Refuse(entry, "the ordinal is above FFFF");
  }

  void JudgeReference(const CNCCEntry& entry, std::uint32_t id) {
    if (id > kMaxId) Refuse(entry, "it names the identifier " + Hex4(id) + ", above FFFF");
  }

  char blank_;  // stands for each blank; 0 for none
  CExchangeReport& report_;
  std::map<std::pair<std::uint8_t, std::string>, std::string> names_;  // as written: as it is
  Omission attributes_{"the attribute byte"};
  Omission settings_{"the settings byte"};
  Omission values_{"the short value"};
  Omission servers_in_groups_{"in a reader's list of nodes, the servers"};
  Omission memberships_{"memberships of other kinds than 0"};
  Omission repeated_{"repetitions of the primary membership"};
};

// The home of a Dep that has left the group it was assigned to: the first that still lists it.
void FindHomes(OwnNetwork& own) {
  std::map<std::uint32_t, std::uint32_t> homes;
  for (const OwnGroup& group : own.groups) {
    for (const CDepEntry& dep : group.deps) homes.emplace(dep.id, group.entry.id);
  }
  for (OwnDep& dep : own.deps) {
    const auto home = homes.find(dep.entry.id);
    if (dep.entry.ngrp_id == 0 && home != homes.end()) dep.entry.ngrp_id = home->second;
  }
}

}  // namespace

const char* NameObstacle(std::string_view name, bool replaces_blanks) {
  if (name.empty()) return "the name is empty";
  if (name.size() > kMaxNameLength) return "the name is longer than 51 bytes";
  if (name.find('\0') != std::string_view::npos) return "the name holds a zero byte";
  if (!replaces_blanks && std::any_of(name.begin(), name.end(), LineScanner::Separates))
    return "the name holds a blank";
  return nullptr;
}

char ApplicationLetter(const CNNEntry& node) {
  const char letter = static_cast<char>(node.settings);
  const bool fits =
      letter != '\0' && letter != '\n' && letter != '\r' && !LineScanner::Separates(letter);
  return KeepsLetter(node) && fits ? letter : 'A';
}

OwnNetwork ReadOwnNetwork(CNCCNet& net) {
  const StillNetwork still(net);
  OwnNetwork own;
  own.net = net.Preferences()->net_number;
  Ask(net, [&] { return net.GetListServer(own.servers); });
  std::list<CNNEntry> linked;
  for (const CNNEntry& server : own.servers) {
    if (Ask(net, [&] { return net.GetListLinkedSrv(server.id, linked); }) != 0)
      ++own.linked_servers;
  }
  Ask(net, [&] { return net.GetListAP(own.aps); });
  std::list<CABEntry> users;
  Ask(net, [&] { return net.GetListAB(users); });
  own.users.reserve(users.size());
  for (const CABEntry& entry : users) {
    OwnUser& user = own.users.emplace_back();
    user.entry = entry;
    Ask(net, [&] { return net.GetListAvailableColAb(entry.id, user.memberships); });
  }
  std::list<CDepEntry> deps;
  Ask(net, [&] { return net.GetListDep(deps); });
  for (const CDepEntry& entry : deps) {
    OwnDep& dep = own.deps.emplace_back();
    dep.entry = entry;
    Ask(net, [&] { return net.GetListLinkedDep(entry.id, dep.linked); });
  }
  std::list<CNGrpEntry> groups;
  Ask(net, [&] { return net.GetListNGrp(groups); });
  for (const CNGrpEntry& entry : groups) {
    OwnGroup& group = own.groups.emplace_back();
    group.entry = entry;
    Ask(net, [&] { return net.GetListNN(entry.id, group.nodes); });
    Ask(net, [&] { return net.GetListDepFromNGrp(entry.id, group.deps); });
  }
  FindHomes(own);
  return own;
}

void JudgeOwnNetwork(const OwnNetwork& own, char blank, CExchangeReport& report) {
  if (own.net == 0 || own.net > kMaxId)
    report.refused.push_back("network number " + Hex4(own.net) + " is not one of 0001 to FFFF");
  Judge judge(blank, report);
  for (const CNNEntry& server : own.servers) judge.JudgeNode(server);
  for (const CNNEntry& ap : own.aps) judge.JudgeNode(ap);
  for (const OwnGroup& group : own.groups) judge.JudgeGroup(group);
  for (const OwnDep& dep : own.deps) judge.JudgeDep(dep.entry);
  for (const OwnUser& user : own.users) judge.JudgeUser(user);
  if (own.linked_servers != 0) {
    report.not_carried.push_back("links between servers, of " + std::to_string(own.linked_servers) +
                                 " servers");
  }
  judge.ReportOmissions();
}

}  // namespace ncc
