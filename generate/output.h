// Putting generated files in place: reporting them, remembering their stamps, sharing their
// storage.
#pragma once

#include "core/operation.h"
#include "platform/disk/output_file.h"
#include "platform/stamps/stamps.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ncc {

// Bytes that several files hold, with what is known about them.
struct SharedBytes {
  std::string bytes;
  std::optional<KnownStamp> stamp;
  std::string twin;  // a file that holds them; empty when there is none yet
  FileIdentity twin_identity;
};

// The folder argument of a generator as its prefix. Throws Refusal for a null pointer.
std::string Prefix(const char* folder);
// The same with a separator at its end. Throws Refusal also for an empty text.
std::string Root(const char* folder);

// Tells the observer what became of a file.
void ReportFile(const NetState& net, const std::string& path, std::uint32_t node,
                std::uint64_t bytes, bool shared = false);

void ReportFailure(const NetState& net, const std::string& path, std::uint32_t node,
                   const char* reason);

// Runs a step towards a file or folder; what makes it fail goes on after telling the observer.
template <class Step>
void ReportingFailure(const NetState& net, const std::string& path, std::uint32_t node, Step step) {
  try {
    step();
  } catch (const FileError& error) {
    ReportFailure(net, path, node, error.what());
    throw;
  } catch (const std::bad_alloc&) {
    ReportFailure(net, path, node, "out of memory");
    throw;
  }
}

// Remembers the stamp of a file that was put in place; `key` is the one in force.
void RememberStampOf(const OutputFile& file, const StampKey& key);

// Writes a file: compose(file) appends its contents. Throws FileError after telling the observer.
template <class Compose>
void WriteFile(const NetState& net, const std::string& path, std::uint32_t node, Compose compose) {
  ReportingFailure(net, path, node, [&] {
    OutputFile file(path);
    compose(file);
    if (!file.IsInPlace()) file.Commit();
    ReportFile(net, path, node, file.Size());
  });
}

// A file that a stamp list will name; the line ends are in the bytes.
void WriteStamped(const NetState& net, const std::string& path, std::uint32_t node,
                  std::string bytes);
// The same of bytes that other files hold too.
void WriteShared(const NetState& net, const std::string& path, std::uint32_t node,
                 SharedBytes& content);

// The stamp of what was appended to a file so far. Throws FileError.
std::uint32_t StampSoFar(OutputFile& file, const StampKey& key);

}  // namespace ncc
