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

// The bytes of a record that is constructed where every byte was an "x".
template <class Record, class... Arguments>
std::string Construct(const Arguments&... arguments) {
  alignas(Record) std::array<char, sizeof(Record)> bytes;
  bytes.fill('x');
  Touch(bytes.data());
  new (bytes.data()) Record(arguments...);
  Touch(bytes.data());
  return {bytes.data(), bytes.size()};
}

TEST(Records, DefaultsFillTheWholeImage) {
  EXPECT_EQ(Construct<CNCCEntry>(), Padded("", 56) + "\xFF");

  std::string node = Padded(Padded("", 56) + "\xFF", 77);
  node[65] = 1;
  node[74] = 2;
  node[75] = 10;
  EXPECT_EQ(Construct<CNNEntry>(), node);

  std::string preferences = Padded("", 28);
  preferences[4] = 1;
  preferences[13] = 1;
  EXPECT_EQ(Bytes(CNetPref()), preferences);
}

TEST(Records, CopyConstructionKeepsTheOldBytesBehindTheName) {
  CNNEntry source;
  std::memcpy(source.name, "A\0secret", 8);
  source.id = 7;
  source.flags = 0x44;
  source.value = 3;
  std::string expected = Bytes(source);
  expected.replace(2, 50, 50, 'x');
  EXPECT_EQ(Construct<CNNEntry>(source), expected);

  CNCCEntry head;
  std::strcpy(head.name, std::string(kMaxNameLength, 'n').c_str());
  head.type = kTypeServer;
  EXPECT_EQ(Construct<CNCCEntry>(head), Bytes(head));
}

}  // namespace
