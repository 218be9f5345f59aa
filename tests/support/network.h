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
std::string DescribeNote(unsigned long id, const std::string& key, const std::string& value);
std::string DescribeItem(std::uint8_t kind, const TDBObjId& object, const std::string& name);

// Servers A, B, C (1, 2, 3; links A-B, A-C); APs a1, a2 under A (4, 5), b1 under B (6).
void BuildSample(CNCCNet& net);

// Behind the sample Deps d, e, f (7, 8, 13), users u, v, w (9, 10, 12), node group g (11). g has
// a2, d and e; d has u, then e, then v.
void BuildPeople(CNCCNet& net);

struct Operation {
  std::string name;
  std::function<unsigned long(CNCCNet&)> run;
};

// Each change of golden/operations.txt applies to the sample with its people: it succeeds there and
// changes something that is stored.
const std::vector<Operation>& SampleChanges();
// Each query finds something there.
const std::vector<Operation>& SampleQueries();

// Whether an operation with this result gave a reason for doing nothing.
inline bool IsRefused(CNCCNet& net, unsigned long result) {
  return result == 0 && *net.LastError() != '\0';
}
// Every operation answers as for an object that does not exist, and LastError has a reason.
void ExpectEverythingRefused(CNCCNet& net, const std::string& when);

using Numbers = std::vector<unsigned long>;

Numbers ServerIds(CNCCNet& net);
Numbers ApIds(CNCCNet& net, unsigned long server);
Numbers LinkIds(CNCCNet& net, unsigned long server);
template <class Entry>
Numbers Ids(const std::list<Entry>& list) {
  Numbers ids;
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

Numbers UserIds(CNCCNet& net, unsigned long dep);
Numbers LinkedDepIds(CNCCNet& net, unsigned long dep);
Numbers GroupsOfDep(CNCCNet& net, unsigned long dep);
Numbers GroupsOfNode(CNCCNet& net, unsigned long node);
Numbers NodesOfGroup(CNCCNet& net, unsigned long group);
Numbers DepsOfGroup(CNCCNet& net, unsigned long group);
// Dep, node and kind of each membership, one behind the other.
Numbers Memberships(CNCCNet& net, unsigned long user);
// Dep and node of what the user could hold.
Numbers PossibleMemberships(CNCCNet& net, unsigned long user);
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
