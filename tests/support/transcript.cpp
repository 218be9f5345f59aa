#include "transcript.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

std::string Character(char c) {
  if (c >= ' ' && c <= '~') return {c};
  std::array<char, 5> text{};
  std::snprintf(text.data(), text.size(), "\\x%02X", unsigned{static_cast<unsigned char>(c)});
  return text.data();
}

// Bytes on one line: CR LF as "|", others that cannot be printed as "\xHH", c{5} for five in a row.
std::string OnOneLine(const std::string& bytes) {
  std::string text;
  for (std::size_t at = 0, end = 0; at < bytes.size(); at = end) {
    end = std::min(bytes.find_first_not_of(bytes[at], at), bytes.size());
    if (bytes.compare(at, 2, "\r\n") == 0) {
      text += '|';
      end = at + 2;
    } else if (end - at >= 5 && (bytes[at] < '0' || bytes[at] > '9')) {
      text += Character(bytes[at]) + "{" + std::to_string(end - at) + "}";
    } else {
      text += Character(bytes[at]);
      end = at + 1;
    }
  }
  return text;
}

std::string Listed(const fs::path& path, const Files& stated) {
  const std::string name = path.lexically_normal().string();
  if (!fs::exists(fs::symlink_status(path))) return name + " is missing\n";
  if (fs::is_symlink(path)) return name + " -> " + fs::read_symlink(path).string() + "\n";
  if (fs::is_directory(path)) return fs::is_empty(path) ? name + "/\n" : "";
  const std::string bytes = ReadFile(path);
  if (bytes.empty()) return name + " is empty\n";
  const bool is_stated = std::any_of(stated.begin(), stated.end(), [&](const auto& file) {
    return fs::path(file.first).filename() == path.filename() && file.second == bytes;
  });
  return name + (is_stated ? " as stated\n" : ": " + OnOneLine(bytes) + "\n");
}

std::string List(const Words& words, const Files& stated) {
  std::string text;
  for (const auto& word : words) {
    std::set<fs::path> paths = {word};
    if (fs::is_directory(word))
      paths.insert(fs::recursive_directory_iterator(word), fs::recursive_directory_iterator());
    for (const auto& path : paths) text += Listed(path, stated);
  }
  return text;
}

std::string Word(const std::string& text) {
  const auto open = text.find('{');
  if (open == std::string::npos) return ToCodePage1251(text);
  const auto close = text.find('}', open);
  const std::string repeated(std::stoul(text.substr(open + 1)), text[open - 1]);
  return ToCodePage1251(text.substr(0, open - 1)) + repeated + Word(text.substr(close + 1));
}

std::list<CColAb> Triples(const Words& words, std::size_t from) {
  std::list<CColAb> list;
  const auto number = [&](std::size_t i) {
    return static_cast<std::uint32_t>(std::stoul(words[i], nullptr, 16));
  };
  for (std::size_t i = from; i + 2 < words.size(); i += 3)
    list.push_back({{number(i), number(i + 1)}, static_cast<std::uint8_t>(number(i + 2))});
  return list;
}

}  // namespace

void Play(const std::string& file, const Commands& commands, std::string title) {
  if (title.empty()) title = ::testing::UnitTest::GetInstance()->current_test_info()->name();
  std::istringstream in(ReadFile(std::string(NCCNET_GOLDEN) + "/" + file));
  std::string expected, printed, line;
  while (std::getline(in, line) && line != "== " + title) {
  }
  for (; std::getline(in, line) && !line.starts_with("== ");) {
    if (line.empty() || line[0] == '#') continue;
    expected += line + "\n";
    if (!line.starts_with("$ ")) continue;
    std::istringstream text(line.substr(2));
    Words words{std::istream_iterator<std::string>(text), {}};
    const auto command = commands.find(words.at(0));
    if (command == commands.end()) throw std::logic_error("no command " + line);
    words.erase(words.begin());
    std::transform(words.begin(), words.end(), words.begin(), Word);
    const std::string answer = command->second(words);
    printed += line + "\n" + answer + (answer.empty() || answer.back() == '\n' ? "" : "\n");
  }
  EXPECT_NE(expected, "") << "no section " << title << " in " << file;
  EXPECT_EQ(printed, expected) << printed;
}

