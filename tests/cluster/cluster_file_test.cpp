// The settings files of databases in a cluster. Needs no cluster.
#include "nccnet/backup.h"
#include "platform/cluster/etcd_settings.h"
#include "platform/storage/copy.h"
#include "platform/storage/open_engine.h"
#include "support/engine_history.h"
#include "support/scratch.h"

#include <gtest/gtest.h>

namespace ncc {
namespace {

using etcd::EtcdSettings;

class ClusterFile : public ::testing::Test {
 protected:
  EtcdSettings Read(const std::string& text) const {
    WriteFile(file, text);
    return etcd::ReadEtcdSettings(SettingsFile(file), "net");
  }

  const ScratchFolder scratch;
  const std::string base = scratch.Path("net");
  const std::string file = base + ".cluster";
};

TEST_F(ClusterFile, SaysWhereTheDatabaseIs) {
  const EtcdSettings plain =
      Read("engine=etcd\nendpoints = http://a:1 ,http://b:2/\t http://c:3\n");
  EXPECT_EQ(plain.endpoints, (std::vector<std::string>{"http://a:1", "http://b:2", "http://c:3"}));
  EXPECT_EQ(plain.prefix, "/nccnet/net/");
  EXPECT_EQ(plain.certificate, "");
  const EtcdSettings full = Read(
      "# of the city\r\n\nengine = etcd\r\nendpoints = https://[::1]:2379\ncertificate = me.pem\n"
      " key = /etc/me.key\nca = ca.pem\nprefix = /x\nlease = 9\ntimeout = 600");
  EXPECT_EQ(full.endpoints, (std::vector<std::string>{"https://[::1]:2379"}));
  EXPECT_EQ(full.certificate, scratch.Path("me.pem"));
  EXPECT_EQ(full.key, "/etc/me.key");
  EXPECT_EQ(full.prefix, "/x/");
  EXPECT_EQ(full.lease, std::chrono::seconds(9));
  EXPECT_EQ(full.timeout, std::chrono::seconds(600));
}

TEST_F(ClusterFile, ToldWithItsLineWhatCannotBe) {
  const std::string good = "engine = etcd\nendpoints = http://a:1\n";
  const struct {
    std::string text;
    const char* says;
  } cases[] = {{"engine = etcd\n", "net.cluster: it names no endpoints; add"},
               {good + "\nlease\n", ":4: this is no line \"name = value\""},
               {good + "= 3\n", ":3: this is no line"},
               {good + "lease = \n", ":3: \"lease\" has no value"},
               {good + "lease = 3\n\nlease = 3\n", ":5: \"lease\" stands in line 3 already"},
               {good + "lease = 0\n", ":3: \"0\" is no number of seconds from 1 to 600"},
               {good + "timeout = 5s\n", ":3: \"5s\" is no number"},
               {good + "prefix = x/\n", ":3: a prefix begins with a slash"},
               {good + "prefix = /\n", ":3: a prefix begins with a slash"},
               {good + "colour = red\n", ":3: \"colour\" is none of engine, endpoints,"},
               {good + "key = a\n", "belong together"},
               {good + "key = a\nca = b\ncertificate = c\n", "make them https"},
               {"endpoints = a:1\n", ":1: \"a:1\" is no address"},
               {"endpoints = http://a\n", ":1: \"http://a\" is no address"},
               {"endpoints = http://a:1/v3\n", "is no address"},
               {"endpoints = http://a:1, https://b:1\n", "some endpoints are https"}};
  for (const auto& [text, says] : cases) {
    EXPECT_TRUE(Says(ErrorOf([&, &of = text] { Read(of); }), says));
  }
}

TEST_F(ClusterFile, DecidesWhichEngineIsLoaded) {
  const auto refusal = [&](const std::string& text) {
    WriteFile(file, text);
    return ErrorOf([&] { OpenEngine(base, {OpenMode::kCreate}); });
  };
  EXPECT_TRUE(Says(refusal(""), "net.cluster: it names no engine; add: engine = etcd"));
  EXPECT_TRUE(Says(refusal("engine = ../x\n"), ":1: \"../x\" is no name of an engine"));
  EXPECT_TRUE(Says(refusal("engine = none\n"), "cannot be loaded: libnccnet_none.so: cannot open"));
  EXPECT_TRUE(Says(refusal("engine = etcd\n"), "it names no endpoints"));
  EXPECT_TRUE(Says(refusal("engine = etcd\nendpoints = http://127.0.0.1:1\ntimeout = 1\n"),
                   "does not answer (the last of 1 tried: http://127.0.0.1:1: "));
  WriteFile(base + ".db", "");
  EXPECT_TRUE(Says(refusal("engine = etcd\n"), "are both there"));
}

TEST_F(ClusterFile, IsNeverTakenForAFileOfItsOwn) {
  WriteFile(file, "engine = etcd\n");
  const std::string copy = scratch.Path("copy.db");
  MakeHistory(scratch.Path("copy"), 1);
  CString kept;
  EXPECT_FALSE(RestoreBackup(scratch.Path().c_str(), "net", copy.c_str(), kept));
  const auto engine = OpenSqliteEngine(scratch.Path("copy"), {OpenMode::kOpen});
  engine->Load([](const RowView&) {});
  EXPECT_TRUE(Says(ErrorOf([&] { CopyToFile(*engine, file); }), "belongs to a database"));
  EXPECT_FALSE(std::filesystem::exists(base + ".db"));
}

}  // namespace
}  // namespace ncc
