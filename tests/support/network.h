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

// One line for each query whose forms - by name, by identifier, by folder, for one Dep or for all,
// one list of a check or several - do not give one answer for an object that there is.
std::string FindDisagreements(CNCCNet& net);

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

// The list that a query fills. A failure of the test when the query's result is not the list's size
// or something stays of what was in it.
template <class Entry, class Fill>
std::list<Entry> Filled(Fill fill) {
  std::list<Entry> list(2);
  const auto size = fill(list);
  EXPECT_EQ(static_cast<std::size_t>(size), list.size());
  return list;
}

std::vector<unsigned long> UserIds(CNCCNet& net, unsigned long dep);
std::vector<unsigned long> LinkedDepIds(CNCCNet& net, unsigned long dep);
std::vector<unsigned long> GroupsOfDep(CNCCNet& net, unsigned long dep);
std::vector<unsigned long> GroupsOfNode(CNCCNet& net, unsigned long node);
std::vector<unsigned long> NodesOfGroup(CNCCNet& net, unsigned long group);
std::vector<unsigned long> DepsOfGroup(CNCCNet& net, unsigned long group);
// Dep, node and kind of each membership, one behind the other.
std::vector<unsigned long> Memberships(CNCCNet& net, unsigned long user);
// Dep and node of what the user could hold.
std::vector<unsigned long> PossibleMemberships(CNCCNet& net, unsigned long user);
// The items of an object's folder, as DescribeItem gives them.
std::string Items(CNCCNet& net, unsigned long id);

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
