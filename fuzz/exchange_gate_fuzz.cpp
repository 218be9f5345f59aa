#include "exchange_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = TextOf(data, size);
  ncc::ImportedNet net;
  const ncc::ReadResult result = ncc::ReadGate(text, kNet, net);
  RequireFault(result, text);
  Require(net.gate.name.back() == 0 && (result || net.gate.name.front() != 0));
  return 0;
}
