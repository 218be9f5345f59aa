#include "nccnet/export_manager.h"
#include "nccnet/import_container.h"
#include "support/exchange.h"
#include "support/memory_net.h"

#include <cstring>
#include <functional>
#include <stdexcept>

namespace {

using Container = ExchangeTest;
using Manager = ExchangeTest;

// A network of nothing.
SetTexts EmptySet() {
  SetTexts set = SampleSet();
  for (auto& [file, text] : set) {
    if (file != "gt") text.clear();
  }
  return set;
}

TEST_F(Container, ListsGatewayFilesWhateverTheirCase) {
  CImportContainer container;
  std::list<unsigned long> nets;
  EXPECT_EQ(container.GetListNets(&nets), -1);
  for (const char* name : {"gt.way", "gtx.way", "gt0.way", "gt-4.way", "gt 5.way", "gt6a.way"})
    WriteFile("DB/IMPORT/" + std::string(name), "");
  EXPECT_EQ(container.GetListNets(&nets), 0);
  EXPECT_TRUE(nets.empty());
  for (const char* name :
       {"gt3.way", "GT7.WAY", "Gt012.Way", "agt8.way", "gt9.wayx", "gt99999999999.way"})
    WriteFile("DB/IMPORT/" + std::string(name), "");
  nets.push_back(1);
  EXPECT_EQ(container.GetListNets(&nets), 0);
  nets.sort();
  EXPECT_EQ(nets, (std::list<unsigned long>{1, 3, 7, 12}));
  EXPECT_EQ(container.GetListNets(nullptr), 0);
  std::filesystem::remove_all("DB");
  EXPECT_EQ(container.GetListNets(nullptr), -1);
  EXPECT_EQ(container.LoadNet(3), nullptr);
}

TEST_F(Container, SharesAViewOfTheLargestNumbersToo) {
  constexpr unsigned long kLarge = 3'000'000'000;
  PutSet(EmptySet(), kLarge);
  CImportContainer container;
  CImportNet* const view = container.LoadNet(kLarge);
  ASSERT_NE(view, nullptr);
  EXPECT_EQ(container.LoadNet(kLarge), view);
}

TEST_F(Container, SharesOneViewPerNetworkAndCounts) {
  PutSet(SampleSet(), 5);
  PutSet(EmptySet(), 6);
  CImportContainer container;
  CImportNet* const view = container.LoadNet(5);
  ASSERT_NE(view, nullptr);
  CImportNet* const other = container.LoadNet(6);
  ASSERT_NE(other, nullptr);
  EXPECT_NE(other, view);
  // Reread, and the same object.
  SetTexts changed = SampleSet();
  changed["an"] += "00050040 new\n";
  PutSet(changed, 5);
  EXPECT_EQ(container.LoadNet(5), view);
  EXPECT_EQ(view->GetListAb()->size(), 4U);
  EXPECT_EQ(container.UnLoadNet(5), 0);
  EXPECT_EQ(view->GetNet(), 5);
  // A reload that fails gives the view, and no reference.
  std::filesystem::remove("DB/IMPORT/nn5.txt");
  EXPECT_EQ(container.LoadNet(5), view);
  EXPECT_EQ(view->GetListAb()->size(), 4U);
  EXPECT_TRUE(view->GetListAp()->empty());
  EXPECT_EQ(container.UnLoadNet(5), 0);
  EXPECT_EQ(container.LoadNet(5), nullptr);  // a new one, which is not kept
  EXPECT_EQ(container.UnLoadNet(5), 0);
  PutSet(SampleSet(), 5);
  ASSERT_NE(container.LoadNet(5), nullptr);
  EXPECT_EQ(container.UnLoadNet(7), 0);
  EXPECT_EQ(other->GetNet(), 6);

  PutSet(EmptySet(), 9);
  std::filesystem::remove("DB/IMPORT/gt9.way");
  EXPECT_EQ(container.LoadNet(9), nullptr);
  EXPECT_EQ(container.LoadNet(0), nullptr);
  CImportContainer copy(container);
  copy = container;
  EXPECT_EQ(copy.UnLoadNet(6), 0);  // holds none of them
  EXPECT_EQ(other->GetNet(), 6);
}

class OpenManager : public _CExportManager {
 public:
  OpenManager(CNCCNet* net, unsigned long partner) : _CExportManager(net, partner) {}
};

// The steps succeed and say in which order they were taken.
class WorkingManager : public OpenManager {
 public:
  using OpenManager::OpenManager;
  std::string steps;
  std::string failing;

