// The names of the eight files of a set.
#pragma once

#include <string>
#include <string_view>

namespace ncc {

enum class ExchangeFile {
  kGate,            // "gt%u.way"
  kUsers,           // "an%u.txt"
  kNodes,           // "nn%u.txt"
  kApplications,    // "bc%u.txt"
  kDeps,            // "un%u.txt"
  kUserLinks,       // "ul%u.txt"
  kDepLinks,        // "uc%u.txt"
  kNodeGroupLinks,  // "ng%u.txt"
};

// In the order in which a set is read.
inline constexpr ExchangeFile kExchangeFiles[] = {
    ExchangeFile::kGate,         ExchangeFile::kUsers,         ExchangeFile::kNodes,
    ExchangeFile::kApplications, ExchangeFile::kDeps,          ExchangeFile::kUserLinks,
    ExchangeFile::kDepLinks,     ExchangeFile::kNodeGroupLinks};

std::string ExchangeFileName(ExchangeFile file, unsigned long net);

// Whether a directory search for gateway files finds the name: "gt*.way" in any letter case.
bool LooksLikeGateFile(std::string_view name);

// The network of a gateway file's name in any letter case; 0 when it names none.
unsigned long NetOfGateFile(std::string_view name);

}  // namespace ncc
