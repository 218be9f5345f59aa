// The readers of the eight exchange files: text in, records out. Each stops at the first bad line
// and leaves what it read before.
#pragma once

#include "exchange/read/imported_net.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ncc {

struct LineFault {
  std::size_t line;  // from 1
  std::string reason;
};

// Nothing when the text is good.
using ReadResult = std::optional<LineFault>;

using FileReader = ReadResult (*)(std::string_view text, unsigned long net, ImportedNet& into);

ReadResult ReadGate(std::string_view text, unsigned long net, ImportedNet& into);
ReadResult ReadUsers(std::string_view text, unsigned long net, ImportedNet& into);
// Attaches the APs, too.
ReadResult ReadNodes(std::string_view text, unsigned long net, ImportedNet& into);
ReadResult ReadApplications(std::string_view text, unsigned long net, ImportedNet& into);
ReadResult ReadDeps(std::string_view text, unsigned long net, ImportedNet& into);
// Sets the users' primary collectives.
ReadResult ReadPrimaries(std::string_view text, unsigned long net, ImportedNet& into);
ReadResult ReadUserLinks(std::string_view text, unsigned long net, ImportedNet& into);
ReadResult ReadDepLinks(std::string_view text, unsigned long net, ImportedNet& into);
ReadResult ReadGroupLinks(std::string_view text, unsigned long net, ImportedNet& into);

}  // namespace ncc
