#include "exchange_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text = TextOf(data, size);
  ncc::ImportedNet net;
  RequireFault(ncc::ReadDeps(text, kNet, net), text);
  RequireRecords(net.deps);
  Require(net.deps_at_node.size() + net.deps_at_group.size() == net.deps.Size());
  return 0;
}
