#include "nccnet/exchange_check.h"

#include "exchange/read/readers.h"
#include "exchange/set_files.h"
#include "platform/text/bytes.h"

#include <utility>

using namespace ncc;

namespace {

std::string WithId(const char* kind, std::uint32_t id) { return kind + Hex4(id); }

// That the file can be opened is all that can be said without the nodes.
ReadResult ReadNothing(std::string_view /*text*/, unsigned long /*net*/, ImportedNet& /*into*/) {
  return std::nullopt;
}

ReadResult ReadMemberships(std::string_view text, unsigned long net, ImportedNet& into) {
  const ReadResult fault = ReadPrimaries(text, net, into);
  return fault ? fault : ReadUserLinks(text, net, into);
}

class SetChecker {
 public:
  SetChecker(const std::string& folder, unsigned long net) : folder_(folder), net_(net) {}

  std::list<CExchangeFault> Check() {
    ReadFile(ExchangeFile::kGate, ReadGate);
    const bool has_users = ReadFile(ExchangeFile::kUsers, ReadUsers);
    const bool has_nodes = ReadFile(ExchangeFile::kNodes, ReadNodes);
    ReadFile(ExchangeFile::kApplications, has_nodes ? ReadApplications : ReadNothing);
    ReadFile(ExchangeFile::kDeps, ReadDeps);
    ReadFile(ExchangeFile::kUserLinks, has_users ? ReadMemberships : ReadUserLinks);
    ReadFile(ExchangeFile::kDepLinks, ReadDepLinks);
    ReadFile(ExchangeFile::kNodeGroupLinks, ReadGroupLinks);
    if (faults_.empty()) CheckReferences();
    return std::move(faults_);
  }

 private:
  // False, with its fault, for a file that cannot be loaded.
  bool ReadFile(ExchangeFile file, FileReader read) {
    const std::string name = ExchangeFileName(file, net_);
    try {
      const std::optional<FileText> text = ReadSetFile(folder_, file, net_);
      if (!text) {
        faults_.push_back({name, 0, "the file cannot be opened", true});
      } else if (const ReadResult fault = read(text->View(), net_, set_)) {
        faults_.push_back({name, fault->line, fault->reason, true});
      } else {
        return true;
      }
    } catch (const FileError& error) {
      faults_.push_back({name, 0, error.what(), true});
    }
    return false;
  }

  void CheckReferences() {
    for (const CNNEntry& ap : set_.aps.List()) {
      Expect(set_.servers.Find(ap.server_id) != nullptr, ExchangeFile::kNodes,
             WithId("AP ", ap.id) + " is attached to no server of the set");
    }
    for (const CDepEntry& dep : set_.deps.List()) {
      const bool is_known = dep.kind == kTypeNGrp ? set_.groups.Find(dep.ngrp_id) != nullptr
                            : dep.kind == kTypeAP ? set_.aps.Find(dep.ngrp_id) != nullptr
                                                  : set_.servers.Find(dep.ngrp_id) != nullptr;
      Expect(is_known, ExchangeFile::kDeps,
             WithId("Dep ", dep.id) + WithId(": its home is not in the set: ", dep.ngrp_id));
    }
    for (const auto& [user, memberships] : set_.user_links) {
      for (const CColAb& membership : memberships) {
        ExpectDep(membership.id.dep, ExchangeFile::kUserLinks, "user ", user);
        ExpectNode(membership.id.node, ExchangeFile::kUserLinks, "user ", user);
      }
    }
    for (const auto& [key, links] : set_.dep_links) {
      CheckDep(key >> 32, static_cast<std::uint32_t>(key));
      for (const tag_WORD4& linked : links) CheckDep(linked.first, linked.second);
    }
    for (const auto& [group, members] : set_.group_links) {
      Expect(set_.groups.Find(group) != nullptr, ExchangeFile::kNodeGroupLinks,
             WithId("node group ", group) + " is not in the set");
      for (const GroupMember& member : members) {
        const auto expect =
            member.kind == kMemberDep ? &SetChecker::ExpectDep : &SetChecker::ExpectNode;
        (this->*expect)(member.id, ExchangeFile::kNodeGroupLinks, "node group ", group);
      }
    }
  }

  void CheckDep(std::uint64_t net, std::uint32_t dep) {
    Expect(net != net_ || set_.deps.Find(dep) != nullptr, ExchangeFile::kDepLinks,
           WithId("Dep ", dep) + " is not in the set");
  }

  // That what an object names is in the set.
  void ExpectDep(std::uint32_t dep, ExchangeFile file, const char* kind, std::uint32_t id) {
    Expect(set_.deps.Find(dep) != nullptr, file,
           WithId(kind, id) + WithId(": not in the set: Dep ", dep));
  }
  void ExpectNode(std::uint32_t node, ExchangeFile file, const char* kind, std::uint32_t id) {
    Expect(set_.nodes.Find(node) != nullptr, file,
           WithId(kind, id) + WithId(": not in the set: node ", node));
  }

  void Expect(bool is_so, ExchangeFile file, const std::string& reason) {
    if (!is_so) faults_.push_back({ExchangeFileName(file, net_), 0, reason, false});
  }

  std::string folder_;
  unsigned long net_;
  ImportedNet set_;
  std::list<CExchangeFault> faults_;
};

}  // namespace

std::list<unsigned long> ListExchangeSets(const char* folder) {
  std::list<unsigned long> nets;
  if (folder == nullptr) return nets;
  for (const std::string& name : GateFileNames(folder)) {
    if (const unsigned long net = NetOfGateFile(name); net != 0) nets.push_back(net);
  }
  nets.sort();
  nets.unique();
  return nets;
}

std::list<CExchangeFault> CheckExchangeSet(const char* folder, unsigned long net) {
  if (folder == nullptr || net == 0 || net > UINT32_MAX) {
    return {{ExchangeFileName(ExchangeFile::kGate, net), 0,
             folder == nullptr ? "no folder was named" : "no network has this number", true}};
  }
  const std::string set_folder = WithSeparator(*folder != '\0' ? folder : ".");
  std::list<CExchangeFault> faults;
  if (ReadOneSet(set_folder, net, [&] { faults = SetChecker(set_folder, net).Check(); }))
    return faults;
  return {{ExchangeFileName(ExchangeFile::kGate, net), 0, "the set is being replaced", true}};
}