 protected:
  int Take(const char* step) {
    steps += step;
    return failing == step ? 7 : 0;
  }
  int PrepareEntryForExport() override { return Take("prepare "); }
  int PrepareFile_AN() override { return Take("AN "); }
  int PrepareFile_BC() override { return Take("BC "); }
  int PrepareFile_EN() override { return Take("EN "); }
  int PrepareFile_GL() override { return Take("GL "); }
  int PrepareFile_IP() override { return Take("IP "); }
  int PrepareFile_NG() override { return Take("NG "); }
  int PrepareFile_NN() override { return Take("NN "); }
  int PrepareFile_TU() override { return Take("TU "); }
  int PrepareFile_UC() override { return Take("UC "); }
  int PrepareFile_UL() override { return Take("UL "); }
  int PrepareFile_UN() override { return Take("UN "); }
  int PrepareFile_GT() override { return Take("GT "); }
};

std::string WhyNot(const std::function<void()>& construct) {
  try {
    construct();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST_F(Manager, RefusesWithoutNetworkOrFolder) {
  MemoryNet memory;
  const auto make = [&](CNCCNet* net) {
    return WhyNot([&] { const OpenManager manager(net, 9); });
  };
  const char* const no_folder = "Export dir doesn't exist and cannot be created";
  EXPECT_EQ(make(nullptr), "_CExportManager : Net must not be NULL");
  EXPECT_FALSE(std::filesystem::exists("DB/EXPORT"));
  WriteFile("DB/EXPORT", "");
  EXPECT_EQ(make(&memory.Net()), no_folder);
  std::filesystem::remove("DB/EXPORT");
  std::filesystem::create_directory("DB/EXPORT");
  WriteFile("DB/EXPORT/9", "");
  EXPECT_EQ(make(&memory.Net()), no_folder);
  std::filesystem::remove_all("DB");
  EXPECT_EQ(make(&memory.Net()), no_folder);
  std::filesystem::create_directory("DB");
  EXPECT_EQ(make(&memory.Net()), "");  // network number 0, whose load leaves the view's lock held
  EXPECT_TRUE(std::filesystem::is_directory("DB/EXPORT/9"));
}

TEST_F(Manager, EditsTheViewOfTheOwnNetwork) {
  MemoryNet memory;
  ASSERT_TRUE(memory.Create());
  memory.Net().Preferences()->net_number = 5;
  std::filesystem::create_directories("DB/EXPORT/9");
  SetTexts set = SampleSet();
  PutSet(set, 5, "DB/EXPORT/9");
  OpenManager manager(&memory.Net(), 9);
  const CImportNet& view = *manager.GetNetInfo();
  EXPECT_EQ(view.GetNet(), 5);
  EXPECT_EQ(view.GetListDep()->size(), 4U);

  EXPECT_EQ(manager.SetGateInfo(1, 2, std::string(60, 'g').c_str()), 0);
  unsigned long a = 0;
  unsigned long b = 0;
  char name[52];
  EXPECT_EQ(view.GetGateInfo(a, b, name), 0);
  EXPECT_EQ(a, 2U);
  EXPECT_EQ(b, 1U);
  EXPECT_EQ(name, std::string(51, 'g'));

  CNNEntry node;
  std::memcpy(node.name, "n1\0left", 8);
  node.id = 0x10003;
  CDepEntry dep;
  dep.id = 0x10;
  dep.ngrp_id = 4;
  dep.kind = kTypeAP;
  for (int time = 0; time < 2; ++time) {
    EXPECT_EQ(manager.AddSrv(node) + manager.AddAp(node) + manager.AddDep(dep), 0);
    EXPECT_EQ(manager.DelAp(node) + manager.DelSrv(node) + manager.DelDep(dep), 0);
  }
  EXPECT_EQ(view.GetListSm()->size(), 4U);
  EXPECT_EQ(view.GetListAp()->size(), 5U);
  EXPECT_EQ(std::memcmp(&view.GetListAp()->back(), &node, sizeof(node)), 0);
  CNNEntry found;
  EXPECT_EQ(view.GetApInfo("n1", found), 0);
  CDepEntry found_dep;
  EXPECT_EQ(view.GetDepInfo(0x10, found_dep), 0);
  EXPECT_STREQ(found_dep.name, "D");
  EXPECT_EQ(Answer<CDepEntry>([&](auto& list) { return view.GetListDepFromNN(4, list); }),
            " 16 16");

  EXPECT_NE(view.GetListColAb(33), nullptr);
  EXPECT_EQ(manager.CreateExport(), 115);
  EXPECT_EQ(view.GetListColAb(33), nullptr);
  EXPECT_FALSE(std::filesystem::exists("EXPORT"));
  const OpenManager copy(manager);
  EXPECT_EQ(copy.GetNetInfo(), &view);
}

TEST_F(Manager, PublishesWhatTheStepsWrote) {
  MemoryNet memory;
  ASSERT_TRUE(memory.Create());
  WorkingManager manager(&memory.Net(), 9);
  EXPECT_EQ(manager.GetNetInfo()->GetNet(), 0x1A);
  WriteFile("DB/EXPORT/9/an26.txt", "users");
  std::filesystem::create_directory("DB/EXPORT/9/folder");
  manager.failing = "UL ";
  EXPECT_EQ(manager.CreateExport(), 7);
  EXPECT_EQ(manager.steps, "prepare AN BC EN GL IP NG NN TU UC UL ");
  EXPECT_FALSE(std::filesystem::exists("EXPORT"));
  manager.failing.clear();
  manager.steps.clear();
  EXPECT_EQ(manager.CreateExport(), 0);
  EXPECT_EQ(manager.steps, "prepare AN BC EN GL IP NG NN TU UC UL UN GT ");
  EXPECT_EQ(ReadFile("EXPORT/26/an26.txt"), "users");
  WriteFile("EXPORT/26/old", "");
  EXPECT_EQ(manager.CreateExport(), 0);
  EXPECT_FALSE(std::filesystem::exists("EXPORT/26/old"));
  EXPECT_FALSE(std::filesystem::exists("EXPORT/26/folder"));
  std::filesystem::rename("EXPORT", "documents");
  std::filesystem::create_directory_symlink("documents", "EXPORT");
  WriteFile("documents/26/an26.txt", "not ours");
  EXPECT_EQ(manager.CreateExport(), 4);
  EXPECT_NE(std::string(memory.Net().LastError()).find("EXPORT is a link"), std::string::npos);
  EXPECT_EQ(ReadFile("documents/26/an26.txt"), "not ours");
  std::filesystem::remove("EXPORT");
  WriteFile("EXPORT", "");
  EXPECT_EQ(manager.CreateExport(), 4);
}

}  // namespace
