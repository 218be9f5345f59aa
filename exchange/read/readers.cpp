// The exchange files, a line each; every number of four hexadecimal digits, an object being its
// network's number and its identifier:
//
//   gt   letter number / letter first value / "L" second value / "E" name
//   an   user name
//   nn   name letter kind ("A" AP, "S" server, "G" node group) unused net server-key ordinal object
//   bc   application node letter
//   un   name Dep home kind-of-home
//   ul   user Dep node letter letter
//   uc   Dep Dep
//   ng   group member kind ("A" node, "G" Dep) and a 1

#include "exchange/read/readers.h"

#include "exchange/application_codes.h"
#include "exchange/read/line_scanner.h"

#include <algorithm>
#include <cstring>

namespace ncc {
namespace {

constexpr const char* kUnknownKind = "the kind letter is unknown";
constexpr std::uint32_t kLetterKeeper = 0x17;  // the AP that keeps its application letter

ReadResult FaultAt(std::size_t number, const LineScanner& line, const char* reason) {
  std::string text(reason);
  if (line.HasFailed()) text += " in column " + std::to_string(line.Column());
  return LineFault{number, std::move(text)};
}

// Hands each line that is not blank to read_line(scanner), which returns null or what is wrong.
template <class ReadLine>
ReadResult ReadLines(std::string_view text, ReadLine read_line) {
  for (std::size_t number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    LineScanner line(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.IsBlank()) continue;
    if (const char* reason = read_line(line)) return FaultAt(number, line, reason);
  }
  return std::nullopt;
}

// Room for the lines of a text, as far as there can be identifiers.
template <class Entry>
void ReserveLines(RecordTable<Entry>& table, std::string_view text) {
  constexpr std::ptrdiff_t kMaxIds = 0x10000;
  const auto lines = std::count(text.begin(), text.end(), '\n');
  table.Reserve(static_cast<std::size_t>(std::min(lines + 1, kMaxIds)));
}

// A record that is zero but for its head.
template <class Entry>
Entry MakeEntry(std::string_view name, std::uint32_t id, std::uint8_t type) {
  Entry entry;
  std::memset(static_cast<void*>(&entry), 0, sizeof(entry));
  std::memcpy(entry.name, name.data(), name.size());
  entry.id = id;
  entry.type = type;
  return entry;
}

struct NodeLine {
  std::string_view name;
  bool has_attribute;
  char kind;
  std::uint32_t key;
  std::uint32_t number;
  std::uint32_t id;
};

const char* ScanNode(LineScanner& line, unsigned long net, NodeLine& node) {
  node.name = line.Name();
  node.has_attribute = line.NextLetter() != '\0';
  node.kind = line.NextLetter();
  line.Hex();
  node.key = line.ObjectOf(net);
  node.number = line.Hex();
  node.id = line.ObjectOf(net);
  return line.Finish();
}

CNNEntry MakeNode(const NodeLine& node, std::uint8_t type) {
  auto entry = MakeEntry<CNNEntry>(node.name, node.id, type);
  entry.number = node.number;
  entry.attribute = node.has_attribute ? 1 : 0;
  entry.server_id = node.key;
  return entry;
}

// The type of what a kind letter stands for; kTypeNone for an unknown one.
std::uint8_t TypeOf(char kind) {
  if (kind == 'A') return kTypeAP;
  if (kind == 'S') return kTypeServer;
  return kind == 'G' ? kTypeNGrp : kTypeNone;
}

struct UserLink {
  std::uint32_t user;
  CColAb membership;
  bool is_primary;
};

const char* ScanUserLink(LineScanner& line, unsigned long net, UserLink& link) {
  link.user = line.ObjectOf(net);
  link.membership.id.dep = line.ObjectOf(net);
  link.membership.id.node = line.ObjectOf(net);
  link.is_primary = line.NextLetter() != '\0';
  link.membership.kind = line.NextLetter() == '\0' ? 1 : 0;
  return line.Finish();
}

// Appends to the lists of a table; quick while lines of one key follow each other and keys ascend.
template <class Key, class Element>
class Grouping {
 public:
  explicit Grouping(std::map<Key, std::list<Element>>& table) : table_(table) {}

