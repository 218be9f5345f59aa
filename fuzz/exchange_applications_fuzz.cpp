#include "exchange_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = TextOf(data, size);
  ncc::ImportedNet net;
  ReadSample(net);
  RequireFault(ncc::ReadApplications(text, kNet, net), text);
  for (const CNNEntry& ap : net.aps.List()) Require(ap.flags < 1U << 17);
  return 0;
}
