#include "exchange_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = TextOf(data, size);
  ncc::ImportedNet net;
  RequireFault(ncc::ReadUsers(text, kNet, net), text);
  RequireRecords(net.users);
  return 0;
}
