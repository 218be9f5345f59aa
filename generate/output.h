// Putting generated files in place: reporting them, remembering their stamps, sharing their
// storage.
#pragma once

#include "core/operation.h"
#include "generate/collection/collection.h"
#include "platform/disk/output_file.h"
#include "platform/stamps/stamps.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace ncc {

// Bytes that several files hold, with what is known about them.
struct SharedBytes {
  std::string bytes;
  std::optional<KnownStamp> stamp;
  std::optional<Digest> digest;
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
// The same of a file that a collection has noted and that is not to be written.
void ReportNoted(const NetState& net, const std::string& path, std::uint32_t node,
                 std::uint64_t bytes);

void ReportFailure(const NetState& net, const std::string& path, std::uint32_t node,
                   const char* reason);

// Whether files are to appear where the generators are told to write; a collection may only ask.
inline bool WritesFiles(const NetState& net) {
  return net.collection == nullptr || !net.collection->WritesNothing();
}

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

// A file that a generator composes. Members throw FileError.
class ComposedFile {
 public:
  // Without a collection, which may find that the file need not be written, its place is tried
  // before anything is composed for it.
  ComposedFile(const NetState& net, const std::string& path, std::uint32_t node);

  void Append(std::string_view bytes) { file_.Append(bytes); }
  void Append(std::string&& bytes) { file_.Append(std::move(bytes)); }
  void AppendText(std::string_view text) { file_.AppendText(text); }
  const std::string& Contents() const { return file_.Contents(); }
  // Lets go of what was appended: for contents too large to keep.
  void FlushAndForget();

  // A list will have its stamp.
  void StampWhenDone() { is_stamped_ = true; }
  // The stamp of another file, which may be one that was composed but not written. `names` are
  // those of its folder. The file is stamped itself when it is done.
  std::uint32_t StampOf(const std::string& path, const FolderNames* names = nullptr);
  // The stamp of what was appended so far; with the same effect.
  std::uint32_t StampSoFar();

  // Puts it in place, unless a collection has no need of that, and tells the observer.
  void Finish();

 private:
  // Fetched once.
  const StampKey& Key();
  const std::optional<KnownStamp>& Stamp();
  bool IsOnlyNoted();

  const NetState& net_;
  const std::string& path_;
  std::uint32_t node_;
  OutputFile file_;
  bool is_stamped_ = false;
  std::optional<StampKey> key_;
  std::optional<KnownStamp> stamp_;
  std::optional<Digester> forgotten_;  // of what was let go
  std::uint64_t forgotten_bytes_ = 0;
};

// Writes a file: compose(file) appends its contents. Throws FileError after telling the observer.
template <class Compose>
void WriteFile(const NetState& net, const std::string& path, std::uint32_t node, Compose compose) {
  ReportingFailure(net, path, node, [&] {
    ComposedFile file(net, path, node);
    compose(file);
    file.Finish();
  });
}

// A file that a stamp list will name; the line ends are in the bytes.
void WriteStamped(const NetState& net, const std::string& path, std::uint32_t node,
                  std::string bytes);
// The same of bytes that other files hold too.
void WriteShared(const NetState& net, const std::string& path, std::uint32_t node,
                 SharedBytes& content);

}  // namespace ncc
