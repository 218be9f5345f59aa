#include "support/net_access.h"
#include "support/network.h"

#include <cstring>
#include <tuple>

namespace {

using Item = std::tuple<std::uint32_t, std::uint32_t, int, std::string>;

std::vector<Item> Items(const CHDBFolder& folder) {
  std::vector<Item> items;
  const auto& entries = folder.Entries();
  for (auto at = entries.First(); at != ncc::kNoPosition; at = entries.Next(at)) {
    const auto& entry = entries.At(at);
    items.emplace_back(entry.Object().space, entry.Object().number, entry.Kind(),
                       folder.EntryName(at));
  }
  return items;
}

std::vector<std::uint32_t> ListNumbers(const CHDBRecord& record, int position) {
  std::vector<std::uint32_t> numbers;
  const auto& list = record.List(position);
  for (auto at = list.First(); at != ncc::kNoPosition; at = list.Next(at)) {
    EXPECT_EQ(list.At(at).object.space, 200U);
    numbers.push_back(list.At(at).object.number);
  }
  return numbers;
}

class Storage : public SampleTest {
 protected:
  TRef<CHDBase> Base() { return NetAccess::HDBase(net_); }
  TRef<CHDBRecord> Record(std::uint32_t id) {
    return CHDBRecordManager(*Base()).RecOpen({100, id});
  }
  std::vector<Item> FolderItems(std::uint32_t id) {
    return Items(*CHDBFolderManager(*Base()).FolderOpen({200, id}));
  }
};

TEST_F(Storage, LayoutOfANewDatabaseAndItsNodes) {
  const auto root = Items(*NetAccess::RootFolder(net_));
  const std::uint32_t net_folder = NetAccess::RootFolder(net_)->Number() - 1;
  const std::vector<Item> root_items = {
      {200, net_folder, 0, "Net"}, {200, 1, 1, "A"}, {200, 2, 1, "B"}, {200, 3, 1, "C"}};
  EXPECT_EQ(root, root_items);
  const std::vector<Item> server_items = {
      {200, 4, 2, "a1"}, {100, 4, 6, "a1"}, {200, 5, 2, "a2"}, {100, 5, 6, "a2"}};
  EXPECT_EQ(FolderItems(1), server_items);
  EXPECT_TRUE(FolderItems(4).empty());

  EXPECT_EQ(Record(5)->Data(), Image(net_, 5));
  EXPECT_EQ(Record(5)->Name(), "a2");
  EXPECT_EQ(Record(5)->Type(), 2U);
  EXPECT_EQ(Record(net_folder)->Data().size(), sizeof(CNetPref));
  EXPECT_EQ(NetAccess::GetRootFldSpc(net_), 200U);
}

TEST_F(Storage, SetDataWritesTheSevenValues) {
  char group[61] = "group";
  const std::uint32_t id = 9;
  std::memcpy(group + 52, &id, sizeof id);
  group[56] = static_cast<char>(kTypeNGrp);
  group[60] = 1;
  ChangeBelow(net_, [&](CHDBase& base) {
    CHDBFolderManager(base).FolderCreate(id);
    const auto record = CHDBRecordManager(base).RecCreate({100, id});
    NetAccess::SetData(net_, std::make_shared<CHDBList>(record), group, sizeof group);
    NetAccess::RootFolder(net_)->Append({200, id}, kTypeNGrp, "group");
  });
  DropAndReopen();
  const auto record = Record(id);
  EXPECT_EQ(record->Data(), std::string_view(group, sizeof group));
  EXPECT_EQ(record->Name(), "group");
  EXPECT_EQ(record->Type(), 7U);
  for (int list = 4; list <= 6; ++list) EXPECT_TRUE(ListNumbers(*record, list).empty());
  TDBObjId node;
  EXPECT_FALSE(net_.GetNN(id, node)) << "a group is no node";
}

TEST_F(Storage, IdListsKeepTheOrderOfLinkingAndEachNumberOnce) {
  using Numbers = std::vector<std::uint32_t>;
  const auto change = [this](std::uint32_t id, auto how) {
    ChangeBelow(net_, [&](CHDBase&) {
      auto record = Record(id);
      how(record);
    });
  };
  change(1, [this](auto& record) {
    for (const std::uint32_t number : {6U, 4U, 6U, 5U, 4U}) {
      NetAccess::AddListId(net_, record, {200, number}, 6);
    }
  });
  EXPECT_EQ(ListNumbers(*Record(1), 6), (Numbers{6, 4, 5}));
  const auto revision = net_.GetRevision();
  change(1, [this](auto& record) {
    NetAccess::AddListId(net_, record, {200, 5}, 6);
    NetAccess::DelListId(net_, record, {200, 77}, 6);
    NetAccess::DelListId(net_, record, {200, 5}, 5);
  });
  EXPECT_EQ(net_.GetRevision(), revision);
  change(1, [this](auto& record) {
    NetAccess::DelListId(net_, record, {200, 4}, 6);
    NetAccess::AddListId(net_, record, {200, 4}, 6);
  });
  EXPECT_EQ(ListNumbers(*Record(1), 6), (Numbers{6, 5, 4}));
  EXPECT_EQ(ListNumbers(*Record(1), 4), (Numbers{2, 3}));

  change(1, [this](auto& record) { NetAccess::DelAllListId(net_, record, {200, 1}, 4, 4); });
  EXPECT_EQ(ListNumbers(*Record(1), 4), (Numbers{2, 3})) << "only the back links go";
  EXPECT_TRUE(ListNumbers(*Record(2), 4).empty());
  EXPECT_TRUE(ListNumbers(*Record(3), 4).empty());
}

TEST_F(Storage, RootEntriesAreFoundByNameOrIdAndKind) {
  ASSERT_EQ(net_.AddServer("alpha", 0, 0), 7U);
  const TDBObjId untouched{1, 2};
  TDBObjId found = untouched;
  EXPECT_FALSE(NetAccess::GetRootEntry(net_, "ALPHA", kTypeNGrp, found));
  EXPECT_FALSE(NetAccess::GetRootEntry(net_, "alph", kTypeServer, found));
  EXPECT_FALSE(NetAccess::GetRootEntry(net_, 7UL, kTypeDep, found));
  EXPECT_FALSE(NetAccess::GetRootEntry(net_, 4UL, kTypeAP, found)) << "an AP is no root entry";
  EXPECT_FALSE(NetAccess::GetRootEntry(net_, 0x100000007UL, kTypeServer, found));
  EXPECT_EQ(found, untouched);
  EXPECT_TRUE(NetAccess::GetRootEntry(net_, "ALPHA", kTypeServer, found));
  EXPECT_EQ(found, (TDBObjId{200, 7}));
  EXPECT_TRUE(NetAccess::GetRootEntry(net_, 2UL, kTypeServer, found));
  EXPECT_EQ(found, (TDBObjId{200, 2}));
}

TEST_F(Storage, RenamingReachesEveryFolderThatListsTheObject) {
  ChangeBelow(net_, [](CHDBase& base) {
    const auto folder = CHDBFolderManager(base).FolderOpen({200, 3});
    folder->Append({200, 1}, kTypeServer, "A");
    folder->Append({200, 4}, kTypeAP, "a1");
    folder->Append({100, 4}, 6, "a1");
  });
  EXPECT_TRUE(net_.ModifyServer(1, "A+"));
  EXPECT_TRUE(net_.ModifyAP(4, "a1+"));
  const std::vector<Item> items = {{200, 1, 1, "A+"}, {200, 4, 2, "a1+"}, {100, 4, 6, "a1+"}};
  EXPECT_EQ(FolderItems(3), items);
}

TEST_F(Storage, AnIdentifierInUseFailsTheWholeOperation) {
  const std::string before = Describe(net_);
  const auto revision = net_.GetRevision();
  for (const std::uint32_t taken : {5U, 0xFFFFFFFFU, 0xFFFFFFFEU}) {
    const CNetPref kept = *net_.Preferences();
    net_.Preferences()->next_id = taken;
    EXPECT_EQ(net_.AddAP("B", "x", 0), 0U) << taken;
    EXPECT_STRNE(net_.LastError(), "") << taken;
    EXPECT_EQ(net_.AddServer("x", 0, 0), 0U) << taken;
    EXPECT_EQ(net_.Preferences()->next_id, taken);
    *net_.Preferences() = kept;
  }
  EXPECT_EQ(Describe(net_), before);
  EXPECT_EQ(net_.GetRevision(), revision);
}

}  // namespace
