// The manifest, a text of lines of words that are parted by a blank; a path, the last word, may
// hold blanks:
//
//   nccnet-manifest 3
//   key KEY
//   revision REVISION
//   part PART REVISION UNIT ROWS OTHERS SETTING...
//   clears PART PATTERN
//   outside PART DIGEST NAME
//   file REVISION PART NODE BYTES SECONDS.NANOSECONDS INODE STAMP DIGEST PATH
//   package ...the same
//   gone ...the same
//   end LINES DIGEST STAMP
//
// The lines of files are ascending by path. The last line has the number of those before it, the
// SHA-256 of their bytes, and the stamp of itself up to there; "-" stands for a stamp that is not
// known.

#include "generate/collection/manifest.h"

#include "platform/disk/files.h"
#include "platform/disk/output_file.h"
#include "platform/stamps/stamps.h"
#include "platform/text/bytes.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace ncc {
namespace {

constexpr std::string_view kHead = "nccnet-manifest 3";
constexpr std::string_view kKindWords[] = {"file", "package", "gone"};  // in the order of Kind
constexpr std::string_view kNone = "-";
constexpr char kHexDigits[] = "0123456789abcdef";

void AppendDigest(std::string& text, const Digest& digest) {
  for (const unsigned char byte : digest) {
    text += kHexDigits[byte >> 4];
    text += kHexDigits[byte & 0xF];
  }
}

void AppendNumber(std::string& text, std::uint64_t number, int base = 10) {
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof(digits), number, base).ptr;
  text.append(digits, end);
}

void AppendFileLine(std::string& text, const CFileRecord& file) {
  text += kKindWords[static_cast<std::size_t>(file.kind)];
  text += ' ';
  AppendNumber(text, file.revision);
  text += ' ';
  text += file.part;
  for (const std::uint64_t number : {std::uint64_t{file.node}, file.bytes}) {
    text += ' ';
    AppendNumber(text, number);
  }
  text += ' ';
  if (file.seconds < 0) text += '-';
  AppendNumber(text, static_cast<std::uint64_t>(file.seconds < 0 ? -file.seconds : file.seconds));
  text += '.';
  std::string nanoseconds;
  AppendNumber(nanoseconds, static_cast<std::uint64_t>(file.nanoseconds));
  text.append(9 - std::min<std::size_t>(nanoseconds.size(), 9), '0').append(nanoseconds);
  text += ' ';
  AppendNumber(text, file.inode);
  text += ' ';
  if (file.stamp) {
    AppendHex(text, *file.stamp, 8);
  } else {
    text += kNone;
  }
  text += ' ';
  AppendDigest(text, file.digest);
  text += ' ';
  text += file.path;
  text += '\n';
}

void AppendPart(std::string& text, const CPartState& part) {
  text.append("part ").append(part.name).append(" ");
  AppendNumber(text, part.revision);
  text += ' ';
  for (const std::uint64_t number : {part.unit, part.rows, part.others}) {
    AppendHex(text, static_cast<std::uint32_t>(number >> 32), 8);
    AppendHex(text, static_cast<std::uint32_t>(number), 8);
    text += ' ';
  }
  text.append(part.settings).append("\n");
  for (const std::string& pattern : part.clears)
    text.append("clears ").append(part.name).append(" ").append(pattern).append("\n");
  for (const auto& [name, digest] : part.outside)
    text.append("outside ").append(part.name).append(" ").append(digest).append(" ").append(name) +=
        '\n';
}

// The last line without its stamp.
std::string EndOf(std::size_t lines, const Digest& digest) {
  std::string end = "end ";
  AppendNumber(end, lines);
  end += ' ';
  AppendDigest(end, digest);
  return end += ' ';
}

// Reads the words of a line; after the first that is none as it should be, all are empty.
class Words {
 public:
  explicit Words(std::string_view line) : rest_(line) {}

  bool AreGood() const { return good_; }
  bool Fail() { return good_ = false; }

  std::string_view Word() {
    const auto end = std::min(rest_.find(' '), rest_.size());
    const std::string_view word = rest_.substr(0, end);
    rest_.remove_prefix(std::min(end + 1, rest_.size()));
    if (word.empty()) Fail();
    return word;
  }
  // All that is left.
  std::string_view Rest() const { return rest_; }