Commands FileCommands(const Files& stated) {
  const auto each = [](auto act) {
    return [act](const Words& words) {
      for (const auto& word : words) act(word);
      return "";
    };
  };
  const auto put = [](const Words& words) {
    std::string text;
    for (auto word = words.begin() + 1; word != words.end(); ++word)
      text += (text.empty() ? "" : " ") + *word;
    Put({{words[0], text}});
    return "";
  };
  const auto stage = [](const Words& words) {
    for (std::size_t i = 1; i < words.size(); ++i) Put({{words[0] + "/" + words[i], words[i]}});
    return "";
  };
  const auto link = [](const Words& words) {
    fs::create_symlink(words[1], words[0]);
    return "";
  };
  return {{"touch", each([](const auto& path) { Touch({path}); })},
          {"folder", each([](const auto& path) { fs::create_directories(path); })},
          {"remove", each([](const auto& path) { fs::remove_all(path); })},
          {"put", put},
          {"stage", stage},
          {"link", link},
          {"files", [stated](const Words& words) { return List(words, stated); }}};
}

Commands NetworkCommands(CNCCNet& net) {
  Commands known;
  const auto add = [&](const char* name, auto act) {
    known[name] = [&net, act](const Words& words) {
      const auto number = [&](std::size_t i) {
        return static_cast<std::uint32_t>(std::stoul(words.at(i), nullptr, 16));
      };
      const auto text = [&](std::size_t i) { return words.size() > i ? words[i].c_str() : ""; };
      std::ostringstream printed;
      printed << std::hex << std::uppercase << +act(net, number, text);
      return printed.str();
    };
  };
  add("server", [](auto& n, auto id, auto t) {
    return n.AddServer(t(0), id(1), static_cast<unsigned short>(id(2)));
  });
  add("ap", [](auto& n, auto id, auto t) { return n.AddAP(id(0), t(1), id(2)); });
  add("group", [](auto& n, auto, auto t) { return n.CreateNGrp(t(0)); });
  add("dep", [](auto& n, auto, auto t) { return n.CreateDep(t(0)); });
  add("user", [](auto& n, auto, auto t) { return n.CreateAB(t(0)); });
  add("link-servers", [](auto& n, auto id, auto) { return n.LinkSrvToSrv(id(0), id(1)); });
  add("group-node", [](auto& n, auto id, auto) { return n.LinkNNToNGrp(id(0), id(1)); });
  add("group-dep", [](auto& n, auto id, auto) { return n.LinkDepToNGrp(id(0), id(1)); });
  add("group-without", [](auto& n, auto id, auto) { return n.DeleteDepFromNGrp(id(0), id(1)); });
  add("dep-dep", [](auto& n, auto id, auto) { return n.LinkDepToDep(id(0), id(1)); });
  add("dep-user", [](auto& n, auto id, auto) { return n.LinkABToDep(id(0), id(1), id(2) != 0); });
  add("primary", [](auto& n, auto id, auto) { return n.SetPrimaryCol(id(0), {id(1), id(2)}); });
  known["memberships"] = [&net](const Words& words) {  // USER DEP FLAG, then triples
    const auto list = Triples(words, 3);
    net.SetListAvailableColAb(std::stoul(words[0], nullptr, 16), std::stoul(words[1], nullptr, 16),
                              list, words[2] != "0");
    return "";
  };
  add("name-user", [](auto& n, auto id, auto t) { return n.ModifyAB(id(0), t(1)); });
  add("name-ap", [](auto& n, auto id, auto t) { return n.ModifyAP(id(0), t(1)); });
  add("register-ap", [](auto& n, auto id, auto) { return n.RegAPP(id(0), id(1), 0); });
  add("register-server", [](auto& n, auto id, auto) { return n.RegSrv(id(0), id(1), 0); });
  add("delete-server", [](auto& n, auto id, auto) { return n.DeleteServer(id(0)); });
  add("batch", [](auto& n, auto, auto) { return n.BeginBatch(); });
  add("end-batch", [](auto& n, auto, auto) { return n.EndBatch(); });
  add("next", [](auto& n, auto id, auto) { return n.Preferences()->next_id = id(0); });
  add("net", [](auto& n, auto id, auto) { return n.Preferences()->net_number = id(0); });
  return known;
}
