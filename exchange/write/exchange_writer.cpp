// Writes what the readers of this folder read; readers.cpp shows the lines.

#include "nccnet/exchange_writer.h"

#include "core/last_error.h"
#include "exchange/application_codes.h"
#include "exchange/read/line_scanner.h"
#include "exchange/set_files.h"
#include "exchange/write/own_network.h"
#include "platform/text/bytes.h"

#include <array>
#include <stdexcept>

using namespace ncc;

namespace {

// A letter that no reader looks at.
constexpr char kNodeFlag = 'F';

class Composer {
 public:
  Composer(const OwnNetwork& own, char blank) : own_(own), blank_(blank) {}

  std::string Gate(const CExchangeGate& gate) const {
    return "N " + std::to_string(own_.net) + "\nG " + std::to_string(gate.first) + "\nL " +
           std::to_string(gate.second) + "\nE " + gate.name + "\n";
  }

  std::string Users() const {
    std::string text;
    for (const OwnUser& user : own_.users) {
      PutObject(text, user.entry.id);
      text += ' ';
      PutName(text, user.entry);
      text += '\n';
    }
    return text;
  }

  std::string Nodes() const {
    std::string text;
    for (const CNNEntry& server : own_.servers)
      PutNode(text, server, 'S', server.id, server.number);
    for (const CNNEntry& ap : own_.aps) PutNode(text, ap, 'A', ap.server_id, ap.number);
    for (const OwnGroup& group : own_.groups)
      PutNode(text, group.entry, 'G', 0, group.entry.number);
    return text;
  }

  std::string Applications() const {
    std::string text;
    for (const auto* nodes : {&own_.servers, &own_.aps}) {
      for (const CNNEntry& node : *nodes) PutApplications(text, node);
    }
    return text;
  }

  std::string Deps() const {
    std::string text;
    for (const OwnDep& dep : own_.deps) {
      PutName(text, dep.entry);
      text += ' ';
      PutObject(text, dep.entry.id);
      text += ' ';
      PutObject(text, dep.entry.ngrp_id);
      text += " G\n";
    }
    return text;
  }

  // The last line of a user names its primary collective.
  std::string UserLinks() const {
    std::string text;
    for (const OwnUser& user : own_.users) {
      const CColId primary = user.entry.primary;
      const auto is_primary = [&](const CColId& id) {
        return id.dep == primary.dep && id.node == primary.node;
      };
      bool has_primary = false;
      for (const CColAb& membership : user.memberships) {
        if (membership.kind != 0) continue;
        if (is_primary(membership.id)) {
          has_primary = true;
        } else {
          PutUserLink(text, user.entry, membership.id);
        }
      }
      if (has_primary) PutUserLink(text, user.entry, primary);
    }
    return text;
  }

  std::string DepLinks() const {
    std::string text;
    for (const OwnDep& dep : own_.deps) {
      for (const CDepEntry& linked : dep.linked) {
        PutObject(text, dep.entry.id);
        text += ' ';
        PutObject(text, linked.id);
        text += '\n';
      }
    }
    return text;
  }

  std::string GroupLinks() const {
    std::string text;
    for (const OwnGroup& group : own_.groups) {
      for (const CNNEntry& node : group.nodes) PutMember(text, group.entry, node, 'A');
      for (const CDepEntry& dep : group.deps) PutMember(text, group.entry, dep, 'G');
    }
    return text;
  }

 private:
  void PutObject(std::string& text, std::uint32_t id) const {
    AppendHex4(text, own_.net);
    AppendHex4(text, id);
  }

  void PutName(std::string& text, const CNCCEntry& entry) const {
    for (const char* at = entry.name; *at != '\0'; ++at)
      text += LineScanner::Separates(*at) ? blank_ : *at;
  }

  void PutNode(std::string& text, const CNCCEntry& node, char kind, std::uint32_t key,
               std::uint32_t number) const {
    PutName(text, node);
    text.append({' ', kNodeFlag, ' ', kind, ' '});
    AppendHex4(text, 0);
    PutObject(text, key);
    AppendHex4(text, number);
    text += ' ';
    PutObject(text, node.id);
    text += '\n';
  }