  // A decimal number and what ends it.
  std::uint64_t Number(char end = ' ') {
    constexpr std::uint64_t kMost = UINT64_MAX / 10 - 1;
    std::uint64_t number = 0;
    std::size_t at = 0;
    for (; at < rest_.size() && rest_[at] >= '0' && rest_[at] <= '9'; ++at) {
      if (number > kMost) Fail();
      number = number * 10 + static_cast<std::uint64_t>(rest_[at] - '0');
    }
    if (at == 0 || at == rest_.size() || rest_[at] != end) {
      Fail();
      return 0;
    }
    rest_.remove_prefix(at + 1);
    return number;
  }
  template <class Number>
  void TakeHex(Number& number) {
    TakeWord(number, 16);
  }
  // A whole word, which may be the last.
  template <class Number>
  void TakeWord(Number& number, int base) {
    const std::string_view word = Word();
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number, base);
    if (error != std::errc() || end != word.data() + word.size()) Fail();
  }
  void Take(Digest& digest) {
    const std::string_view word = Word();
    if (word.size() != 2 * digest.size()) return static_cast<void>(Fail());
    for (std::size_t i = 0; i < digest.size(); ++i)
      digest[i] = static_cast<unsigned char>(Nibble(word[2 * i]) << 4 | Nibble(word[2 * i + 1]));
  }
  void TakeTime(std::int64_t& seconds, std::int64_t& nanoseconds) {
    const bool is_negative = rest_.starts_with('-');
    if (is_negative) rest_.remove_prefix(1);
    seconds = static_cast<std::int64_t>(Number('.'));
    if (is_negative) seconds = -seconds;
    nanoseconds = static_cast<std::int64_t>(Number());
  }
  void Take(std::optional<std::uint32_t>& stamp) {
    if (!rest_.starts_with(kNone)) return TakeHex(stamp.emplace());
    static_cast<void>(Word());
  }

 private:
  unsigned Nibble(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
    Fail();
    return 0;
  }

  std::string_view rest_;
  bool good_ = true;
};

// A path that leads out of the folder was not written by us.
bool IsBelow(std::string_view path) {
  for (;;) {
    const std::string_view name = path.substr(0, path.find('/'));
    if (name.empty() || name == "." || name == "..") return false;
    if (name.size() == path.size()) return true;
    path.remove_prefix(name.size() + 1);
  }
}

[[noreturn]] void Damaged(const std::string& what) { throw DamagedManifest(what); }

std::string_view TakeLine(std::string_view& lines) {
  const auto end = std::min(lines.find('\n'), lines.size());
  const std::string_view line = lines.substr(0, end);
  lines.remove_prefix(std::min(end + 1, lines.size()));
  return line;
}

void ReadPart(Words& words, std::vector<CPartState>& parts) {
  CPartState& part = parts.emplace_back();
  part.name = words.Word();
  part.revision = words.Number();
  words.TakeHex(part.unit);
  words.TakeHex(part.rows);
  words.TakeHex(part.others);
  part.settings = words.Rest();
}

void ReadOfPart(std::string_view what, Words& words, std::vector<CPartState>& parts) {
  const std::string_view name = words.Word();
  if (parts.empty() || parts.back().name != name) return static_cast<void>(words.Fail());
  if (what == "clears") {
    parts.back().clears.emplace_back(words.Rest());
    return;
  }
  const std::string_view digest = words.Word();
  parts.back().outside.push_back({std::string(words.Rest()), std::string(digest)});
}

// The stamp of a line; "-" without a key, or with one that stamps files alone.
std::string StampOfLine(std::string_view line) {
  const auto stamp = StampKey().OfBytes(line);
  return stamp ? StampDigits(stamp->stamp) : std::string(kNone);
}

}  // namespace

std::string DigestDigits(const Digest& digest) {
  std::string digits;
  AppendDigest(digits, digest);
  return digits;
}

ManifestText::ManifestText(const char* file) {
  const std::string path(file);
  if (!FindFile(path)) return;
  std::optional<FileText> text = ReadWholeFile(path);
  if (!text) Damaged("it cannot be read");
  text_ = std::move(*text);
  std::string_view lines = text_.View();
  const auto last = lines.size() < 2 ? std::string_view::npos : lines.rfind('\n', lines.size() - 2);
  if (last == std::string_view::npos || lines.back() != '\n') Damaged("its end is missing");
  const std::string_view end = lines.substr(last + 1, lines.size() - last - 2);
  lines = lines.substr(0, last + 1);
  const std::string expected = EndOf(TakeLines(lines), DigestOf(lines));
  if (!end.starts_with(expected)) Damaged("its sum is another one");
  // Under another key the stamp tells nothing.
  if (key_ == StampKey().Fingerprint() && end.substr(expected.size()) != StampOfLine(expected))
    Damaged("its stamp is another one");
}

