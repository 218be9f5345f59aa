// Reading the fields of one line of an exchange file, as the scan formats read them: blanks before
// a number or a name are skipped, before a letter only where it is said.
#pragma once

#include "nccnet/records.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ncc {

inline constexpr const char* kForeignNet = "a network number is not that of the set";

// Remembers its first failure; after it every field is empty.
class LineScanner {
 public:
  explicit LineScanner(std::string_view line)
      : start_(line.data()), at_(line.data()), end_(line.data() + line.size()) {}

  // Whether the byte separates fields.
  static bool Separates(char c) { return ClassOf(c) == kBlank; }

  bool IsBlank() const {
    const char* at = at_;
    while (at != end_ && Separates(*at)) ++at;
    return at == end_;
  }

  void SkipBlanks() {
    while (at_ != end_ && Separates(*at_)) ++at_;
  }

  // "%4X": one to four digits.
  std::uint32_t Hex() {
    if (at_ != end_ && *at_ == ' ') ++at_;
    if (end_ - at_ >= 4) {
      const std::uint32_t digits[] = {ClassOf(at_[0]), ClassOf(at_[1]), ClassOf(at_[2]),
                                      ClassOf(at_[3])};
      if ((digits[0] | digits[1] | digits[2] | digits[3]) < 16) {
        at_ += 4;
        return digits[0] << 12 | digits[1] << 8 | digits[2] << 4 | digits[3];
      }
    }
    return SlowHex();
  }

  // A network's number and an identifier in it.
  std::uint32_t ObjectOf(unsigned long net) {
    if (Hex() != net) is_foreign_ = true;
    return Hex();
  }

  // "%u"
  std::uint32_t Decimal() {
    SkipBlanks();
    std::uint64_t value = 0;
    const char* const first = at_;
    while (at_ != end_ && ClassOf(*at_) < 10) {
      value = value * 10 + Digit();
      if (value > UINT32_MAX) return Fail("a number is too large", first);
    }
    return at_ != first ? static_cast<std::uint32_t>(value) : Fail("a number is missing");
  }

  // The same of a number that nobody keeps: any sign and any number of digits.
  void SkipNumber() {
    SkipBlanks();
    if (at_ != end_ && (*at_ == '-' || *at_ == '+')) ++at_;
    const char* const first = at_;
    while (at_ != end_ && ClassOf(*at_) < 10) ++at_;
    if (at_ == first) Fail("a number is missing");
  }

  // "%51s"
  std::string_view Name() {
    SkipBlanks();
    const char* const first = at_;
    while (at_ != end_ && ClassOf(*at_) <= kOther) ++at_;
    const auto length = static_cast<std::size_t>(at_ - first);
    if (at_ != end_ && *at_ == '\0') {
      Fail("a name holds a zero byte");
    } else if (length == 0) {
      Fail("a name is missing");
    } else if (length > kMaxNameLength) {
      Fail("a name is longer than 51 bytes", first);
    }
    if (failure_ != nullptr) return {};
    return {first, length};
  }

  // "%c"
  char Letter() {
    if (at_ != end_) return *at_++;
    Fail("a letter is missing");
    return '\0';
  }

  // " %c"
  char NextLetter() {
    SkipBlanks();
    return Letter();
  }

  // Null when every field was there, nothing follows the last one and each object is of its
  // network; else what is wrong.
  const char* Finish() {
    SkipBlanks();
    if (failure_ == nullptr && at_ != end_) Fail("something follows the last field");
    return failure_ == nullptr && is_foreign_ ? kForeignNet : failure_;
  }

  bool HasFailed() const { return failure_ != nullptr; }
  // Where it failed, from 1.
  std::size_t Column() const { return static_cast<std::size_t>(failed_at_ - start_) + 1; }

 private:
  // The value of a hexadecimal digit, or one of these.
  enum : std::uint8_t { kOther = 16, kBlank, kZero };

  static constexpr std::array<std::uint8_t, 256> MakeClasses() {
    std::array<std::uint8_t, 256> classes{};
    classes.fill(kOther);
    for (std::uint8_t i = 0; i < 10; ++i) classes[std::size_t{'0'} + i] = i;
    for (std::uint8_t i = 10; i < 16; ++i) {
      classes[std::size_t{'A'} + i - 10] = i;
      classes[std::size_t{'a'} + i - 10] = i;
    }
    for (const char blank : {' ', '\t', '\n', '\v', '\f', '\r'}) {
      classes[static_cast<unsigned char>(blank)] = kBlank;
    }
    classes[0] = kZero;
    return classes;
  }

  static std::uint8_t ClassOf(char c) {
    static constexpr std::array<std::uint8_t, 256> kClasses = MakeClasses();
    return kClasses[static_cast<unsigned char>(c)];
  }

  std::uint32_t SlowHex() {
    SkipBlanks();
    std::uint32_t value = 0;
    int digits = 0;
    for (; digits < 4 && at_ != end_ && ClassOf(*at_) < 16; ++digits) value = value * 16 + Digit();
    return digits != 0 ? value : Fail("a hexadecimal number is missing");
  }

  std::uint32_t Digit() { return ClassOf(*at_++); }

  std::uint32_t Fail(const char* why) { return Fail(why, at_); }
  std::uint32_t Fail(const char* why, const char* where) {
    if (failure_ == nullptr) {
      failure_ = why;
      failed_at_ = where;
    }
    at_ = end_;
    return 0;
  }

  const char* start_;
  const char* at_;
  const char* end_;
  const char* failure_ = nullptr;
  const char* failed_at_ = nullptr;
  bool is_foreign_ = false;
};

}  // namespace ncc
