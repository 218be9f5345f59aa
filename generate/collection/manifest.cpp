// The manifest, a text of lines of words that are parted by a blank; a path, the last word, may
// hold blanks:
//
//   nccnet-manifest 1
//   key KEY
//   part PART REVISION UNIT SETTING...
//   clears PART PATTERN
//   outside PART DIGEST NAME
//   file REVISION PART NODE BYTES SECONDS.NANOSECONDS INODE STAMP DIGEST PATH
//   package ...the same
//   gone ...the same
//   end LINES DIGEST STAMP
//
// The last line has the number of those before it, the SHA-256 of their bytes, and the stamp of
// itself up to there; "-" stands for a stamp that is not known.

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

constexpr std::string_view kHead = "nccnet-manifest 1";
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

void AppendFile(std::string& text, const CFileRecord& file) {
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
  AppendHex(text, static_cast<std::uint32_t>(part.unit >> 32), 8);
  AppendHex(text, static_cast<std::uint32_t>(part.unit), 8);
  text.append(" ").append(part.settings).append("\n");
  for (const std::string& pattern : part.clears)
    text.append("clears ").append(part.name).append(" ").append(pattern).append("\n");
  for (const auto& [name, digest] : part.outside)
    text.append("outside ").append(part.name).append(" ").append(digest).append(" ").append(name) +=
        '\n';
}

// The last line without its stamp.
std::string EndOf(std::string_view lines) {
  std::string end = "end ";
  AppendNumber(end, static_cast<std::uint64_t>(std::count(lines.begin(), lines.end(), '\n')));
  end += ' ';
  AppendDigest(end, DigestOf(lines));
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

  template <class Number>
  void Take(Number& number, int base = 10) {
    Parse(Word(), number, base);
  }
  template <class Number>
  void Parse(std::string_view word, Number& number, int base = 10) {
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
    const std::string_view word = Word();
    const auto point = std::min(word.find('.'), word.size());
    Parse(word.substr(0, point), seconds);
    Parse(word.substr(std::min(point + 1, word.size())), nanoseconds);
  }
  void Take(std::optional<std::uint32_t>& stamp) {
    const std::string_view word = Word();
    if (word != kNone) Parse(word, stamp.emplace(), 16);
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
  if (path.empty() || path.front() == '/') return false;
  const std::string framed = std::string("/").append(path).append("/");
  return framed.find("/../") == std::string::npos && framed.find("/./") == std::string::npos &&
         framed.find("//") == std::string::npos;
}

class Reader {
 public:
  CManifest Read(std::string_view lines) {
    if (TakeLine(lines) != kHead) Damaged("it begins otherwise");
    while (!lines.empty()) {
      const std::string_view line = TakeLine(lines);
      Words words(line);
      const std::string_view what = words.Word();
      if (what == "key") {
        manifest_.key = words.Rest();
      } else if (what == "part") {
        ReadPart(words);
      } else if (what == "clears" || what == "outside") {
        ReadOfPart(what, words);
      } else {
        ReadFile(what, words);
      }
      if (!words.AreGood()) Damaged("line " + std::to_string(number_));
    }
    return std::move(manifest_);
  }

  [[noreturn]] static void Damaged(const std::string& what) {
    throw FileError("the manifest is damaged: " + what);
  }

 private:
  std::string_view TakeLine(std::string_view& lines) {
    ++number_;
    const auto end = std::min(lines.find('\n'), lines.size());
    const std::string_view line = lines.substr(0, end);
    lines.remove_prefix(std::min(end + 1, lines.size()));
    return line;
  }

  void ReadPart(Words& words) {
    CPartState& part = manifest_.parts.emplace_back();
    part.name = words.Word();
    words.Take(part.revision);
    words.Take(part.unit, 16);
    part.settings = words.Rest();
  }

  void ReadOfPart(std::string_view what, Words& words) {
    const std::string_view name = words.Word();
    if (manifest_.parts.empty() || manifest_.parts.back().name != name)
      return static_cast<void>(words.Fail());
    if (what == "clears") {
      manifest_.parts.back().clears.emplace_back(words.Rest());
      return;
    }
    const std::string_view digest = words.Word();
    manifest_.parts.back().outside.push_back({std::string(words.Rest()), std::string(digest)});
  }

  void ReadFile(std::string_view what, Words& words) {
    const auto kind = std::find(std::begin(kKindWords), std::end(kKindWords), what);
    if (kind == std::end(kKindWords)) return static_cast<void>(words.Fail());
    CFileRecord& file = manifest_.files.emplace_back();
    file.kind = static_cast<CFileRecord::Kind>(kind - std::begin(kKindWords));
    words.Take(file.revision);
    file.part = words.Word();
    words.Take(file.node);
    words.Take(file.bytes);
    words.TakeTime(file.seconds, file.nanoseconds);
    words.Take(file.inode);
    words.Take(file.stamp);
    words.Take(file.digest);
    file.path = words.Rest();
    if (!IsBelow(file.path)) words.Fail();
  }

  CManifest manifest_;
  int number_ = 0;
};

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

}  // namespace ncc

using namespace ncc;

CManifest ReadManifest(const char* file) {
  const std::string path(file);
  if (!FindFile(path)) return {};
  const std::optional<FileText> text = ReadWholeFile(path);
  if (!text) Reader::Damaged("it cannot be read");
  std::string_view lines = text->View();
  const auto last = lines.size() < 2 ? std::string_view::npos : lines.rfind('\n', lines.size() - 2);
  if (last == std::string_view::npos || lines.back() != '\n') Reader::Damaged("its end is missing");
  const std::string_view end = lines.substr(last + 1, lines.size() - last - 2);
  lines = lines.substr(0, last + 1);
  const std::string expected = EndOf(lines);
  if (!end.starts_with(expected)) Reader::Damaged("its sum is another one");
  CManifest manifest = Reader().Read(lines);
  // Under another key the stamp tells nothing.
  if (manifest.key == StampKey().Fingerprint() &&
      end.substr(expected.size()) != StampOfLine(expected))
    Reader::Damaged("its stamp is another one");
  return manifest;
}

void WriteManifest(const CManifest& manifest, const char* file) {
  constexpr std::size_t kUsualLine = 192;
  std::string text;
  text.reserve(kUsualLine * (manifest.files.size() + 16));
  text.append(kHead).append("\nkey ").append(manifest.key).append("\n");
  for (const CPartState& part : manifest.parts) AppendPart(text, part);
  for (const CFileRecord& record : manifest.files) AppendFile(text, record);
  const std::string end = EndOf(text);
  text.append(end).append(StampOfLine(end)).append("\n");
  OutputFile(file).CommitBytes(text);
}
