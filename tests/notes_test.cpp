// What a note may be, and in which letters it is given.
#include "support/memory_net.h"
#include "support/network.h"

namespace {

class NotesTest : public ::testing::Test {
 protected:
  NotesTest() {
    EXPECT_TRUE(memory_.Create());
    BuildSample(net_);
    net_.SetTextEncoding(CTextEncoding::kUtf8);
  }

  // Why the note is refused; empty when it is not.
  std::string Refusal(const std::string& key, const std::string& value, unsigned long id = 1) {
    const bool is_set = SetNote(net_, id, key.c_str(), value.c_str());
    EXPECT_EQ(is_set, *net_.LastError() == '\0');
    return net_.LastError();
  }
  std::string Note(unsigned long id, const char* key) {
    std::string value = "none";
    GetNote(net_, id, key, value);
    return value;
  }

  MemoryNet memory_;
  CNCCNet& net_ = memory_.Net();
};

TEST_F(NotesTest, AreTakenOrRefusedByTheirForm) {
  const std::string control = "has control characters";
  const std::string tags = "tags are words with a comma";
  const std::string degrees = "is a number of degrees";
  const struct {
    std::string key, value, refusal;
  } cases[] = {{"k", "v", ""},
               {std::string(64, 'k'), std::string(4096, 'v'), ""},
               {std::string(65, 'k'), "v", "the key of the note has more than 64 bytes"},
               {"k", std::string(4097, 'v'), "the text of the note has more than 4096 bytes"},
               {"k", "", "is empty"},
               {"", "v", "is empty"},
               {" k", "v", "begins or ends in a blank"},
               {"k", "a\nb", control},
               {"k", "a\u0085b", control},
               {"k", "a\u2028b", control},
               {"k", "a\xC3", "is not UTF-8"},
               {"k", "\xC0\xAF", "is not UTF-8"},
               {"k", "\xED\xA0\x80", "is not UTF-8"},
               {"k", "\xF4\x90\x80\x80", "is not UTF-8"},
               {"\"\\", "\"\\ \U0001F600", ""},
               {"tags", "core", ""},
               {"tags", "core,in spare", ""},
               {"tags", "core,core", tags},
               {"tags", "core, spare", tags},
               {"tags", "core,", tags},
               {"latitude", "-90", ""},
               {"latitude", "90.1", degrees},
               {"longitude", "179.5", ""},
               {"longitude", "-180.01", degrees},
               {"longitude", "1e1", degrees},
               {"longitude", "1.", degrees},
               {"longitude", "1.2.3", degrees}};
  for (const auto& [key, value, refusal] : cases) {
    const std::string found = Refusal(key, value);
    EXPECT_EQ(found.empty(), refusal.empty()) << key << ": " << value << ": " << found;
    EXPECT_NE(found.find(refusal), std::string::npos) << key << ": " << value << ": " << found;
  }
  EXPECT_EQ(Refusal("k", "v", 99), "no object has the identifier 99");
  EXPECT_NE(Refusal("k", "v", 0xFFFFFFFF), "") << "the root folder";
  for (std::size_t i = 0; i < kMaxNotes; ++i) EXPECT_EQ(Refusal(std::to_string(i), "v", 2), "");
  EXPECT_NE(Refusal("more", "v", 2).find("at most 32 notes"), std::string::npos);
  EXPECT_EQ(Refusal("0", "other", 2), "");
  const std::string all = Describe(net_);
  net_.Close();
  ASSERT_TRUE(net_.Open("memory", "net")) << net_.LastError();
  EXPECT_EQ(Describe(net_), all);
}

TEST_F(NotesTest, AreGivenInTheCallersLetters) {
  EXPECT_EQ(Refusal("город", "Malmö", 1) + Refusal("город", "Орёл", 2), "");
  net_.SetTextEncoding(CTextEncoding::kCp1251);
  const std::string key = "\xE3\xEE\xF0\xEE\xE4";
  EXPECT_EQ(Note(2, key.c_str()), "\xCE\xF0\xB8\xEB");
  EXPECT_EQ(Note(1, key.c_str()), "none");
  EXPECT_NE(std::string(net_.LastError()).find("code page 1251 lacks"), std::string::npos);
  EXPECT_EQ(Refusal(key, "\xCA\xEB\xE8\xED", 2), "");
  net_.SetTextEncoding(CTextEncoding::kUtf8);
  EXPECT_EQ(Note(2, "город"), "Клин");
}

TEST_F(NotesTest, GoWithTheirObject) {
  EXPECT_TRUE(SetNote(net_, 1, "k", "v") && SetNote(net_, 3, "k", "v"));
  EXPECT_TRUE(net_.DeleteServer(1UL)) << "AP 5 under it has a note, too";
  EXPECT_EQ(AddServerAs(net_, {1}, "again", 0, 0), 1U);
  std::list<unsigned long> noted;
  ListNoted(net_, noted);
  EXPECT_EQ(noted, std::list<unsigned long>{3});
}

}  // namespace
