// The least that any durable change costs.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <string>

// A file of which every block has been written before, so that a flush writes data alone.
class PreparedFile {
 public:
  explicit PreparedFile(const std::string& file)
      : descriptor_(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    for (off_t n = 0; n < kBlocks; ++n) WriteBlock();
    Check(::fsync(descriptor_) == 0);
  }
  ~PreparedFile() { ::close(descriptor_); }
  PreparedFile(const PreparedFile&) = delete;
  PreparedFile& operator=(const PreparedFile&) = delete;

  void OverwriteBlock() {
    WriteBlock();
    Check(::fdatasync(descriptor_) == 0);
  }

 private:
  static constexpr off_t kBlocks = 1024;

  static void Check(bool done) {
    if (!done) throw std::runtime_error("cannot write the prepared file");
  }
  void WriteBlock() {
    block_[0] = static_cast<char>(block_[0] + 1);
    const auto size = static_cast<off_t>(block_.size());
    Check(::pwrite(descriptor_, block_.data(), block_.size(), next_ * size) == size);
    next_ = (next_ + 1) % kBlocks;
  }

  const int descriptor_;
  std::array<char, 4096> block_{};
  off_t next_ = 0;
};
