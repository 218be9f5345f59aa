#include "platform/storage/log_file.h"

#include "platform/storage/database_files.h"
#include "platform/text/bytes.h"

#include <algorithm>

namespace ncc {
namespace {

constexpr std::size_t kFrameHeadSize = 24;
constexpr std::size_t kSaltsOffset = 16;
constexpr std::size_t kSaltsSize = 8;
constexpr std::uint32_t kMagic = 0x377F0682;  // the last bit tells the byte order of the sums
constexpr std::uint32_t kVersion = 3007000;

bool IsBlank(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) { return c == 0; });
}

}  // namespace

struct LogFile::Sum {
  std::uint32_t first = 0;
  std::uint32_t second = 0;
  friend bool operator==(const Sum&, const Sum&) = default;

  void Add(std::string_view bytes, bool big_endian) {
    const auto number = big_endian ? BigEndianU32At : U32At;
    for (std::size_t at = 0; at + 8 <= bytes.size(); at += 8) {
      first += number(bytes, at) + second;
      second += number(bytes, at + 4) + first;
    }
  }
};

struct LogFile::Frame {
  std::string_view head;
  std::string_view page;

  std::uint32_t Number() const { return BigEndianU32At(head, 0); }
  std::uint32_t PagesOfDatabase() const { return BigEndianU32At(head, 4); }
  bool EndsCommit() const { return PagesOfDatabase() != 0; }
  std::string_view Salts() const { return head.substr(8, kSaltsSize); }
  Sum Stored() const { return {BigEndianU32At(head, 16), BigEndianU32At(head, 20)}; }
};

LogFile::LogFile(const std::string& file) : bytes_(ReadContents(file)) {
  if (ReadHead()) {
    ReadCommits();
  } else {
    // The head is flushed before the first frame is written, and a new log is filled with zeros.
    has_gap_ = !IsBlank(bytes_);
  }
}

bool LogFile::ReadHead() {
  if (bytes_.size() < kHeadSize) return false;
  const std::uint32_t magic = BigEndianU32At(bytes_, 0);
  const std::uint32_t page_size = BigEndianU32At(bytes_, 8);
  const bool is_power = (page_size & (page_size - 1)) == 0;
  big_endian_sums_ = (magic & 1) != 0;
  Sum sum;
  sum.Add(Head().substr(0, 24), big_endian_sums_);
  if ((magic & ~1U) != kMagic || BigEndianU32At(bytes_, 4) != kVersion || page_size < 512 ||
      page_size > 65536 || !is_power ||
      sum != Sum{BigEndianU32At(bytes_, 24), BigEndianU32At(bytes_, 28)}) {
    return false;
  }
  page_size_ = page_size;
  return true;
}

std::size_t LogFile::FrameSize() const { return kFrameHeadSize + page_size_; }

bool LogFile::HasFrame(std::size_t index) const {
  return bytes_.size() >= kHeadSize + (index + 1) * FrameSize() &&
         FrameAt(index).Salts() == Head().substr(kSaltsOffset, kSaltsSize);
}

LogFile::Frame LogFile::FrameAt(std::size_t index) const {
  const auto bytes = std::string_view(bytes_).substr(kHeadSize + index * FrameSize(), FrameSize());
  return {bytes.substr(0, kFrameHeadSize), bytes.substr(kFrameHeadSize)};
}

LogFile::Sum LogFile::SumOfFrame(Sum before, const Frame& frame) const {
  before.Add(frame.head.substr(0, 8), big_endian_sums_);
  before.Add(frame.page, big_endian_sums_);
  return before;
}

void LogFile::ReadCommits() {
  Sum sum{BigEndianU32At(bytes_, 24), BigEndianU32At(bytes_, 28)};
  std::size_t index = 0;
  for (; HasFrame(index); ++index) {
    const Frame frame = FrameAt(index);
    sum = SumOfFrame(sum, frame);
    if (frame.Number() == 0 || sum != frame.Stored()) break;
    if (!frame.EndsCommit()) continue;
    committed_frames_ = index + 1;
    pages_ = frame.PagesOfDatabase();
  }
  has_gap_ = FindGap(index);
}

// The end of a commit that another frame continues was on stable storage. Remains of commits that
// failed do not continue one another.
bool LogFile::FindGap(std::size_t first_unread) const {
  const std::size_t last = (bytes_.size() - kHeadSize) / FrameSize();
  for (std::size_t index = first_unread; index + 1 < last; ++index) {
    if (!HasFrame(index) || !HasFrame(index + 1)) continue;
    const Frame frame = FrameAt(index);
    const Frame next = FrameAt(index + 1);
    if (frame.EndsCommit() && SumOfFrame(frame.Stored(), next) == next.Stored()) return true;
  }
  return false;
}

std::uint64_t LogFile::SizeOfCommits() const {
  return HasHead() ? kHeadSize + committed_frames_ * FrameSize() : 0;
}

void LogFile::ForEachPage(const std::function<void(std::uint32_t, std::string_view)>& visit) const {
  for (std::size_t index = 0; index < committed_frames_; ++index) {
    const Frame frame = FrameAt(index);
    visit(frame.Number(), frame.page);
  }
}

}  // namespace ncc
