#include "description.h"

#include <algorithm>
#include <array>
#include <deque>
#include <functional>
#include <queue>
#include <unordered_map>

#include <fmt/format.h>
#include <yaml-cpp/emitter.h>
#include <yaml-cpp/emittermanip.h>

#include "text.h"

namespace ncc::tool {
namespace {

using Links = std::vector<std::vector<std::size_t>>;  // per server: positions of the linked ones

Links LinksByPosition(const Network& network) {
  std::unordered_map<std::uint32_t, std::size_t> positions;
  for (std::size_t i = 0; i < network.servers.size(); ++i) {
    positions.emplace(network.servers[i].entry.id, i);
  }
  Links links(network.servers.size());
  for (std::size_t i = 0; i < links.size(); ++i) {
    for (const std::uint32_t id : network.servers[i].linked) {
      const auto position = positions.find(id);
      if (position != positions.end()) links[i].push_back(position->second);
    }
  }
  return links;
}

// Links written under the first of their servers are made server by server. That gives each server
// its links to earlier servers first, in the order of those. Whether the network looks like this.
bool HasPlainOrder(const Links& links) {
  for (std::size_t i = 0; i < links.size(); ++i) {
    const auto own = std::find_if(links[i].begin(), links[i].end(),
                                  [i](std::size_t other) { return other > i; });
    const auto is_earlier = [i](std::size_t other) { return other < i; };
    if (!std::is_sorted(links[i].begin(), own)) return false;
    if (std::any_of(own, links[i].end(), is_earlier)) return false;
  }
  return true;
}

// An order of making the links that gives each server its own order; among several such orders
// always the same one. A link can be made when it is the next one of both its servers.
std::vector<std::pair<std::size_t, std::size_t>> OrderLinks(const Links& links) {
  using Link = std::pair<std::size_t, std::size_t>;
  std::vector<Link> order;
  std::vector<std::size_t> next(links.size());
  std::priority_queue<Link, std::vector<Link>, std::greater<>> ready;
  const auto offer = [&](std::size_t i) {
    if (next[i] == links[i].size()) return;
    const std::size_t other = links[i][next[i]];
    const bool wanted = next[other] < links[other].size() && links[other][next[other]] == i;
    if (wanted) ready.emplace(std::minmax(i, other));
  };
  for (std::size_t i = 0; i < links.size(); ++i) {
    // From its lower end only, as both ends see the link here.
    if (!links[i].empty() && links[i].front() > i) offer(i);
  }
  while (!ready.empty()) {
    const Link link = ready.top();
    ready.pop();
    order.push_back(link);
    ++next[link.first];
    ++next[link.second];
    offer(link.first);
    offer(link.second);
  }
  return order;
}

class Describer {
 public:
  Description Run(const Network& network) {
    Description result;
    const Preferences& preferences = network.preferences;
    result.network = preferences.net_number;
    result.preferences = {preferences.byte_12, preferences.node_settings, preferences.value_14,
                          preferences.byte_18, preferences.byte_19,       preferences.value_20};
    default_settings_ = preferences.node_settings;
    for (const ServerView& server : network.servers) {
      result.servers.push_back(DescribeServer(server));
    }
    DescribeLinks(network, result);
    if (!problems_.empty()) throw Failed();
    return result;
  }

 private:
  using Seen = std::unordered_map<std::string, std::uint32_t>;

  ServerDescription DescribeServer(const ServerView& view) {
    ServerDescription server;
    DescribeNode(view.entry, "server", servers_, server);
    server.value = view.entry.value;
    for (const Node& ap : view.aps) DescribeNode(ap, "AP", aps_, server.aps.emplace_back());
    return server;
  }

  void DescribeNode(const Node& entry, const char* kind, Seen& seen, ApDescription& node) {
    node.name = entry.name;
    if (entry.flags != 0) node.applications = entry.flags;
    if (entry.settings != default_settings_) node.settings = entry.settings;
    const auto [first, added] = seen.emplace(FoldName(node.name), entry.id);
    if (!added) {
      Complain(fmt::format("the {}s id:{} and id:{} have one name, \"{}\"", kind, first->second,
                           entry.id, PrintableName(node.name)));
    }
    const std::string reason = BytesFromName(Utf8FromBytes(node.name)).reason;
    if (!reason.empty()) {
      Complain(fmt::format("the name \"{}\" of the {} id:{} {}", PrintableName(node.name), kind,
                           entry.id, reason));
    }
  }

  void Complain(std::string what) { problems_.push_back(std::move(what)); }

  Failure Failed() const {
    std::string what = "the network cannot be described";
    for (std::size_t i = 0; i < std::min(problems_.size(), kMaxProblems); ++i) {
      what += (i == 0 ? ": " : "; ") + problems_[i];
    }
    if (problems_.size() > kMaxProblems) {
      what += fmt::format("; and {} more", problems_.size() - kMaxProblems);
    }
    return Failure(what,
                   "Give each object a name of its own: nccadm server rename id:NUMBER NAME, "
                   "nccadm ap rename id:NUMBER NAME.");
  }

