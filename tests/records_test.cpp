#include "nccnet/records.h"

#include <array>
#include <cstring>
#include <new>
#include <string>

#include <gtest/gtest.h>

namespace {

template <class Record>
std::string Bytes(const Record& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

std::string Padded(std::string bytes, std::size_t size) {
  bytes.resize(size, '\0');
  return bytes;
}

// Makes the compiler assume that the memory was read and written here.
void Touch(void* memory) { asm volatile("" : : "g"(memory) : "memory"); }

// Storage filled with one byte, in which records are then constructed.
template <class Record>
class FilledStorage {
 public:
  explicit FilledStorage(char fill) {
    std::memset(bytes_.data(), fill, bytes_.size());
    Touch(bytes_.data());
  }
  template <class... Arguments>
  std::string Construct(const Arguments&... arguments) {
    new (bytes_.data()) Record(arguments...);
    Touch(bytes_.data());
    return {bytes_.data(), bytes_.size()};
  }

 private:
  alignas(Record) std::array<char, sizeof(Record)> bytes_;
};

TEST(Records, DefaultsFillTheWholeImage) {
  EXPECT_EQ(FilledStorage<CNCCEntry>('x').Construct(), Padded("", 56) + "\xFF");

  std::string node = Padded(Padded("", 56) + "\xFF", 77);
  node[65] = 1;
  node[74] = 2;
  node[75] = 10;
  EXPECT_EQ(FilledStorage<CNNEntry>('x').Construct(), node);

  std::string preferences = Padded("", 28);
  preferences[4] = 1;
  preferences[13] = 1;
  EXPECT_EQ(Bytes(CNetPref()), preferences);
}

TEST(Records, FieldsStandLittleEndianAtTheirPlaces) {
  CNNEntry node;
  std::strcpy(node.name, "N");
  node.id = 0x04030201;
  node.type = 5;
  node.number = 0x09080706;
  node.flags = 0x0D0C0B0A;
  node.attribute = 0x0E;
  node.ap_count = 0x1211100F;
  node.server_id = 0x16151413;
  node.settings = 0x17;
  node.value = 0x1918;
  std::string image = Padded("N", 52);
  for (char byte = 1; byte <= 0x19; ++byte) image += byte;
  EXPECT_EQ(Bytes(node), image);

  CNetPref pref;
  pref.net_number = 0x04030201;
  pref.next_id = 0x08070605;
  pref.server_counter = 0x0C0B0A09;
  pref.byte_12 = 0x0D;
  pref.node_settings = 0x0E;
  pref.value_14 = 0x1211100F;
  pref.byte_18 = 0x13;
  pref.byte_19 = 0x14;
  pref.value_20 = 0x18171615;
  pref.ngrp_counter = 0x1C1B1A19;
  std::string block;
  for (char byte = 1; byte <= 0x1C; ++byte) block += byte;
  EXPECT_EQ(Bytes(pref), block);
}

TEST(Records, CopyConstructionKeepsTheOldBytesBehindTheName) {
  CNNEntry source;
  std::memcpy(source.name, "A\0secret", 8);
  source.id = 7;
  source.flags = 0x44;
  source.value = 3;
  std::string expected = Bytes(source);
  expected.replace(2, 50, 50, 'x');
  EXPECT_EQ(FilledStorage<CNNEntry>('x').Construct(source), expected);

  CNCCEntry head;
  std::strcpy(head.name, std::string(kMaxNameLength, 'n').c_str());
  head.type = kTypeServer;
  EXPECT_EQ(FilledStorage<CNCCEntry>('x').Construct(head), Bytes(head));
}

TEST(Records, AssignmentCopiesEveryByte) {
  CNNEntry source;
  std::memcpy(source.name, "A\0secret", 8);
  source.type = kTypeAP;
  CNNEntry target;
  std::strcpy(target.name, "ABCDEF");
  target = source;
  EXPECT_EQ(Bytes(target), Bytes(source));
}

}  // namespace