std::size_t ManifestText::TakeLines(std::string_view lines) {
  constexpr std::size_t kShortestLine = 96;
  if (TakeLine(lines) != kHead) Damaged("it begins otherwise");
  lines_.reserve(lines.size() / kShortestLine);
  std::size_t count = 1;
  for (; !lines.empty(); ++count) {
    const std::string_view line = TakeLine(lines);
    const bool is_of_part = line.starts_with("part ");
    const bool tells_more = line.starts_with("clears ") || line.starts_with("outside ");
    const bool is_of_all = line.starts_with("key ") || line.starts_with("revision ");
    if (!is_of_part && !tells_more && !is_of_all) {
      lines_.push_back(line);
      continue;
    }
    Words words(line);
    const std::string_view what = words.Word();
    if (is_of_part) {
      ReadPart(words, parts_);
    } else if (tells_more) {
      ReadOfPart(what, words, parts_);
    } else if (what == "key") {
      key_ = words.Rest();
    } else {
      words.TakeWord(revision_, 10);
    }
    if (!words.AreGood()) Damaged(std::string(line));
  }
  return count;
}

FileLine ReadFileLine(std::string_view line) {
  Words words(line);
  const std::string_view what = words.Word();
  const auto kind = std::find(std::begin(kKindWords), std::end(kKindWords), what);
  if (kind == std::end(kKindWords)) Damaged(std::string(line));
  FileLine file;
  file.kind = static_cast<CFileRecord::Kind>(kind - std::begin(kKindWords));
  file.revision = words.Number();
  file.part = words.Word();
  file.node = static_cast<unsigned long>(words.Number());
  file.file.size = words.Number();
  words.TakeTime(file.file.modified_seconds, file.file.modified_nanoseconds);
  file.file.inode = words.Number();
  const std::string_view sums = words.Rest();
  words.Word();
  words.Word();
  file.path = words.Rest();
  file.sums = sums.substr(0, sums.size() - file.path.size());
  if (!words.AreGood() || !IsBelow(file.path)) Damaged(std::string(line));
  return file;
}

CFileRecord ReadFileRecord(std::string_view line) {
  const FileLine head = ReadFileLine(line);
  CFileRecord file;
  file.kind = head.kind;
  file.path = head.path;
  file.part = head.part;
  file.node = head.node;
  file.bytes = head.file.size;
  file.inode = head.file.inode;
  file.seconds = head.file.modified_seconds;
  file.nanoseconds = head.file.modified_nanoseconds;
  file.revision = head.revision;
  Words sums(head.sums);
  sums.Take(file.stamp);
  sums.Take(file.digest);
  if (!sums.AreGood()) Damaged(std::string(line));
  return file;
}

ManifestWriter::ManifestWriter(const std::string& key, std::uint64_t revision,
                               const std::vector<CPartState>& parts)
    : text_(kHead) {
  text_.append("\nkey ").append(key).append("\nrevision ");
  AppendNumber(text_, revision);
  text_ += '\n';
  for (const CPartState& part : parts) AppendPart(text_, part);
  lines_ = static_cast<std::size_t>(std::count(text_.begin(), text_.end(), '\n'));
}

void ManifestWriter::Add(const CFileRecord& file) {
  AppendFileLine(text_, file);
  ++lines_;
}

void ManifestWriter::Add(std::string_view line) {
  EndText();
  const std::string_view last = pieces_.back();
  if (last.data() + last.size() == line.data()) {
    pieces_.back() = {last.data(), last.size() + line.size() + 1};
  } else {
    pieces_.emplace_back(line.data(), line.size() + 1);
  }
  ++lines_;
}

void ManifestWriter::EndText() {
  if (text_.empty()) return;
  pieces_.emplace_back(texts_.emplace_back(std::move(text_)));
  text_.clear();
}

void ManifestWriter::Commit(const char* file) {
  EndText();
  Digester digester;
  for (const std::string_view piece : pieces_) digester.Add(piece);
  std::string& end = texts_.emplace_back(EndOf(lines_, digester.Finish()));
  end.append(StampOfLine(end)).append("\n");
  pieces_.emplace_back(end);
  OutputFile output(file);
  for (const std::string_view piece : pieces_) WriteAll(output.Handle(), piece, output.Path());
  output.Commit();
}

}  // namespace ncc

using namespace ncc;

CManifest ReadManifest(const char* file) {
  const ManifestText text(file);
  CManifest manifest{text.Key(), text.Revision(), text.Parts(), {}};
  manifest.files.reserve(text.Lines().size());
  for (const std::string_view line : text.Lines()) manifest.files.push_back(ReadFileRecord(line));
  return manifest;
}
