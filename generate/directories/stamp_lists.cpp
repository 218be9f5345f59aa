// Stamps of files, and the lists of stamps that go with a node's directory files: a line
// "NAME=STAMP\n" a file, the last one of the list itself as it stood before that line.

#include "core/last_error.h"
#include "generate/directories/directory_files.h"
#include "generate/file_names.h"
#include "generate/output.h"

#include <algorithm>
#include <vector>

using namespace ncc;

namespace {

// Writes the list of these files, appends its own line, and enters it into the journal.
void WriteStampList(Generation& run, const std::string& folder, const std::string& path,
                    std::uint32_t node, const std::vector<std::string>& files) {
  WriteFile(run.Net(), path, node, [&](ComposedFile& list) {
    for (const std::string& file : files)
      list.AppendText(StampLine(file, list.StampOf(folder + file)));
    list.AppendText(StampLine(path, list.StampSoFar()));
  });
  run.EnterIntoJournal(path, node);
}

// 0, and the last error says why, when it cannot be stamped.
std::uint32_t StampOrZero(const char* path) noexcept {
  std::uint32_t stamp = 0;
  Attempt([&] { stamp = StampKey().OfFile(path); });
  return stamp;
}

}  // namespace

void CNCCNet::GetOnlyImito(const char* path, char* out) {
  if (out == nullptr) return;
  const std::string digits = StampDigits(path != nullptr ? StampOrZero(path) : 0);
  *std::copy(digits.begin(), digits.end(), out) = '\0';
}

void CNCCNet::GetImito(const char* path, char* out) {
  if (path == nullptr || out == nullptr) return;
  *PutStampLine(path, StampOrZero(path), out) = '\0';
}

namespace ncc {

std::vector<std::string> StampedOfAp(std::uint32_t ap) {
  return {"N\\" + HexName("apn", ap, ".txt"), "U\\" + HexName("apu", ap, ".txt"),
          "A\\" + HexName("apa", ap, ".txt"), "L\\" + HexName("apl", ap, ".txt"),
          "T\\" + HexName("node", ap, ".tun")};
}

std::vector<std::string> StampedOfServer(std::uint32_t server) {
  return {HexName("apn", server, ".txt"), HexName("apa", server, ".txt"),
          ServerName(server, ".map"), ServerName(server, ".tun")};
}

void WriteApStampList(Generation& run, const std::string& folder, std::uint32_t ap) {
  const std::string path = kApStampList.Path(run.Net(), folder, ap);
  ReportingFailure(run.Net(), path, ap, [&] { RefuseLinks(folder, "R\\"); });
  WriteStampList(run, folder, path, ap, StampedOfAp(ap));
}

void WriteServerStampList(Generation& run, const std::string& folder, std::uint32_t server) {
  WriteStampList(run, folder, kServerStampList.Path(run.Net(), folder, server), server,
                 StampedOfServer(server));
}

}  // namespace ncc
