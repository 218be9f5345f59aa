#include "exchange.h"

#include "outputs.h"

#include <array>
#include <cstdio>

namespace {

std::string Pairs(const std::list<tag_WORD4>& list) {
  std::string text;
  for (const tag_WORD4& pair : list)
    text += " " + std::to_string(pair.first) + "/" + std::to_string(pair.second);
  return text;
}

std::string Memberships(const CImportNet& view, unsigned long user) {
  const std::list<CColAb>* own = view.GetListColAb(user);
  std::list<CColAb> list;
  EXPECT_EQ(view.GetListColAb(user, list), 0);
  EXPECT_EQ(list.size(), own == nullptr ? 0U : own->size());
  std::string text;
  for (const CColAb& membership : list) {
    text += " " + std::to_string(membership.id.dep) + "@" + std::to_string(membership.id.node);
    if (membership.kind != 0) text += "!";
  }
  return text;
}

std::string Head(const char* kind, const CNCCEntry& entry) {
  return std::string(kind) + " " + entry.name + " " + std::to_string(entry.id) + " t" +
         std::to_string(entry.type);
}

std::string DescribeNode(const char* kind, const CNNEntry& node) {
  std::array<char, 100> text{};
  std::snprintf(text.data(), text.size(), " n%u f%X a%u c%u s%u b%u v%u", unsigned{node.number},
                unsigned{node.flags}, node.attribute, unsigned{node.ap_count},
                unsigned{node.server_id}, node.settings, unsigned{node.value});
  return Head(kind, node) + text.data();
}

std::string DescribeRelations(const CImportNet& view, const CNNEntry& node) {
  const unsigned long id = node.id;
  const auto users = [&](auto& list) { return view.GetListAbFromNN(id, list); };
  const auto deps = [&](auto& list) { return view.GetListDepFromNN(id, list); };
  const auto groups = [&](auto& list) { return view.GetListNGrpFromNN(id, list); };
  return " | users" + Answer<CABEntry>(users) + " | Deps" + Answer<CDepEntry>(deps) + " | groups" +
         Answer<CNGrpEntry>(groups);
}

}  // namespace

SetTexts SampleSet() {
  SetTexts set = LoadGolden("exchange_set.txt");
  set.erase("view");
  set.erase("rules");
  return set;
}

std::string SetFileName(const std::string& file, unsigned long net) {
  return file + std::to_string(net) + (file == "gt" ? ".way" : ".txt");
}

void PutSet(const SetTexts& set, unsigned long net, const std::string& folder) {
  for (const auto& [file, text] : set) WriteFile(folder + "/" + SetFileName(file, net), text);
}

std::string DescribeView(const CImportNet& view) {
  unsigned long second = 0;
  unsigned long first = 0;
  std::array<char, 52> name{};
  EXPECT_EQ(view.GetGateInfo(second, first, name.data()), 0);
  std::string text = "net " + std::to_string(view.GetNet()) + " gate " + std::to_string(first) +
                     " " + std::to_string(second) + " " + name.data() + "\n";
  for (const CABEntry& user : *view.GetListAb()) {
    text += Head("user", user) + " " + std::to_string(user.primary.dep) + "@" +
            std::to_string(user.primary.node) + " |" + Memberships(view, user.id) + "\n";
  }
  for (const CNNEntry& server : *view.GetListSm()) {
    const auto aps = [&](auto& list) { return view.GetListApFromSrv(server.id, list); };
    text += DescribeNode("server", server) + DescribeRelations(view, server) + " | APs" +
            Answer<CNNEntry>(aps) + "\n";
  }
  for (const CNNEntry& ap : *view.GetListAp())
    text += DescribeNode("AP", ap) + DescribeRelations(view, ap) + "\n";
  for (const CNNEntry& node : *view.GetListNN()) text += DescribeNode("node", node) + "\n";
  for (const CNGrpEntry& group : *view.GetListNGrp()) {
    const auto nodes = [&](auto& list) { return view.GetListNNFromNGrp(group.id, list); };
    const auto deps = [&](auto& list) { return view.GetListDepFromNGrp(group.id, list); };
    text += Head("group", group) + " n" + std::to_string(group.number) + " | nodes" +
            Answer<CNNEntry>(nodes) + " | Deps" + Answer<CDepEntry>(deps) + "\n";
  }
  for (const CDepEntry& dep : *view.GetListDep()) {
    const auto objects = [&](auto& list) { return view.GetListNOFromDep(dep.id, list); };
    const auto users = [&](auto& list) { return view.GetListAbFromDep(dep.id, list); };
    text += Head("Dep", dep) + " home " + std::to_string(dep.ngrp_id) + " k" +
            std::to_string(dep.kind) + " v" + std::to_string(dep.value) + " | objects" +
            Answer<CNCCEntry>(objects) + " | users" + Answer<CABEntry>(users) + "\n";
  }
  std::list<tag_WORD4> linked;
  EXPECT_EQ(view.GetListDepInLinks(linked), 0);
  for (const tag_WORD4& dep : linked) {
    std::list<tag_WORD4> links;
    EXPECT_EQ(view.GetListLinkedDep(dep, links), 0);
    EXPECT_NE(view.GetListLinkedDep(dep), nullptr);
    text += "link" + Pairs({dep}) + " |" + Pairs(links) + "\n";
  }
  return text;
}
