#include "exchange/file_names.h"

#include "platform/text/ascii_fold.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <system_error>

namespace ncc {
namespace {

constexpr std::string_view kGatePrefix = "gt";
constexpr std::string_view kGateSuffix = ".way";

}  // namespace

std::string ExchangeFileName(ExchangeFile file, unsigned long net) {
  constexpr const char* kPrefixes[] = {"gt", "an", "nn", "bc", "un", "ul", "uc", "ng"};
  return kPrefixes[static_cast<std::size_t>(file)] + std::to_string(net) +
         (file == ExchangeFile::kGate ? ".way" : ".txt");
}

bool LooksLikeGateFile(std::string_view name) {
  return name.size() >= kGatePrefix.size() + kGateSuffix.size() &&
         EqualFolded(name.substr(0, kGatePrefix.size()), kGatePrefix) &&
         EqualFolded(name.substr(name.size() - kGateSuffix.size()), kGateSuffix);
}

unsigned long NetOfGateFile(std::string_view name) {
  if (!LooksLikeGateFile(name)) return 0;
  name.remove_prefix(kGatePrefix.size());
  name.remove_suffix(kGateSuffix.size());
  std::uint32_t net = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), net);
  return error == std::errc() && end == name.data() + name.size() ? net : 0;
}

}  // namespace ncc
