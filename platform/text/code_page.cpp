#include "platform/text/code_page.h"

#include "nccnet/text.h"

#include <iconv.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace {

class Utf8Character {
 public:
  static constexpr std::size_t kLongest = 3;  // in this code page

  std::string_view View() const { return {bytes_.data(), length_}; }
  // Where there is room for the longest; gives the place behind it.
  char* PutAt(char* at) const {
    std::memcpy(at, bytes_.data(), kLongest);
    return at + length_;
  }
  void Append(char byte) { bytes_.at(length_++) = byte; }

 private:
  std::array<char, kLongest> bytes_{};
  std::uint8_t length_ = 0;
};

// The number of the character with which the text, which is not empty, begins; any number when that
// is not UTF-8 or has more than three bytes.
std::size_t FirstCharacter(std::string_view utf8) {
  const auto byte = [&](std::size_t i) {
    return i < utf8.size() ? static_cast<unsigned char>(utf8[i]) : 0U;
  };
  if (byte(0) < 0x80) return byte(0);
  if (byte(0) < 0xE0) return (byte(0) & 0x1FU) << 6 | (byte(1) & 0x3FU);
  return (byte(0) & 0x0FU) << 12 | (byte(1) & 0x3FU) << 6 | (byte(2) & 0x3FU);
}

// What iconv says of each byte, asked once. Has no destructor, so it can be used until the very end
// of the process.
class CodePage {
 public:
  CodePage() {
    const iconv_t converter = iconv_open("UTF-8", "CP1251");
    if (converter == reinterpret_cast<iconv_t>(-1))
      throw std::runtime_error("the system's iconv has no code page 1251: install its modules");
    bool is_whole = true;
    for (std::size_t byte = 0; byte < characters_.size(); ++byte)
      is_whole = Ask(converter, byte) && is_whole;
    iconv_close(converter);
    if (!is_whole) throw std::runtime_error("the system's code page 1251 is another one");
  }

  const Utf8Character& CharacterOf(char byte) const {
    return characters_[static_cast<unsigned char>(byte)];
  }

  // The byte of the character with which the text begins. Comparing with that character leaves
  // nothing of what is not UTF-8.
  std::optional<char> FirstByte(std::string_view utf8) const {
    const std::size_t character = FirstCharacter(utf8);
    if (character >= bytes_.size()) return std::nullopt;
    const char byte = bytes_[character];
    return utf8.starts_with(CharacterOf(byte).View()) ? std::optional(byte) : std::nullopt;
  }

 private:
  bool Ask(iconv_t converter, std::size_t byte) {
    char given = static_cast<char>(byte);
    std::array<char, 3> taken{};
    char* in = &given;
    char* out = taken.data();
    std::size_t in_left = 1;
    std::size_t out_left = taken.size();
    if (iconv(converter, &in, &in_left, &out, &out_left) != static_cast<std::size_t>(-1)) {
      for (const char* at = taken.data(); at != out; ++at) characters_[byte].Append(*at);
    } else if (errno == EILSEQ && byte >= 0x80) {  // a control character of that number
      iconv(converter, nullptr, nullptr, nullptr, nullptr);
      characters_[byte].Append(static_cast<char>(0xC0 | byte >> 6));
      characters_[byte].Append(static_cast<char>(0x80 | (byte & 0x3F)));
    } else {
      return false;
    }
    const std::size_t character = FirstCharacter(characters_[byte].View());
    if (character >= bytes_.size()) return false;
    bytes_[character] = static_cast<char>(byte);
    return true;
  }

  std::array<Utf8Character, 256> characters_;
  std::array<char, 0x2200> bytes_{};  // by character
};

const CodePage& Cp1251() {
  static const CodePage kCodePage;
  return kCodePage;
}

}  // namespace

namespace ncc {

void AppendUtf8(std::string& out, std::string_view bytes) {
  const CodePage& code_page = Cp1251();
  const std::size_t start = out.size();
  out.resize(start + bytes.size() * Utf8Character::kLongest);
  char* at = out.data() + start;
  for (const char byte : bytes) at = code_page.CharacterOf(byte).PutAt(at);
  out.resize(static_cast<std::size_t>(at - out.data()));
}

bool AppendCp1251(std::string& out, std::string_view utf8) {
  const CodePage& code_page = Cp1251();
  while (!utf8.empty()) {
    std::size_t size = 1;
    std::optional<char> byte = utf8.front();
    if (static_cast<unsigned char>(*byte) >= 0x80) {
      byte = code_page.FirstByte(utf8);
      if (!byte) return false;
      size = code_page.CharacterOf(*byte).View().size();
    }
    out += *byte;
    utf8.remove_prefix(size);
  }
  return true;
}

}  // namespace ncc

std::string Utf8FromCp1251(std::string_view bytes) {
  std::string utf8;
  utf8.reserve(bytes.size());
  ncc::AppendUtf8(utf8, bytes);
  return utf8;
}

std::optional<std::string> Cp1251FromUtf8(std::string_view utf8) {
  std::string bytes;
  bytes.reserve(utf8.size());
  if (!ncc::AppendCp1251(bytes, utf8)) return std::nullopt;
  return bytes;
}

std::string Utf8NameOf(const CNCCEntry& entry) {
  return Utf8FromCp1251({entry.name, strnlen(entry.name, sizeof(entry.name))});
}

namespace ncc {

std::string Cp866FromCp1251(std::string_view bytes) {
  std::string out(bytes);
  for (char& c : out) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) continue;
    if (byte >= 0xF0) {
      c = static_cast<char>(byte - 0xF0 + 0xE0);
    } else if (byte >= 0xC0) {
      c = static_cast<char>(byte - 0xC0 + 0x80);
    } else {
      c = byte == 0xA8 ? '\xF0' : byte == 0xB8 ? '\xF1' : '?';
    }
  }
  return out;
}

std::string ValidUtf8(std::string_view text) {
  const iconv_t checker = iconv_open("UTF-8", "UTF-8");
  if (checker == reinterpret_cast<iconv_t>(-1))
    throw std::runtime_error("the system's iconv has no UTF-8");
  std::string rest(text);
  std::string valid(text.size(), '\0');
  char* in = rest.data();
  char* out = valid.data();
  std::size_t in_left = text.size();
  std::size_t out_left = text.size();
  while (in_left > 0 && iconv(checker, &in, &in_left, &out, &out_left) == std::size_t(-1)) {
    *out++ = '?';
    --out_left;
    ++in;
    --in_left;
  }
  iconv_close(checker);
  valid.resize(valid.size() - out_left);
  return valid;
}

}  // namespace ncc
