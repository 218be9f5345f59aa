// Reading the log beside a data file without its engine: what it proves, and the pages that it
// holds.
//
// The log is a head of 32 bytes and frames, each a page behind a head of 24 bytes. All frames since
// the log was last begun anew carry the salts of its head, and the checksum of each continues that
// of the frame before. The last frame of a commit says how many pages the database has then. Frames
// of a commit are written only when the commit before them is on stable storage.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace ncc {

class LogFile {
 public:
  static constexpr std::size_t kHeadSize = 32;

  // Reads the file whole, if there is one. Throws StorageError.
  explicit LogFile(const std::string& file);

  // Whether two looks at a log found the same bytes.
  friend bool operator==(const LogFile& one, const LogFile& other) {
    return one.bytes_ == other.bytes_;
  }

  bool IsEmpty() const { return bytes_.empty(); }
  // Without a head nothing was ever committed to the log, unless it is damaged.
  bool HasHead() const { return page_size_ != 0; }
  std::string_view Head() const { return std::string_view(bytes_).substr(0, kHeadSize); }
  std::uint32_t PageSize() const { return page_size_; }

  // Whether commits that were on stable storage follow what cannot be read. What an end of power
  // leaves of the last commit is no gap.
  bool HasGap() const { return has_gap_; }

  // Up to the end of the last commit that can be read.
  std::uint64_t SizeOfCommits() const;
  // How many pages the database has after that; 0 when there is no commit.
  std::uint32_t PagesOfDatabase() const { return pages_; }
  // Calls visit(number, page) for the pages of all these commits, in the order of writing.
  void ForEachPage(const std::function<void(std::uint32_t, std::string_view)>& visit) const;

 private:
  struct Frame;
  struct Sum;

  bool ReadHead();
  void ReadCommits();
  std::size_t FrameSize() const;
  bool HasFrame(std::size_t index) const;
  Frame FrameAt(std::size_t index) const;
  Sum SumOfFrame(Sum before, const Frame& frame) const;
  bool FindGap(std::size_t first_unread) const;

  std::string bytes_;
  std::uint32_t page_size_ = 0;
  bool big_endian_sums_ = false;
  std::size_t committed_frames_ = 0;
  std::uint32_t pages_ = 0;
  bool has_gap_ = false;
};

}  // namespace ncc
