// What a generated file says, line by line, and why: by its name.

#include "nccnet/explain.h"

#include "core/entry.h"
#include "core/find.h"
#include "core/operation.h"
#include "generate/directories/directory_files.h"
#include "generate/file_names.h"
#include "generate/output_cache.h"
#include "generate/routing/routing_files.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <string_view>

using namespace ncc;

namespace {

// How a name has the identifier: not, in decimal or hexadecimal digits, or in an address.
enum class Digits { kNone, kDecimal, kHexadecimal, kAddress };

struct NamedFile {
  std::string_view stem;  // in lower case, as the extension
  Digits digits;
  std::string_view extension;
  CFileKind kind;
  std::uint32_t types;  // of the objects that have one, a bit each
};

constexpr std::uint32_t kServers = 1U << kTypeServer;
constexpr std::uint32_t kAPs = 1U << kTypeAP;
constexpr std::uint32_t kNodes = kServers | kAPs;

// Of two that a name fits, the first whose object is there.
constexpr NamedFile kFileNames[] = {
    {"apn", Digits::kHexadecimal, ".txt", CFileKind::kNodes, kNodes},
    {"apa", Digits::kHexadecimal, ".txt", CFileKind::kUsers, kNodes},
    {"apu", Digits::kHexadecimal, ".txt", CFileKind::kDepPlaces, kAPs},
    {"apc", Digits::kHexadecimal, ".txt", CFileKind::kDepLinks, kAPs},
    {"apl", Digits::kHexadecimal, ".txt", CFileKind::kEmpty, kAPs},
    {"apn", Digits::kHexadecimal, ".crc", CFileKind::kEmpty, kAPs},
    {"apn", Digits::kHexadecimal, ".crg", CFileKind::kStampList, kNodes},
    {"node", Digits::kDecimal, ".map", CFileKind::kMap, kServers},
    {"node", Digits::kDecimal, ".tun", CFileKind::kTunnels, kServers},
    {"node", Digits::kHexadecimal, ".tun", CFileKind::kEmpty, kAPs},
    {"node", Digits::kDecimal, ".reg", CFileKind::kRegistration, kServers},
    {"", Digits::kAddress, ".aaf", CFileKind::kFullPackage, kNodes},
    {"", Digits::kAddress, ".aas", CFileKind::kShortPackage, kNodes},
    {"", Digits::kAddress, ".abn", CFileKind::kUserObject, 1U << kTypeAB},
    {"", Digits::kAddress, ".apn", CFileKind::kApObject, kAPs},
    {"aboname", Digits::kNone, ".txt", CFileKind::kUserNames, 0},
    {"abonamee", Digits::kNone, ".txt", CFileKind::kEmptyNames, 0},
    {"ccc_kc", Digits::kNone, ".txt", CFileKind::kCentres, 0},
    {"abn_ap", Digits::kNone, ".txt", CFileKind::kUsersAtNodes, 0},
    {"nodename", Digits::kNone, ".doc", CFileKind::kNodeNames, 0},
    {"nmatrix", Digits::kNone, ".dat", CFileKind::kNodeMatrix, 0},
    {"newfiles", Digits::kNone, ".dat", CFileKind::kJournal, 0}};

std::string LowerAscii(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return lower;
}

// As the generators write it: hexadecimal digits are at least four, decimal ones begin with no
// zero.
std::optional<std::uint32_t> IdFrom(std::string_view digits, Digits form) {
  std::uint32_t id = 0;
  const bool is_decimal = form == Digits::kDecimal;
  const auto end = digits.data() + digits.size();
  const auto [at, error] = std::from_chars(digits.data(), end, id, is_decimal ? 10 : 16);
  if (digits.empty() || error != std::errc() || at != end) return std::nullopt;
  const std::string written = is_decimal ? std::to_string(id) : LowerAscii(Hex4(id));
  return written == digits ? std::optional(id) : std::nullopt;
}

struct Path {
  std::string folder;  // the last one
  std::string name;
};

Path Split(const char* file) {
  const std::string path = LowerAscii(file);
  const std::size_t separator = path.find_last_of("/\\");
  if (separator == std::string::npos) return {{}, path};
  const std::size_t before = separator > 0 ? path.find_last_of("/\\", separator - 1) : separator;
  const std::size_t start = before == std::string::npos || before == separator ? 0 : before + 1;
  return {path.substr(start, separator - start), path.substr(separator + 1)};
}

// The object whose file of this kind has the name: 0 for one of the network, nothing for none.
std::optional<std::uint32_t> ObjectOf(const NetState& net, const NamedFile& known,
                                      const Path& path) {
  std::string_view name = path.name;
  if (!name.starts_with(known.stem) || !name.ends_with(known.extension) ||
      name.size() < known.stem.size() + known.extension.size())
    return std::nullopt;
  name.remove_prefix(known.stem.size());
  name.remove_suffix(known.extension.size());
  if (known.digits == Digits::kNone) return name.empty() ? std::optional(0U) : std::nullopt;
  if (known.kind == CFileKind::kTunnels && path.folder == "t") return std::nullopt;
  if (known.digits == Digits::kAddress) {
    const std::string network = LowerAscii(Hex4(net.prefs.net_number));
    if (!name.starts_with(network)) return std::nullopt;
    name.remove_prefix(network.size());
  }
  const auto id = IdFrom(name, known.digits);
  if (!id) return std::nullopt;
  for (const std::uint8_t type : {kTypeServer, kTypeAP, kTypeAB}) {
    if ((known.types >> type & 1U) != 0 && FindObject(net, *id, type) != nullptr) return id;
  }
  return std::nullopt;
}

std::string StampLines(const std::vector<std::string>& files, const std::string& own,
                       Reasons& why) {
  std::string text;
  const auto add = [&](const std::string& file, const std::string& stamped) {
    const std::string line = StampLine(file, 0);
    text.append(line, 0, line.find('=') + 1).append("\n");
    why.lines.push_back({{CReason::kFileOf, why.reader}, {CReason::kStampOf, 0, 0, 0, 0, stamped}});
  };
  for (const std::string& file : files) add(file, file.substr(file.find_last_of('\\') + 1));
  add(own, {});
  return text;
}

// The names in a map, which `map` becomes, in the order of its records.
std::string MapLines(const NetState& net, std::string& map, Reasons& why) {
  map = ComposeRoutingMap(net, why.reader, &why);
  std::string text;
  for (const ReasonList& reasons : why.lines) {
    const CReason& reason = reasons.front();
    const bool is_link = reason.kind == CReason::kServerLink;
    const std::uint32_t node = is_link ? reason.other : reason.object;
    std::string name = EntryOf<CNNEntry>(*FindNode(net, node)).name;
    std::ranges::replace(name, '\n', ' ');  // a record is one line here
    text.append(name).append("\n");
  }
  return text;
}

std::string RegistrationLines(NetState& net, Reasons& why) {
  const auto no_stamp = [](const char*) { return std::string(); };
  std::string lines = ComposeRegistrationHead(net, why.reader, no_stamp, &why);
  return lines.append(ComposeRegistrationTail(why.reader, "", "", &why));
}

// The text of the file, which `explained` is to tell of; nothing for a kind whose lines are not
// explained.
std::optional<std::string> Compose(NetState& net, CExplainedFile& explained, unsigned char mode,
                                   Reasons& why) {
  const CHDBRecord* const node = FindNode(net, why.reader);
  const bool is_ap = node != nullptr && node->Type() == kTypeAP;
  switch (explained.kind) {
    case CFileKind::kNodes:
      return is_ap ? ComposeApNodes(net, *node, mode, &why)
                   : ComposeServerNodes(net, *node, mode, &why);
    case CFileKind::kUsers:
      if (!is_ap) return ComposeUsersAt(net, why.reader, &why);
      why.reader = 0;  // every AP has the same
      return ComposeAllUsers(net, &why);
    case CFileKind::kDepPlaces:
      return ComposeDepPlaces(net, *node, why);
    case CFileKind::kDepLinks:
      return ComposeDepLinks(net, *node, why);
    case CFileKind::kStampList:
      return StampLines(is_ap ? StampedOfAp(why.reader) : StampedOfServer(why.reader),
                        HexName("apn", why.reader, ".crg"), why);
    case CFileKind::kMap:
      return MapLines(net, explained.bytes, why);
    case CFileKind::kTunnels: {
      std::string text = ComposeTunnels(net, &why);
      why.lines.push_back({{CReason::kStampOf}});
      return text.append("TUNNEL.REG=\n");
    }
    case CFileKind::kRegistration:
      return RegistrationLines(net, why);
    case CFileKind::kEmpty:
    case CFileKind::kEmptyNames:
      return std::string();
    default:
      return std::nullopt;
  }
}

void Explain(NetState& net, const char* file, unsigned char mode, CExplainedFile& explained) {
  explained = {};
  if (file == nullptr) throw Refusal("no file was named");
  const Path path = Split(file);
  const NamedFile* found = nullptr;
  for (const NamedFile& known : kFileNames) {
    const auto object = ObjectOf(net, known, path);
    if (!object) continue;
    found = &known;
    explained.object = *object;
    break;
  }
  if (found == nullptr) throw Refusal("no generated file is named " + std::string(file));
  explained.kind = found->kind;
  Reasons why;
  why.reader = static_cast<std::uint32_t>(explained.object);
  const auto text = Compose(net, explained, mode, why);
  explained.has_lines = text.has_value();
  if (!text) return;
  std::size_t start = 0;
  for (ReasonList& reasons : why.lines) {
    std::size_t end = text->find('\n', start);
    CExplainedLine& line = explained.lines.emplace_back();
    line.text = text->substr(start, end - start);
    if (line.text.ends_with('\r')) line.text.pop_back();
    line.reasons = std::move(reasons);
    start = end + 1;
  }
}

}  // namespace

bool ExplainFile(CNCCNet& owner, const char* file, unsigned char mode, CExplainedFile& explained) {
  NetState& net = StateOf::Net(owner);
  return Run(net, [&] { Explain(net, file, mode, explained); });
}

bool ExplainLine(CNCCNet& owner, const char* file, unsigned char mode, unsigned long line,
                 CExplainedLine& explained) {
  NetState& net = StateOf::Net(owner);
  return Run(net, [&] {
    explained = {};
    CExplainedFile whole;
    Explain(net, file, mode, whole);
    if (line == 0 || line > whole.lines.size())
      throw Refusal(whole.has_lines
                        ? "the file has " + std::to_string(whole.lines.size()) + " lines"
                        : "lines of this kind of file are not explained");
    explained = std::move(whole.lines[line - 1]);
  });
}
