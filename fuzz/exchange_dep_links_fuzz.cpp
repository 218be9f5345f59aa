#include "exchange_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = TextOf(data, size);
  ncc::ImportedNet net;
  RequireFault(ncc::ReadDepLinks(text, kNet, net), text);
  for (const auto& [dep, links] : net.dep_links) Require(!links.empty());
  return 0;
}
