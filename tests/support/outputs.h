// The network whose output files are stated byte for byte in golden/, and what compares them.
#pragma once

#include "memory_net.h"
#include "nccnet/nccnet.h"
#include "scratch.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

// ASCII, "\xHH" and the Russian letters of UTF-8.
std::string ToCodePage1251(const std::string& text);

// Bytes by path; the path is relative and separated by "/".
using Files = std::map<std::string, std::string>;

// What a file of golden/ states. Lines of the sections "== PATH..." are texts in UTF-8 that stand
// for code page 1251 and CR LF; "=x PATH" begins a binary file of tokens, which network_binary.txt
// explains. `known` are files that its tokens may refer to.
Files LoadGolden(const std::string& name, const Files& known = {});
// Both halves of the network's files; and those that hold stamps, as a keyed run writes them.
Files LoadNetworkFiles();
Files LoadStampedFiles();

// Puts the files below `prefix` into the current directory, with their folders.
void Put(const Files& files, const std::string& prefix = {});
void Touch(const std::vector<std::string>& paths);
Files FilesBelow(const std::string& folder);
Files Only(const Files& files, const std::string& prefix);
std::vector<std::string> Names(const Files& files);
// One line for each file that is missing, too much or different, and where it differs.
std::string Differences(const Files& expected, const Files& actual);

// Servers 9, 10, 11 (9 and 10 linked); APs C (NCC), D (KC), E under 9; F, 10, 1002F under 10. Group
// 11: E, 9, C, D with Deps 17, 15; group 12: 10, C, F with Dep 15; group 13: 11 with Dep 16; group
// 14: 1002F with Dep 18; AP 10 in none. Users 19 to 1C. All but the servers in hexadecimal.
void BuildOutputNetwork(CNCCNet& net);
const std::vector<std::string>& OutputApAddresses();

// That network in memory; the current directory is a new folder, no stamping key is in force.
class OutputTest : public ::testing::Test {
 protected:
  OutputTest();
  ~OutputTest() override;

  // Every kind of file into "out", in the order that the golden files state.
  void GenerateAll();

  std::filesystem::path before_ = std::filesystem::current_path();
  ScratchFolder scratch_;
  MemoryNet memory_;
  CNCCNet& net_ = memory_.Net();
};

// Stamps a file with its length, by its path alone; counts how often.
class LengthStamps : public CStampProvider {
 public:
  bool GetFixedKey(unsigned char key[32]) override;
  int FindFileImito(const char* path, const unsigned char key[32], std::uint32_t& stamp) override;

  bool has_key = true;
  bool fails = false;
  int files = 0;
};

// Puts a key file where only its owner can read it and its provider in force.
void UseKey(const std::string& key);