  void Append(Key key, const Element& element) {
    if (list_ == nullptr || key_ != key) {
      const bool is_last = table_.empty() || table_.rbegin()->first < key;
      list_ = is_last ? &table_.try_emplace(table_.end(), key)->second : &table_[key];
      key_ = key;
    }
    list_->push_back(element);
  }

 private:
  std::map<Key, std::list<Element>>& table_;
  std::list<Element>* list_ = nullptr;  // of key_
  Key key_{};
};

}  // namespace

ReadResult ReadGate(std::string_view text, unsigned long /*net*/, ImportedNet& into) {
  ImportedGate& gate = into.gate;
  std::size_t fields = 0;
  std::size_t number = 1;
  for (; !text.empty() && fields < 4; ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    LineScanner line(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.IsBlank()) continue;
    if (fields > 0) line.SkipBlanks();  // the format of the line before ends in a blank
    const char letter = line.Letter();
    if (fields == 0) line.SkipNumber();
    const std::uint32_t value = fields == 1 || fields == 2 ? line.Decimal() : 0;
    const std::string_view name = fields < 3 ? std::string_view() : line.Name();
    if (const char* reason = line.Finish()) return FaultAt(number, line, reason);
    if (fields == 2 && letter != 'L') return FaultAt(number, line, "the letter is not L");
    if (fields == 3 && letter != 'E') return FaultAt(number, line, "the letter is not E");
    if (fields == 1) gate.first = value;
    if (fields == 2) gate.second = value;
    if (fields == 3) {
      gate.name.fill('\0');
      std::copy(name.begin(), name.end(), gate.name.begin());
    }
    ++fields;
  }
  if (fields < 4) return LineFault{number, "the file ends before its fourth line"};
  return std::nullopt;
}

ReadResult ReadUsers(std::string_view text, unsigned long net, ImportedNet& into) {
  ReserveLines(into.users, text);
  return ReadLines(text, [&](LineScanner& line) -> const char* {
    const std::uint32_t id = line.ObjectOf(net);
    const std::string_view name = line.Name();
    if (const char* reason = line.Finish()) return reason;
    into.users.Append(MakeEntry<CABEntry>(name, id, kTypeAB));
    return nullptr;
  });
}

ReadResult ReadNodes(std::string_view text, unsigned long net, ImportedNet& into) {
  ReserveLines(into.aps, text);
  ReadResult result = ReadLines(text, [&](LineScanner& line) -> const char* {
    NodeLine node{};
    if (const char* reason = ScanNode(line, net, node)) return reason;
    switch (const std::uint8_t type = TypeOf(node.kind)) {
      case kTypeAP:
        into.aps.Append(MakeNode(node, type));
        return nullptr;
      case kTypeServer:
        into.servers.Append(MakeNode(node, type));
        return nullptr;
      case kTypeNGrp: {
        auto group = MakeEntry<CNGrpEntry>(node.name, node.id, type);
        group.number = node.number;
        into.groups.Append(group);
        return nullptr;
      }
      default:
        return kUnknownKind;
    }
  });
  if (!result) into.AttachAps();
  return result;
}

ReadResult ReadApplications(std::string_view text, unsigned long /*net*/, ImportedNet& into) {
  return ReadLines(text, [&](LineScanner& line) -> const char* {
    const std::uint32_t bit = ApplicationBit(line.Hex());
    line.Hex();
    const std::uint32_t id = line.Hex();
    const char letter = line.NextLetter();
    if (const char* reason = line.Finish()) return reason;
    if (bit == 0) return "the application code is unknown";
    CNNEntry* const ap = into.aps.Find(id);
    CNNEntry* const node = ap != nullptr ? ap : into.servers.Find(id);
    if (node == nullptr) return "the node is unknown";
    node->flags |= bit;
    if (ap != nullptr && id == kLetterKeeper) ap->settings = static_cast<std::uint8_t>(letter);
    return nullptr;
  });
}

ReadResult ReadDeps(std::string_view text, unsigned long net, ImportedNet& into) {
  ReserveLines(into.deps, text);
  return ReadLines(text, [&](LineScanner& line) -> const char* {
    const std::string_view name = line.Name();
    const std::uint32_t id = line.ObjectOf(net);
    const std::uint32_t home = line.ObjectOf(net);
    const std::uint8_t kind = TypeOf(line.NextLetter());
    if (const char* reason = line.Finish()) return reason;
    if (kind == kTypeNone) return kUnknownKind;
    auto dep = MakeEntry<CDepEntry>(name, id, kTypeDep);
    dep.ngrp_id = home;
    dep.kind = kind;
    into.AppendDep(dep);
    return nullptr;
  });
}

ReadResult ReadPrimaries(std::string_view text, unsigned long net, ImportedNet& into) {
  return ReadLines(text, [&](LineScanner& line) -> const char* {
    UserLink link{};
    if (const char* reason = ScanUserLink(line, net, link)) return reason;
    CABEntry* const user = into.users.Find(link.user);
    if (user == nullptr) return "the user is unknown";
    if (link.is_primary) user->primary = link.membership.id;
    return nullptr;
  });
}

ReadResult ReadUserLinks(std::string_view text, unsigned long net, ImportedNet& into) {
  constexpr std::size_t kLineSize = 32;
  into.users_of_dep.Reserve(text.size() / kLineSize);
  into.users_of_node.Reserve(text.size() / kLineSize);
  Grouping grouping(into.user_links);
  ReadResult result = ReadLines(text, [&](LineScanner& line) -> const char* {
    UserLink link{};
    if (const char* reason = ScanUserLink(line, net, link)) return reason;
    grouping.Append(link.user, link.membership);
    into.users_of_dep.Add(link.membership.id.dep, link.user);
    into.users_of_node.Add(link.membership.id.node, link.user);
    return nullptr;
  });
  into.users_of_dep.Build();
  into.users_of_node.Build();
  return result;
}

ReadResult ReadDepLinks(std::string_view text, unsigned long /*net*/, ImportedNet& into) {
  Grouping grouping(into.dep_links);
  return ReadLines(text, [&](LineScanner& line) -> const char* {
    const std::uint32_t net = line.Hex();
    const std::uint32_t dep = line.Hex();
    tag_WORD4 linked{};
    linked.first = line.Hex();
    linked.second = line.Hex();
    if (const char* reason = line.Finish()) return reason;
    grouping.Append(ImportedNet::PairKey(net, dep), linked);
    return nullptr;
  });
}

ReadResult ReadGroupLinks(std::string_view text, unsigned long net, ImportedNet& into) {
  Grouping grouping(into.group_links);
  ReadResult result = ReadLines(text, [&](LineScanner& line) -> const char* {
    const std::uint32_t group_net = line.Hex();
    const std::uint32_t group = line.Hex();
    const std::uint32_t member_net = line.Hex();
    const std::uint32_t member = line.Hex();
    const char kind = line.NextLetter();
    const bool is_followed = line.Letter() == '1';
    if (const char* reason = line.Finish()) return reason;
    if (!is_followed) return "the kind letter is not followed by 1";
    if (group_net != net && member_net != net) return kForeignNet;
    if (kind != 'A' && kind != 'G') return kUnknownKind;
    const bool is_node = kind == 'A';
    grouping.Append(group, {member, is_node ? kMemberNode : kMemberDep});
    (is_node ? into.groups_of_node : into.groups_of_dep).Add(member, group);
    return nullptr;
  });
  into.groups_of_node.Build();
  into.groups_of_dep.Build();
  return result;
}

}  // namespace ncc
