#include "support/outputs.h"

#include <cstdlib>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

const std::string kKey = "01234567890123456789012345678901";

class StampTest : public OutputTest {
 protected:
  ~StampTest() override {
    SetShareIdenticalFiles(true);
    SetTextLineEnd("\r\n");
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

TEST_F(StampTest, OnlyAPrivateKeyOf32BytesCounts) {
  WriteFile("file", "hello");
  for (const std::size_t size : {0U, 31U, 33U, 4096U}) {
    UseKey(std::string(size, '0'));
    EXPECT_EQ(Stamp("file"), "00000000") << size;
  }
  UseKey(kKey);
  using fs::perms;
  for (const perms others : {perms::group_read, perms::others_read}) {
    fs::permissions("stamp.key", perms::owner_read | others);
    EXPECT_EQ(Stamp("file"), "00000000");
  }
  fs::permissions("stamp.key", perms::owner_read);
  EXPECT_EQ(Stamp("file"), "583734D0") << "the key is read at each use";
  fs::remove("stamp.key");
  EXPECT_EQ(Stamp("file"), "00000000");

  UseKey(kKey);
  SetStampProvider(nullptr);
  EXPECT_EQ(Stamp("file"), "00000000");
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

TEST_F(StampTest, AProviderOfTheApplication) {
  const auto provider = std::make_shared<LengthStamps>();
  SetStampProvider(provider);
  fs::create_directories("out/N");
  fs::create_directories("out/R");
  const auto list = [&] {
    EXPECT_TRUE(net_.GenApn("out/N/", 0, 0xCUL) && net_.GenApnCrg("out/", 0xCUL));
    return ReadFile("out/R/apn000C.crg").substr(0, 22);
  };
  EXPECT_EQ(list(), "APN000C.TXT=000001B8\r\n") << "the form for bytes is not there";
  provider->fails = true;
  EXPECT_EQ(list(), "APN000C.TXT=00000000\r\n");
  provider->has_key = false;
  provider->files = 0;
  EXPECT_EQ(list(), "APN000C.TXT=00000000\r\n");
  EXPECT_EQ(provider->files, 0) << "not asked without a key";
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

TEST_F(StampTest, LineEndsOfTexts) {
  EXPECT_FALSE(SetTextLineEnd("\r") || SetTextLineEnd("") || SetTextLineEnd(nullptr));
  EXPECT_TRUE(net_.CreateCcc_kcFile("./"));
  EXPECT_EQ(ReadFile("CCC_KC.TXT"), "001A000C0\r\n001A000D0\r\n");
  EXPECT_TRUE(SetTextLineEnd("\n"));
  EXPECT_TRUE(net_.CreateCcc_kcFile("./") && net_.GenMAPNodeTun("./", 9));
  EXPECT_EQ(ReadFile("CCC_KC.TXT"), "001A000C0\n001A000D0\n");
  EXPECT_EQ(ReadFile("node9.tun"), "001A00090 10\n001A000B0 65535\nTUNNEL.REG=00000000\n");
}

class ThrowingStamps : public LengthStamps {
 public:
  int FindFileImito(const char*, const unsigned char*, std::uint32_t&) override {
    throw std::runtime_error("no stamps today");
  }
};

TEST_F(StampTest, WhatAProviderOrAnObserverThrowsIsAFileWithoutStamp) {
  SetStampProvider(std::make_shared<ThrowingStamps>());
  net_.SetFileObserver([](const CFileEvent&) { throw std::runtime_error("not interested"); });
  EXPECT_TRUE(net_.GenAPDB("out", 1));
  EXPECT_STREQ(net_.LastError(), "");
  EXPECT_EQ(Stamp("out/APDB/R/apn000C.crg"), "00000000");
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

TEST_F(StampTest, EmptyingKeepsLinksToFolders) {
  fs::create_directories("disk");
  WriteFile("disk/other", "x");
  fs::create_directories("out/APDB");
  fs::create_directory_symlink("../../disk", "out/APDB/keep");
  fs::create_symlink("../../disk/other", "out/APDB/file");
  EXPECT_TRUE(net_.GenAPDB("out", 1));
  EXPECT_TRUE(fs::is_symlink("out/APDB/keep") && fs::exists("disk/other"));
  EXPECT_FALSE(fs::exists(fs::symlink_status("out/APDB/file")));
}

}  // namespace
