// The files of a set on the disk, and how a new set takes the place of the one before.
//
// A new set is written beside the old one, under names of its own. Its gateway file, the last,
// decides: from then on it is the set, and its files move to their names, the gateway file last.
// Who dies before has changed nothing; who dies after leaves a set that readers find in both
// places, and the next writer moves it on.
#pragma once

#include "exchange/file_names.h"
#include "platform/disk/files.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ncc {

struct ExchangeText {
  ExchangeFile file;
  std::string text;
};

// Puts a set into a folder, which is made when it is missing: all of its files, or none and the set
// that was there stays. The gateway file is the last of the texts. Throws FileError.
void PublishSet(const std::string& folder, unsigned long net,
                const std::array<ExchangeText, 8>& texts);

// The contents of a file of the set; nothing when it cannot be read. Throws FileError. `folder`
// ends in a separator.
std::optional<FileText> ReadSetFile(const std::string& folder, ExchangeFile file,
                                    unsigned long net);

// The gateway files of all sets in a folder, in the order in which the system lists them.
std::vector<std::string> GateFileNames(std::string_view folder);

// Which set lies in a folder. What was read between two equal ones is of one set.
struct SetState {
  bool is_moving = false;  // it is decided and not yet under its names
  std::optional<FileIdentity> gate;

  friend bool operator==(const SetState&, const SetState&) = default;
};
SetState StateOfSet(const std::string& folder, unsigned long net);

// Runs read() until what it has read is of one set; false when one set replaces the other too
// often.
template <class Read>
bool ReadOneSet(const std::string& folder, unsigned long net, Read read) {
  constexpr int kMostTries = 10;
  for (int tries = 0; tries < kMostTries; ++tries) {
    const SetState before = StateOfSet(folder, net);
    read();
    if (before == StateOfSet(folder, net)) return true;
  }
  return false;
}

}  // namespace ncc
