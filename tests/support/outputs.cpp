#include "outputs.h"

#include "model.h"
#include "transcript.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

std::string ToCodePage1251(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (text.compare(i, 2, "\\x") == 0) {
      bytes += static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16));
      i += 3;
    } else if (byte < 0x80) {
      bytes += text[i];
    } else {
      const int code = (byte & 0x1F) << 6 | (static_cast<unsigned char>(text.at(++i)) & 0x3F);
      if (code < 0x410 || code > 0x44F) throw std::logic_error("not a Russian letter: " + text);
      bytes += static_cast<char>(code - 0x410 + 0xC0);
    }
  }
  return bytes;
}

namespace {

std::string PackageRecord(const std::string& path, const std::string& contents) {
  std::string name = path.substr(path.rfind('/') + 1).substr(0, 12);
  for (char& c : name) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
  name.resize(12, ' ');
  return LittleEndian(static_cast<std::uint32_t>(contents.size()), 4) + name + '\0' + contents;
}

std::string Token(const std::string& token, const Files& known) {
  const auto colon = token.find(':');
  if (token[0] == '"') return ToCodePage1251(token.substr(1, token.size() - 2));
  if (colon == std::string::npos) return {static_cast<char>(std::stoi(token, nullptr, 16))};
  const std::string kind = token.substr(0, colon);
  const std::string argument = token.substr(colon + 1);
  if (kind == "record") return PackageRecord(argument, known.at(argument));
  const auto number = static_cast<std::uint32_t>(std::stoul(argument, nullptr, 0));
  if (kind == "zero") return std::string(number, '\0');
  if (kind == "u16") return LittleEndian(number, 2);
  if (kind == "u32") return LittleEndian(number, 4);
  throw std::logic_error("unknown token " + token);
}

std::string BinaryLine(const std::string& line, const Files& known) {
  std::string bytes;
  for (std::size_t at = 0; (at = line.find_first_not_of(' ', at)) != std::string::npos;) {
    if (line[at] == '#') break;
    const auto end = line[at] == '"' ? line.find('"', at + 1) + 1 : line.find(' ', at);
    bytes += Token(line.substr(at, end - at), known);
    at = std::min(end, line.size());
  }
  return bytes;
}

std::string WhereDifferent(const std::string& expected, const std::string& actual) {
  const auto at = std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
  const auto offset = static_cast<std::size_t>(at.first - expected.begin());
  const auto start = offset - std::min<std::size_t>(offset, 20);
  std::ostringstream text;
  text << "differs at byte " << offset << ", lengths " << expected.size() << " and "
       << actual.size() << "\n  expected ..." << expected.substr(start, 80) << "\n  found    ..."
       << actual.substr(start, 80);
  return text.str();
}

}  // namespace

Files LoadGolden(const std::string& name, const Files& known) {
  std::ifstream in(std::filesystem::path(NCCNET_GOLDEN) / name);
  if (!in) throw std::runtime_error("no golden file " + name);
  Files files = known;
  std::vector<std::string> paths;
  bool binary = false;
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    if (line.starts_with("== ") || line.starts_with("=x ")) {
      binary = line[1] == 'x';
      std::istringstream words(line.substr(3));
      paths.clear();
      for (std::string path; words >> path;) files[paths.emplace_back(path)].clear();
      continue;
    }
    const std::string bytes = binary ? BinaryLine(line, files) : ToCodePage1251(line) + "\r\n";
    for (const auto& path : paths) files[path] += bytes;
  }
  return files;
}

Files LoadNetworkFiles() { return LoadGolden("network_binary.txt", LoadGolden("network.txt")); }
Files LoadStampedFiles() { return LoadGolden("stamped.txt"); }

void Put(const Files& files, const std::string& prefix) {
  for (const auto& [path, bytes] : Only(files, prefix)) {
    fs::create_directories(fs::path("./" + path).parent_path());
    WriteFile(path, bytes);
  }
}

void Touch(const std::vector<std::string>& paths) {
  for (const auto& path : paths) Put({{path, ""}});
}

std::vector<std::string> Names(const Files& files) {
  std::vector<std::string> names;
  for (const auto& [path, bytes] : files) names.push_back(path);
  return names;
}

Files FilesBelow(const std::string& folder) {
  Files files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    files[entry.path().lexically_normal().string()] = ReadFile(entry.path());
  }
  return files;
}

Files Only(const Files& files, const std::string& prefix) {
  Files some;
  for (const auto& file : files) {
    if (file.first.starts_with(prefix)) some.insert(file);
  }
  return some;
}

std::string Differences(const Files& expected, const Files& actual) {
  std::string text;
  for (const auto& [path, bytes] : expected) {
    const auto found = actual.find(path);
    if (found == actual.end()) {
      text += path + " is missing\n";
    } else if (found->second != bytes) {
      text += path + " " + WhereDifferent(bytes, found->second) + "\n";
    }
  }
  for (const auto& [path, bytes] : actual) {
    if (!expected.contains(path)) text += path + " is too much\n";
  }
  return text;
}

const std::vector<std::string>& OutputApAddresses() {
  static const std::vector<std::string> addresses = {"000C", "000D", "000E",
                                                     "000F", "0010", "1002F"};
  return addresses;
}

void BuildOutputNetwork(CNCCNet& net) {
  Play("outputs.txt", NetworkCommands(net), "network");
  for (unsigned long id = 9; id <= 0x1C; ++id) {  // no file shows them
    EXPECT_TRUE(net.GetType(id) == kTypeNone || SetNote(net, id, "comment", "seen by none"));
  }
}

OutputTest::OutputTest() {
  ::unsetenv("NCCNET_STAMP_KEY");
  SetStampProvider(nullptr);
  fs::current_path(scratch_.Path());
  EXPECT_TRUE(memory_.Create()) << net_.LastError();
  BuildOutputNetwork(net_);
}

OutputTest::~OutputTest() {
  SetStampProvider(nullptr);
  fs::current_path(before_);
}

void OutputTest::GenerateAll() {
  EXPECT_TRUE(net_.GenAPDB("out", 200)) << net_.LastError();
  EXPECT_TRUE(net_.GenRoutingTables("out\\")) << net_.LastError();
  EXPECT_TRUE(net_.GenMAP("out/", 200)) << net_.LastError();
}

bool LengthStamps::GetFixedKey(unsigned char key[32]) {
  std::fill(key, key + 32, static_cast<unsigned char>(1));
  return has_key;
}

int LengthStamps::FindFileImito(const char* path, const unsigned char[32], std::uint32_t& stamp) {
  ++files;
  std::string name = path;
  std::replace(name.begin(), name.end(), '\\', '/');
  std::error_code error;
  stamp = static_cast<std::uint32_t>(fs::file_size(name, error));
  return fails || error ? 1 : 0;
}

void UseKey(const std::string& key) {
  WriteFile("stamp.key", key);
  fs::permissions("stamp.key", fs::perms::owner_read | fs::perms::owner_write);
  SetStampProvider(MakeStampProvider("stamp.key"));
}
