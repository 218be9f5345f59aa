#include "exchange_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = TextOf(data, size);
  ncc::ImportedGate gate;
  const ncc::ReadResult result = ncc::ReadGate(text, gate);
  RequireFault(result, text);
  Require(gate.name.back() == 0 && (result || gate.name.front() != 0));
  return 0;
}
