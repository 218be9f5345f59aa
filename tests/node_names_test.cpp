#include "support/network.h"

namespace {

using NodeNames = NetworkTest;

const std::string kLast51 = "\x82\xE1\xEF \xE1\xA5\xE2\xEC" + std::string(43, ' ');

std::string Column(const std::string& name) { return name + std::string(51 - name.size(), ' '); }

TEST_F(NodeNames, TheWholeFileByteForByte) {
  const std::string longest(51, 'n');
  const std::string cyrillic = "\xC2\xF1\xFF \xF1\xE5\xF2\xFC";  // stays in code page 1251
  ASSERT_EQ(net_.AddServer("Alpha", 0, 0), 1U);
  ASSERT_EQ(net_.AddServer(longest.c_str(), 0, 0), 2U);
  ASSERT_EQ(net_.AddServer("empty", 0, 0), 3U);
  ASSERT_EQ(net_.AddAP(2, cyrillic.c_str(), 0), 4U);
  net_.Preferences()->next_id = 0xBEEF;
  ASSERT_EQ(net_.AddAP(1, "100%s", 0), 0xBEEFU);
  ASSERT_EQ(net_.CreateNGrp(cyrillic.c_str()), 0xBEF0U);
  ASSERT_EQ(net_.CreateNGrp("group"), 0xBEF1U);
  ASSERT_TRUE(net_.ModifyAP(4, "short once") && net_.ModifyAP(4, cyrillic.c_str()));
  const std::string file = scratch_.Path("NODENAME.DOC");
  WriteFile(file, std::string(5000, 'x'));
  ASSERT_TRUE(net_.CreateNodenameFile((scratch_.Path() + "\\").c_str())) << net_.LastError();
  EXPECT_EQ(ReadFile(file), Column(cyrillic) + "1 G C000001A0000BEF0 001ABEF0\r\n" +
                                Column("group") + "1 G C000001A0000BEF1 001ABEF1\r\n" +
                                Column("100%s") + "1 A 0000001A0001BEEF 001ABEEF\r\n" +
                                Column(cyrillic) + "1 A 0000001A00020004 001A0004\r\n" +
                                Column("Alpha") + "1 S 0000001A00010000 001A0001\r\n" + longest +
                                "1 S 0000001A00020000 001A0002\r\n" + Column("empty") +
                                "1 S 0000001A00030000 001A0003\r\n" + kLast51 +
                                "1 G C000001A00000000 001A0000\r\n");
  EXPECT_EQ(std::filesystem::status(file).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(NodeNames, AnEmptyNetworkIsOneLine) {
  net_.Preferences()->net_number = 0xABCDE;
  ASSERT_TRUE(net_.CreateNodenameFile((scratch_.Path() + "/").c_str()));
  EXPECT_EQ(ReadFile(scratch_.Path("NODENAME.DOC")),
            kLast51 + "1 G C000ABCDE00000000 ABCDE0000\r\n");
}

TEST_F(NodeNames, AFileThatCannotBeWrittenIsFalse) {
  WriteFile(scratch_.Path("plain"), "kept");
  std::filesystem::create_directories(scratch_.Path("taken/NODENAME.DOC"));
  for (const char* folder : {"missing/", "plain/", "taken/"}) {
    EXPECT_FALSE(net_.CreateNodenameFile(scratch_.Path(folder).c_str())) << folder;
    EXPECT_STRNE(net_.LastError(), "") << folder;
  }
  EXPECT_FALSE(net_.CreateNodenameFile(nullptr));
  EXPECT_FALSE(std::filesystem::exists(scratch_.Path("missing")));
  const std::filesystem::directory_iterator left(scratch_.Path("taken"));
  EXPECT_EQ(std::distance(begin(left), end(left)), 1) << "no temporary file stays";
}

TEST_F(NodeNames, TheCallbackIsCalledBeforeEachNodeAndMayThrow) {
  BuildSample(net_);
  int calls = 0;
  net_.SetCallback([](void* context, void*) -> long { return ++*static_cast<int*>(context); },
                   &calls);
  ASSERT_TRUE(net_.CreateNodenameFile((scratch_.Path() + "/").c_str()));
  EXPECT_EQ(calls, 6) << "three servers, three APs";
  const std::string before = ReadFile(scratch_.Path("NODENAME.DOC"));
  net_.SetCallback([](void*, void*) -> long { throw 7; });
  EXPECT_THROW(net_.CreateNodenameFile((scratch_.Path() + "/").c_str()), int);
  net_.SetCallback(nullptr, nullptr);
  EXPECT_EQ(ReadFile(scratch_.Path("NODENAME.DOC")), before) << "whole or not at all";
}

}  // namespace