  void PutApplications(std::string& text, const CNNEntry& node) const {
    for (std::size_t bit = 0; bit < kApplicationCodes.size(); ++bit) {
      if ((node.flags >> bit & 1) == 0) continue;
      AppendHex4(text, kApplicationCodes[bit]);
      text += ' ';
      PutObject(text, node.id);
      text.append({' ', ApplicationLetter(node), '\n'});
    }
  }

  void PutUserLink(std::string& text, const CABEntry& user, const CColId& membership) const {
    PutObject(text, user.id);
    text += ' ';
    PutObject(text, membership.dep);
    text += ' ';
    PutObject(text, membership.node);
    text += " P M\n";
  }

  void PutMember(std::string& text, const CNGrpEntry& group, const CNCCEntry& member,
                 char kind) const {
    PutObject(text, group.id);
    text += ' ';
    PutObject(text, member.id);
    text.append({' ', kind, '1', '\n'});
  }

  const OwnNetwork& own_;
  char blank_;
};

std::array<ExchangeText, 8> ComposeSet(const OwnNetwork& own, const CExchangeGate& gate,
                                       char blank) {
  const Composer composer(own, blank);
  return {{{ExchangeFile::kUsers, composer.Users()},
           {ExchangeFile::kNodes, composer.Nodes()},
           {ExchangeFile::kApplications, composer.Applications()},
           {ExchangeFile::kDeps, composer.Deps()},
           {ExchangeFile::kUserLinks, composer.UserLinks()},
           {ExchangeFile::kDepLinks, composer.DepLinks()},
           {ExchangeFile::kNodeGroupLinks, composer.GroupLinks()},
           {ExchangeFile::kGate, composer.Gate(gate)}}};
}

void JudgeRequest(const char* folder, const CExchangeGate& gate, const CExchangeOptions& options,
                  CExchangeReport& report) {
  if (folder == nullptr || *folder == '\0') report.refused.emplace_back("no folder was named");
  if (const char* obstacle = NameObstacle(gate.name, false))
    report.refused.push_back(std::string("gateway: ") + obstacle);
  if (options.blank != '\0' && LineScanner::Separates(options.blank))
    report.refused.emplace_back("what replaces blanks is a blank itself");
}

// The gateway as the files hold it.
CExchangeGate StoredGate(const CExchangeGate& gate, CTextEncoding encoding,
                         CExchangeReport& report) {
  if (encoding == CTextEncoding::kCp1251) return gate;
  const std::optional<std::string> name = Cp1251FromUtf8(gate.name);
  if (!name)
    report.refused.emplace_back("gateway: the name is not UTF-8 text that code page 1251 can hold");
  return {gate.first, gate.second, name.value_or("?")};
}

void ShowInUtf8(CExchangeReport& report) {
  for (auto* lines : {&report.refused, &report.not_carried}) {
    for (std::string& line : *lines) line = Utf8FromCp1251(line);
  }
}

}  // namespace

bool WriteExchangeSet(CNCCNet& net, const char* folder, const CExchangeGate& given_gate,
                      CExchangeReport& report, const CExchangeOptions& options) {
  report = {};
  const CTextEncoding encoding = net.GetTextEncoding();
  try {
    const CExchangeGate gate = StoredGate(given_gate, encoding, report);
    JudgeRequest(folder, gate, options, report);
    const OwnNetwork own = ReadOwnNetwork(net);
    JudgeOwnNetwork(own, options.blank, report);
    if (encoding == CTextEncoding::kUtf8) ShowInUtf8(report);
    if (report.refused.empty())
      PublishSet(WithSeparator(folder), own.net, ComposeSet(own, gate, options.blank));
  } catch (const std::runtime_error& error) {
    report.refused.emplace_back(error.what());
  }
  if (report.refused.empty()) return true;
  SetLastError(report.refused.front());
  return false;
}
