// Writes what the readers of this folder read; readers.cpp shows the lines.

#include "nccnet/exchange_writer.h"

#include "core/last_error.h"
#include "exchange/application_codes.h"
#include "exchange/read/line_scanner.h"
#include "exchange/set_files.h"
#include "exchange/write/own_network.h"
#include "platform/text/bytes.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <stdexcept>
#include <string_view>

using namespace ncc;

namespace {

// A letter that no reader looks at.
constexpr std::string_view kNodeFlag = "F";

void AppendLine(std::string& text, std::initializer_list<std::string_view> fields) {
  for (const std::string_view field : fields) text.append(field).append(" ");
  text.back() = '\n';
}

class Composer {
 public:
  Composer(const OwnNetwork& own, char blank) : own_(own), blank_(blank) {}

  std::string Gate(const CExchangeGate& gate) const {
    return "N " + std::to_string(own_.net) + "\nG " + std::to_string(gate.first) + "\nL " +
           std::to_string(gate.second) + "\nE " + gate.name + "\n";
  }

  std::string Users() const {
    std::string text;
    for (const OwnUser& user : own_.users)
      AppendLine(text, {Object(user.entry.id), Name(user.entry)});
    return text;
  }

  std::string Nodes() const {
    std::string text;
    for (const CNNEntry& server : own_.servers)
      AppendNode(text, server, "S", server.id, server.number);
    for (const CNNEntry& ap : own_.aps) AppendNode(text, ap, "A", ap.server_id, ap.number);
    for (const OwnGroup& group : own_.groups)
      AppendNode(text, group.entry, "G", 0, group.entry.number);
    return text;
  }

  std::string Applications() const {
    std::string text;
    for (const auto* nodes : {&own_.servers, &own_.aps}) {
      for (const CNNEntry& node : *nodes) {
        const char letter[] = {ApplicationLetter(node), '\0'};
        for (std::size_t bit = 0; bit < kApplicationCodes.size(); ++bit) {
          if ((node.flags >> bit & 1) != 0)
            AppendLine(text, {Hex4(kApplicationCodes[bit]), Object(node.id), letter});
        }
      }
    }
    return text;
  }

  std::string Deps() const {
    std::string text;
    for (const OwnDep& dep : own_.deps)
      AppendLine(text, {Name(dep.entry), Object(dep.entry.id), Object(dep.entry.ngrp_id), "G"});
    return text;
  }

  // The last line of a user names its primary collective.
  std::string UserLinks() const {
    std::string text;
    for (const OwnUser& user : own_.users) {
      const CColId primary = user.entry.primary;
      const auto append = [&](const CColId& at) {
        AppendLine(text, {Object(user.entry.id), Object(at.dep), Object(at.node), "P", "M"});
      };
      bool has_primary = false;
      for (const CColAb& membership : user.memberships) {
        const CColId at = membership.id;
        if (membership.kind != 0) continue;
        if (at.dep == primary.dep && at.node == primary.node) {
          has_primary = true;
        } else {
          append(at);
        }
      }
      if (has_primary) append(primary);
    }
    return text;
  }

  std::string DepLinks() const {
    std::string text;
    for (const OwnDep& dep : own_.deps) {
      for (const CDepEntry& linked : dep.linked)
        AppendLine(text, {Object(dep.entry.id), Object(linked.id)});
    }
    return text;
  }

  std::string GroupLinks() const {
    std::string text;
    for (const OwnGroup& group : own_.groups) {
      const std::string id = Object(group.entry.id);
      for (const CNNEntry& node : group.nodes) AppendLine(text, {id, Object(node.id), "A1"});
      for (const CDepEntry& dep : group.deps) AppendLine(text, {id, Object(dep.id), "G1"});
    }
    return text;
  }

 private:
  std::string Object(std::uint32_t id) const { return Hex4(own_.net) + Hex4(id); }

  std::string Name(const CNCCEntry& entry) const {
    std::string name = entry.name;
    std::replace_if(name.begin(), name.end(), LineScanner::Separates, blank_);
    return name;
  }

  void AppendNode(std::string& text, const CNCCEntry& node, std::string_view kind,
                  std::uint32_t key, std::uint32_t number) const {
    AppendLine(
        text, {Name(node), kNodeFlag, kind, Hex4(0) + Object(key) + Hex4(number), Object(node.id)});
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
