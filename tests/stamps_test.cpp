#include "support/outputs.h"

#include <cstdlib>
#include <functional>
#include <stdexcept>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

bool whole_seconds = false;  // the file system keeps no finer times

}  // namespace

extern "C" int futimens(int file, const timespec times[2]) noexcept {
  timespec kept[2] = {times[0], times[1]};
  if (whole_seconds) kept[1].tv_nsec = 0;
  return static_cast<int>(::syscall(SYS_utimensat, file, nullptr, kept, 0));
}

namespace {

namespace fs = std::filesystem;

const std::string kKey = "01234567890123456789012345678901";

class StampTest : public OutputTest {
 protected:
  ~StampTest() override {
    SetShareIdenticalFiles(true);
    whole_seconds = false;
  }

  std::string Stamp(const std::string& path) {
    char text[9] = "????????";
    net_.GetOnlyImito(path.c_str(), text);
    std::string upper = text;
    for (char& c : upper) c = c >= 'a' && c <= 'f' ? static_cast<char>(c - 32) : c;
    return upper;
  }
  std::string Line(const std::string& path) {
    char text[100] = "";
    net_.GetImito(path.c_str(), text);
    return text;
  }
};

TEST_F(StampTest, KnownValues) {
  UseKey(kKey);
  const std::pair<std::string, const char*> known[] = {
      {"", "00000000"},
      {"hello", "583734D0"},
      {"hello wo", "B08C79E0"},
      {std::string(1024, 'q'), "10C5640A"},
      {std::string(1032, 'q'), "9AAAC30B"},
      {std::string(5000, 'q'), "DB2A2B74"},
  };
  for (const auto& [bytes, stamp] : known) {
    WriteFile("some file.tXt", bytes);
    EXPECT_EQ(Stamp("some file.tXt"), stamp) << bytes.size();
    EXPECT_EQ(Line(".\\some file.tXt"), std::string("SOME FILE.TXT=") + stamp + "\n");
    EXPECT_EQ(Line("./../" + fs::current_path().filename().string() + "/some file.tXt"),
              std::string("SOME FILE.TXT=") + stamp + "\n");
  }
  fs::create_directory("folder");
  EXPECT_EQ(Stamp("missing"), "00000000");
  EXPECT_EQ(Line("folder\\missing.x"), "MISSING.X=00000000\n");
  EXPECT_EQ(Stamp("folder"), "00000000");
}

// A key that is there and cannot be had is not as none: what needs it is not written.
TEST_F(StampTest, OnlyAPrivateKeyOf32BytesCounts) {
  using fs::perms;
  fs::create_directories("out/R");
  WriteFile("file", "hello");
  const auto bytes = [](std::size_t size) { return [size] { UseKey(std::string(size, '0')); }; };
  const auto open_to = [](perms others) {
    return [others] { fs::permissions("stamp.key", perms::owner_read | others); };
  };
  const auto replaced = [](const std::function<void()>& make) {
    return [make] {
      fs::rename("stamp.key", "other.key");
      make();
    };
  };
  const auto link = replaced([] { fs::create_symlink("other.key", "stamp.key"); });
  const auto hard_link = replaced([] { fs::create_hard_link("other.key", "stamp.key"); });
  const auto given_away = [] { EXPECT_EQ(::chown("stamp.key", 1, 1), 0); };
  std::vector<std::pair<std::string, std::function<void()>>> faults = {
      {"has 0 bytes, not 32", bytes(0)},
      {"has 31 bytes, not 32", bytes(31)},
      {"has 33 bytes, not 32", bytes(33)},
      {"is open to others", open_to(perms::group_read)},
      {"is open to others", open_to(perms::others_write)},
      {"cannot be read: No such file", replaced([] {})},
      {"is no plain file", replaced([] { fs::create_directory("stamp.key"); })},
      {"is a link", link},
      {"has 2 names", hard_link}};
  if (::geteuid() == 0) faults.emplace_back("belongs to another user", given_away);
  for (const auto& [words, spoil] : faults) {
    SCOPED_TRACE(words);
    fs::remove_all("stamp.key");
    UseKey(kKey);
    spoil();
    EXPECT_EQ(Stamp("file"), "00000000");
    const std::string reason = net_.LastError();
    EXPECT_NE(reason.find("stamp.key " + words), std::string::npos) << reason;
    EXPECT_TRUE(net_.GenApnCrg("out/") && fs::is_empty("out/R"));
    EXPECT_STRNE(net_.LastError(), "");
    EXPECT_FALSE(net_.GenMAPNodeReg("out/") || net_.GenMAPNodeTun("out/"));
  }
  fs::remove_all("stamp.key");
  UseKey(kKey);
  fs::permissions("stamp.key", perms::owner_read);
  EXPECT_EQ(Stamp("file"), "583734D0") << "the key is read at each use";
  EXPECT_STREQ(net_.LastError(), "");

  SetStampProvider(nullptr);
  EXPECT_EQ(Stamp("file"), "00000000");
  EXPECT_STREQ(net_.LastError(), "") << "no key is configured";
  ::setenv("NCCNET_STAMP_KEY", "stamp.key", 1);
  EXPECT_EQ(Stamp("file"), "583734D0");
  ::unsetenv("NCCNET_STAMP_KEY");
}

TEST_F(StampTest, TheStampsOfAWholeRun) {
  UseKey(kKey);
  GenerateAll();
  Files expected = Only(LoadNetworkFiles(), "out/");
  expected.erase("out/MAP/node9.xnw");
  for (const auto& [path, bytes] : LoadStampedFiles()) expected[path] = bytes;
  Files made = FilesBelow(".");
  made.erase("stamp.key");
  EXPECT_EQ(Differences(expected, made), "");
}

TEST_F(StampTest, AFileTouchedAfterItsGeneratorGetsItsNewStamp) {
  UseKey(kKey);
  const Files golden = LoadNetworkFiles();
  const auto touch = [&](const std::string& path, bool in_place) {
    std::string bytes = ReadFile(path);
    bytes.back() = '!';
    if (!in_place) fs::remove(path);
    WriteFile(path, bytes);
  };
  ASSERT_TRUE(net_.GenAPDB("out", 200) && net_.GenRoutingTables("out"));
  touch("out/APDB/N/apn000C.txt", true);
  touch("out/APDB/U/apu000C.txt", false);
  WriteFile("out/APDB/T/node000C.tun", "filled by another program");
  touch("out/MAP/node9.map", true);
  ASSERT_TRUE(net_.GenApnCrg("out/APDB/") && net_.GenMAP("out", 200));
  std::string expected;
  for (const char* file :
       {"N/apn000C.txt", "U/apu000C.txt", "A/apa000C.txt", "L/apl000C.txt", "T/node000C.tun"}) {
    std::string line = Line("out/APDB/" + std::string(file));
    line.pop_back();
    expected += line + "\r\n";
  }
  const std::string list = ReadFile("out/APDB/R/apn000C.crg");
  EXPECT_EQ(list.substr(0, expected.size()), expected);
  EXPECT_EQ(list.find("=D88723FB"), std::string::npos) << "the stamp of what was generated";
  EXPECT_NE(list.find("APA000C.TXT=35F1472D"), std::string::npos) << "the stamp of what stayed";
  EXPECT_NE(ReadFile("out/MAP/apn0009.crg").find("NODE9.MAP=" + Stamp("out/MAP/node9.map")),
            std::string::npos);
}

TEST_F(StampTest, WhereTimesAreCoarseNothingIsRemembered) {
  UseKey(kKey);
  whole_seconds = true;
  fs::create_directories("A");
  fs::create_directories("R");
  bool shared = false;
  net_.SetFileObserver([&](const CFileEvent& event) { shared = shared || event.shared; });
  std::list<CColAb> many;
  for (std::uint32_t node = 1; node <= 1700; ++node) many.push_back({{0x18, node}, 0});
  net_.SetListAvailableColAb(0x1B, 0x18, many, true);
  ASSERT_TRUE(net_.GenApa("A/"));
  EXPECT_FALSE(shared);
  const auto time = fs::last_write_time("A/apa000C.txt");
  std::string bytes = ReadFile("A/apa000C.txt");
  bytes.back() = '!';
  WriteFile("A/apa000C.txt", bytes);
  fs::last_write_time("A/apa000C.txt", time);
  WriteFile("copy", bytes);
  ASSERT_TRUE(net_.GenApnCrg("./", 0xCUL));
  EXPECT_NE(ReadFile("R/apn000C.crg").find("APA000C.TXT=" + Stamp("copy")), std::string::npos);
}

TEST_F(StampTest, FilesOfEqualBytesShareTheirStorage) {
  std::list<CColAb> many;
  for (std::uint32_t node = 1; node <= 1700; ++node) many.push_back({{0x18, node}, 0});
  net_.SetListAvailableColAb(0x1B, 0x18, many, true);
  int shared = 0;
  net_.SetFileObserver([&](const CFileEvent& event) { shared += event.shared; });
  fs::create_directory("on");
  fs::create_directory("off");
  ASSERT_TRUE(net_.GenApa("on/"));
  EXPECT_GE(shared, 5) << "of six files";
  EXPECT_TRUE(net_.GenApl("on/") && net_.GenApn("on/", 0));
  EXPECT_EQ(fs::hard_link_count("on/apl000C.txt"), 1U) << "small files do not share";
  SetShareIdenticalFiles(false);
  shared = 0;
  ASSERT_TRUE(net_.GenApa("off/"));
  EXPECT_EQ(shared, 0);
  const std::string bytes = ReadFile("off/apa000C.txt");
  EXPECT_GT(bytes.size(), 65536U);
  for (const auto& address : OutputApAddresses()) {
    const std::string name = "/apa" + address + ".txt";
    EXPECT_EQ(fs::hard_link_count("off" + name), 1U) << name;
    EXPECT_TRUE(ReadFile("on" + name) == bytes && ReadFile("off" + name) == bytes) << name;
  }
  // What replaces one of them leaves the others.
  SetShareIdenticalFiles(true);
  net_.SetListAvailableColAb(0x1B, 0x18, {}, true);
  ASSERT_TRUE(net_.GenApa("on/", 0xEUL));
  EXPECT_EQ(ReadFile("on/apa000E.txt"), LoadNetworkFiles().at("out/APDB/A/apa000E.txt"));
  EXPECT_EQ(ReadFile("on/apa000C.txt"), bytes);
  EXPECT_EQ(ReadFile("on/apa1002F.txt"), bytes);
}

class ThrowingStamps : public LengthStamps {
 public:
  int FindFileImito(const char*, const unsigned char*, std::uint32_t&) override {
    throw std::runtime_error("no stamps today");
  }
};

TEST_F(StampTest, WhatAProviderOrAnObserverThrowsGoesNoFurther) {
  SetStampProvider(std::make_shared<ThrowingStamps>());
  net_.SetFileObserver([](const CFileEvent&) { throw std::runtime_error("not interested"); });
  EXPECT_TRUE(net_.GenAPDB("out", 1));
  EXPECT_NE(std::string(net_.LastError()).find("cannot be stamped"), std::string::npos);
  EXPECT_TRUE(fs::exists("out/APDB/R/apn000C.crc") && !fs::exists("out/APDB/R/apn000C.crg"));
}

// What an observer must not do: the generator that tells it goes on with the database.
TEST_F(StampTest, AnObserverCannotCloseOrBatch) {
  int refused = 0;
  net_.SetFileObserver([&](const CFileEvent&) {
    net_.Close();
    refused += !net_.BeginBatch() && !net_.EndBatch() && !net_.Open("memory", "net") ? 1 : 0;
    net_.SetFileObserver(nullptr);
  });
  EXPECT_TRUE(net_.GenAPDB("out", 1));
  EXPECT_EQ(refused, 1);
  EXPECT_NE(net_.AddServer("still open", 0, 0), 0U);
}

}  // namespace