  static void DescribeLinks(const Network& network, Description& result) {
    const Links links = LinksByPosition(network);
    const auto name = [&](std::size_t i) { return NamePlace{network.servers[i].entry.name, {}}; };
    if (!HasPlainOrder(links)) {
      for (const auto& [one, other] : OrderLinks(links))
        result.links.emplace_back(name(one), name(other));
      return;
    }
    for (std::size_t i = 0; i < links.size(); ++i) {
      for (const std::size_t other : links[i]) {
        if (other > i) result.servers[i].links.push_back(name(other));
      }
    }
  }

  Seen servers_;
  Seen aps_;
  std::uint8_t default_settings_ = 0;
  std::vector<std::string> problems_;
};

// Plain is what every reader of YAML takes for text: it begins with a letter, holds nothing with a
// meaning and is not a word for a truth value or for nothing.
bool IsPlain(const std::string& utf8) {
  static constexpr std::array<std::string_view, 9> kWords = {"true", "false", "yes", "no", "on",
                                                             "off",  "null",  "y",   "n"};
  const std::string folded = FoldName(utf8);
  if (std::find(kWords.begin(), kWords.end(), folded) != kWords.end()) return false;
  const auto is_letter = [](char c) {
    return (c >= 'a' && c <= 'z') || (static_cast<unsigned char>(c) & 0x80U) != 0;
  };
  const auto is_plain = [&](char c) {
    return is_letter(c) || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.' || c == ' ';
  };
  // U+00A0 and the like, which look like blanks, begin with C2; Cyrillic letters never do.
  return is_letter(folded.front()) && folded.back() != ' ' &&
         folded.find('\xC2') == std::string::npos && folded.find("  ") == std::string::npos &&
         std::all_of(folded.begin(), folded.end(), is_plain);
}

class Writer {
 public:
  explicit Writer(const Applications& applications) : applications_(applications) {
    out_.SetOutputCharset(YAML::EmitNonAscii);
  }

  std::string Write(const Description& description) {
    out_ << YAML::BeginMap << YAML::Key << "network" << YAML::Value
         << fmt::format("0x{:04X}", description.network);
    WritePreferences(description.preferences);
    if (!description.servers.empty()) {
      out_ << YAML::Key << "servers" << YAML::Value << YAML::BeginSeq;
      for (const ServerDescription& server : description.servers) WriteServer(server);
      out_ << YAML::EndSeq;
    }
    WritePairs(description);
    out_ << YAML::EndMap;
    return std::string(out_.c_str(), out_.size()) + "\n";
  }

 private:
  template <class Number>
  void WriteField(const char* key, const std::optional<Number>& number) {
    if (number) out_ << YAML::Key << key << YAML::Value << std::uint64_t{*number};
  }

  void WriteName(const std::string& bytes) {
    const std::string utf8 = Utf8FromBytes(bytes);
    if (!IsPlain(utf8)) out_ << YAML::DoubleQuoted;
    out_ << utf8;
  }

  void WritePreferences(const PreferencesDescription& preferences) {
    out_ << YAML::Key << "preferences" << YAML::Value << YAML::Flow << YAML::BeginMap;
    WriteField("byte_12", preferences.byte_12);
    WriteField("node_settings", preferences.node_settings);
    WriteField("value_14", preferences.value_14);
    WriteField("byte_18", preferences.byte_18);
    WriteField("byte_19", preferences.byte_19);
    WriteField("value_20", preferences.value_20);
    out_ << YAML::EndMap;
  }

  // The keys that servers and APs share.
  void WriteNode(const ApDescription& node) {
    out_ << YAML::Key << "name" << YAML::Value;
    WriteName(node.name);
    if (node.applications) {
      out_ << YAML::Key << "applications" << YAML::Value << YAML::Flow << YAML::BeginSeq;
      for (const std::string& name : applications_.Describe(*node.applications)) out_ << name;
      out_ << YAML::EndSeq;
    }
    WriteField("settings", node.settings);
  }

  void WriteServer(const ServerDescription& server) {
    out_ << YAML::BeginMap;
    WriteNode(server);
    WriteField("value", server.value);
    if (!server.links.empty()) {
      out_ << YAML::Key << "links" << YAML::Value << YAML::Flow << YAML::BeginSeq;
      for (const NamePlace& link : server.links) WriteName(link.name);
      out_ << YAML::EndSeq;
    }
    if (!server.aps.empty()) {
      out_ << YAML::Key << "aps" << YAML::Value << YAML::BeginSeq;
      for (const ApDescription& ap : server.aps) WriteAp(ap);
      out_ << YAML::EndSeq;
    }
    out_ << YAML::EndMap;
  }

  void WriteAp(const ApDescription& ap) {
    if (!ap.applications && !ap.settings) return WriteName(ap.name);
    out_ << YAML::Flow << YAML::BeginMap;
    WriteNode(ap);
    out_ << YAML::EndMap;
  }

  void WritePairs(const Description& description) {
    if (description.links.empty()) return;
    out_ << YAML::Key << "links" << YAML::Value << YAML::BeginSeq;
    for (const auto& [one, other] : description.links) {
      out_ << YAML::Flow << YAML::BeginSeq;
      WriteName(one.name);
      WriteName(other.name);
      out_ << YAML::EndSeq;
    }
    out_ << YAML::EndSeq;
  }

  const Applications& applications_;
  YAML::Emitter out_;
};

}  // namespace

Description Describe(const Network& network) { return Describer().Run(network); }

std::string WriteDescription(const Description& description, const Applications& applications) {
  return Writer(applications).Write(description);
}

}  // namespace ncc::tool
