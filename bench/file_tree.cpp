#include "file_tree.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <system_error>

namespace fs = std::filesystem;

namespace {

[[noreturn]] void Fail(const std::string& file) {
  throw std::system_error(errno, std::generic_category(), file);
}

void WriteAll(int file, const char* bytes, std::size_t size, const std::string& name) {
  while (size > 0) {
    const ssize_t wrote = ::write(file, bytes, size);
    if (wrote < 0) Fail(name);
    bytes += wrote;
    size -= static_cast<std::size_t>(wrote);
  }
}

void WriteAndRename(const std::string& name, const std::string& bytes) {
  const std::string temporary = name + ".new";
  const int file = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (file < 0) Fail(temporary);
  WriteAll(file, bytes.data(), bytes.size(), temporary);
  if (::close(file) != 0 || ::rename(temporary.c_str(), name.c_str()) != 0) Fail(name);
}

// What is between the letters of a generated file's name and its extension.
std::string NodeOf(const fs::path& file) {
  const std::string stem = file.stem().string();
  const auto digits = std::find_if(stem.begin(), stem.end(), [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
  });
  return {digits, stem.end()};
}

}  // namespace

FileTree::FileTree(const std::string& folder) {
  std::map<std::string, std::shared_ptr<const std::string>> known;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    const std::string name = fs::relative(entry.path(), folder).string();
    if (entry.is_directory()) {
      folders_.push_back(name);
      continue;
    }
    std::ifstream file(entry.path(), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), {});
    auto& held = known[bytes];
    if (!held) held = std::make_shared<const std::string>(std::move(bytes));
    files_.push_back({name, held});
  }
}

void FileTree::Write(const std::string& folder) const {
  fs::create_directories(folder);
  for (const std::string& name : folders_) fs::create_directories(folder + "/" + name);
  for (const File& file : files_) WriteAndRename(folder + "/" + file.name, *file.bytes);
}

std::uint64_t FileTree::Bytes() const {
  std::uint64_t bytes = 0;
  for (const File& file : files_) bytes += file.bytes->size();
  return bytes;
}

void JoinByNode(const std::string& from, const std::string& to) {
  std::map<std::string, std::vector<fs::path>> nodes;
  for (const char* part : {"APDB", "MAP"}) {
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(from + "/" + part)) {
      if (entry.is_regular_file()) nodes[NodeOf(entry.path())].push_back(entry.path());
    }
  }
  std::vector<char> buffer(std::size_t{128} << 10);
  for (const auto& [node, files] : nodes) {
    const std::string name = to + "/" + node;
    const int out = ::open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (out < 0) Fail(name);
    for (const fs::path& file : files) {
      const int in = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
      if (in < 0) Fail(file.string());
      for (ssize_t got = 1; got > 0;) {
        got = ::read(in, buffer.data(), buffer.size());
        if (got < 0) Fail(file.string());
        WriteAll(out, buffer.data(), static_cast<std::size_t>(got), name);
      }
      ::close(in);
    }
    ::close(out);
  }
}
