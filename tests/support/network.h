// What most tests start from: a small network, its contents as text, and tables of all operations.
#pragma once

#include "nccnet/nccnet.h"
#include "scratch.h"

#include <functional>
#include <list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// Everything that the public queries tell of a network, one line per fact: the preferences block,
// each object's stored image, the order of all that is linked, what each name and identifier
// finds, what is loose; and the items of the Deps' folders.
std::string Describe(CNCCNet& net);

// The lines that Describe consists of.
std::string DescribePreferences(const CNetPref& preferences);
std::string DescribeNode(const std::string& image, unsigned long found_by_name, unsigned long type,
                         unsigned long server);
std::string DescribeList(const char* title, const std::vector<unsigned long>& ids);
std::string DescribeItem(std::uint8_t kind, const TDBObjId& object, const std::string& name);

// Servers A, B, C (1, 2, 3; links A-B, A-C); APs a1, a2 under A (4, 5), b1 under B (6).
void BuildSample(CNCCNet& net);

struct Operation {
  const char* name;
  std::function<unsigned long(CNCCNet&)> run;
  unsigned long refused = 0;  // result when it finds or does nothing
};

// Each change applies to the sample: it succeeds there and changes something that is stored.
const std::vector<Operation>& SampleChanges();
// Each query finds something in the sample.
const std::vector<Operation>& SampleQueries();

// Every operation answers as for an object that does not exist, and LastError has a reason.
void ExpectEverythingRefused(CNCCNet& net, const std::string& when);

std::vector<unsigned long> ServerIds(CNCCNet& net);
std::vector<unsigned long> ApIds(CNCCNet& net, unsigned long server);
std::vector<unsigned long> LinkIds(CNCCNet& net, unsigned long server);
template <class Entry>
std::vector<unsigned long> Ids(const std::list<Entry>& list) {
  std::vector<unsigned long> ids;
  for (const Entry& entry : list) ids.push_back(entry.id);
  return ids;
}

// What a query that fills a list gives: Query(net, &CNCCNet::GetListNN, 5). A failure of the test
// when its result is not the list's size, or the list keeps what was in it.
template <class Entry, class Result, class... Parameters, class... Arguments>
std::list<Entry> Query(CNCCNet& net, Result (CNCCNet::*query)(Parameters..., std::list<Entry>&),
                       Arguments... arguments) {
  std::list<Entry> list(2);
  const auto size = (net.*query)(arguments..., list);
  EXPECT_EQ(static_cast<std::size_t>(size), list.size());
  return list;
}

// The 77 stored bytes of a node; empty when there is no such node.
std::string Image(CNCCNet& net, unsigned long id);
// A node's entry; a failure of the test when there is no such node.
CNNEntry Entry(CNCCNet& net, unsigned long id);

// A new database for each test.
class NetworkTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(net_.Create(folder_.c_str(), "net", 0x1A)) << net_.LastError();
  }

  void Reopen() {
    net_.Close();
    ASSERT_TRUE(net_.Open(folder_.c_str(), "net")) << net_.LastError();
  }
  // Opens again what is stored, without saving the preferences block first.
  void DropAndReopen() { ASSERT_TRUE(net_.Open(folder_.c_str(), "net")) << net_.LastError(); }

  ScratchFolder scratch_;
  std::string folder_ = scratch_.Path("db");
  CNCCNet net_;
};

// The same with the sample in it.
class SampleTest : public NetworkTest {
 protected:
  void SetUp() override {
    NetworkTest::SetUp();
    BuildSample(net_);
  }
};
