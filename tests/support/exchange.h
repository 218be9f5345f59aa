// Sets of exchange files and views of them.
#pragma once

#include "nccnet/import_net.h"
#include "scratch.h"

#include <filesystem>
#include <list>
#include <map>
#include <string>

#include <gtest/gtest.h>

// A view whose lifecycle is open.
class OpenView : public _CImportNet {
 public:
  explicit OpenView(const char* path = nullptr) : _CImportNet(path) {}
  using _CImportNet::Load;
  using _CImportNet::LoadNet;
  using _CImportNet::UnLoad;
  using _CImportNet::UnLock;
};

// Texts of the files by "gt", "an", "nn", "bc", "un", "ul", "uc", "ng".
using SetTexts = std::map<std::string, std::string>;

// Network 5 with at least one of everything; its names and identifiers stand in exchange.cpp.
SetTexts SampleSet();
void PutSet(const SetTexts& set, unsigned long net, const std::string& folder = "DB/IMPORT");
std::string SetFileName(const std::string& file, unsigned long net);

// Every record of a view and every relation of every record, one line each.
std::string DescribeView(const CImportNet& view);

// The identifiers that a query appends to a list which holds one record before.
template <class Entry, class Query>
std::string Answer(Query query) {
  std::list<Entry> list(1);
  const int result = query(list);
  std::string text = result != 0 ? std::to_string(result) + ":" : "";
  list.pop_front();
  for (const Entry& entry : list) text += " " + std::to_string(entry.id);
  return text;
}

// The current directory is a new folder with an import folder in it.
class ExchangeTest : public ::testing::Test {
 protected:
  ExchangeTest() {
    std::filesystem::current_path(scratch_.Path());
    std::filesystem::create_directories("DB/IMPORT");
  }
  ~ExchangeTest() override { std::filesystem::current_path(before_); }

  std::filesystem::path before_ = std::filesystem::current_path();
  ScratchFolder scratch_;
};
