// What the generators share beside the files themselves: going on after a failure, folders, the
// journal.
#pragma once

#include "core/last_error.h"
#include "core/operation.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ncc {

// One call of generators. They go on after what fails; the generation keeps the first failure,
// without needing memory, until it becomes the last error.
class Generation {
 public:
  // `mode` is what the "0017" lines of node directories hold.
  explicit Generation(NetState& net, unsigned char mode = 0) : net_(net), mode_(mode) {}

  NetState& Net() const { return net_; }
  unsigned char Mode() const { return mode_; }

  // Runs body() as an operation. False, with the failure noted, when it was refused or failed.
  template <class Body>
  bool Run(Body body) {
    const bool done = ncc::Run(net_, body);
    if (!done) Note(LastErrorText());
    return done;
  }

  // The same for what make() gives; nothing when it was refused or failed.
  template <class Make>
  auto Obtain(Make make) {
    std::optional<decltype(make())> made;
    if (!Run([&] { made = make(); })) made.reset();
    return made;
  }

  // The path of a folder below the one that was named; nothing without that.
  std::optional<std::string> Path(const char* folder, std::string_view below);
  // Makes that folder too; nothing when it cannot be used, which the observer is told.
  std::optional<std::string> MakeFolder(const char* folder, std::string_view below,
                                        std::uint32_t node = 0);
  // Deletes the files of a folder whose names begin with `prefix`.
  void EmptyFolder(const std::string& folder, std::string_view prefix = "");

  // The progress callback, called under the lock between two nodes.
  void CallBetweenNodes();
  // Enters a file that was written into the journal; the observer hears of a failure.
  void EnterIntoJournal(const std::string& path, std::uint32_t node);

  // Takes over the failure of another one, if there is none yet.
  void Note(const Generation& other) noexcept { Note(other.failure_.data()); }
  // At the end: the first failure becomes the last error. Always true, as the result of most.
  bool Finish() const noexcept;

 private:
  void Note(std::string_view failure) noexcept;

  NetState& net_;
  unsigned char mode_;
  std::array<char, 512> failure_{};
};

}  // namespace ncc
