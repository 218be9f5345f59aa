// The gateway writes the names of its fields once each and in fixed places, numbers of 64 bits as
// texts, keys and values in base64; fields that are 0, false or empty are left out. So what a value
// belongs to follows from the names before it: a range of a transaction begins with
// "response_range", a key and its value with "key".

#include "platform/cluster/answer.h"

#include "platform/cluster/base64.h"

#include <charconv>
#include <cstddef>
#include <cstring>

namespace ncc::etcd {
namespace {

template <class Number>
void ReadNumber(std::string_view text, Number& number) {
  std::from_chars(text.data(), text.data() + text.size(), number);
}

class AnswerParser {
 public:
  explicit AnswerParser(std::string_view json) : rest_(json) {}

  std::optional<Answer> Parse() {
    if (rest_.empty() || rest_.front() != '{') return std::nullopt;
    std::string_view name;
    while (SkipToText()) {
      std::string_view text;
      if (!TakeText(text)) return std::nullopt;
      if (!rest_.empty() && rest_.front() == ':') {
        rest_.remove_prefix(1);
        name = text;
        if (name == "response_range") answer_.found.emplace_back();
        if (IsPlain()) is_right_ = is_right_ && Take(name, TakePlain());
      } else {
        is_right_ = is_right_ && Take(name, text);
      }
    }
    if (answer_.found.empty()) answer_.found.emplace_back();
    return is_right_ ? std::optional(std::move(answer_)) : std::nullopt;
  }

 private:
  bool SkipToText() {
    const std::size_t at = rest_.find('"');
    if (at == std::string_view::npos) return false;
    rest_.remove_prefix(at + 1);
    return true;
  }

  // Up to the quotation mark that ends it, which goes too.
  bool TakeText(std::string_view& text) {
    std::size_t end = rest_.find('"');
    while (end != std::string_view::npos && end > 0 && rest_[end - 1] == '\\') {
      end = rest_.find('"', end + 1);
    }
    if (end == std::string_view::npos) return false;
    text = rest_.substr(0, end);
    rest_.remove_prefix(end + 1);
    return true;
  }

  // A number, true or false.
  bool IsPlain() const { return !rest_.empty() && std::strchr("\"{[", rest_.front()) == nullptr; }
  std::string_view TakePlain() {
    const std::string_view text = rest_.substr(0, rest_.find_first_of(",}]"));
    rest_.remove_prefix(text.size());
    return text;
  }

  Found& Range() {
    if (answer_.found.empty()) answer_.found.emplace_back();
    return answer_.found.back();
  }

  bool Take(std::string_view name, std::string_view text) {
    if (name == "key") return DecodeBase64(text, Range().keys.emplace_back().key);
    if (name == "value") return !Range().keys.empty() && DecodeBase64(text, Last().value);
    if (name == "more") Range().has_more = text == "true";
    if (name == "revision" && answer_.revision == 0) ReadNumber(text, answer_.revision);
    if (name == "succeeded") answer_.succeeded = text == "true";
    if (name == "ID") ReadNumber(text, answer_.lease);
    if (name == "TTL") ReadNumber(text, answer_.seconds_to_live);
    if (name == "error") answer_.error = text;
    if (name == "code" || name == "grpc_code") ReadNumber(text, answer_.code);
    if (answer_.found.empty()) TakeHealth(name, text);
    if (answer_.found.empty() || answer_.found.back().keys.empty()) return true;
    if (name == "create_revision") ReadNumber(text, Last().created);
    if (name == "mod_revision") ReadNumber(text, Last().modified);
    if (name == "lease") ReadNumber(text, Last().lease);
    return true;
  }
  KeyValue& Last() { return Range().keys.back(); }

  void TakeHealth(std::string_view name, std::string_view text) {
    if (name == "member_id") ReadNumber(text, answer_.member);
    if (name == "leader") ReadNumber(text, answer_.leader);
    if (name == "dbSize") ReadNumber(text, answer_.size);
    if (name == "version") answer_.version = text;
    if (name == "errors") answer_.faults.emplace_back(text);
  }

  std::string_view rest_;
  Answer answer_;
  bool is_right_ = true;
};

}  // namespace

std::optional<Answer> ParseAnswer(std::string_view json) { return AnswerParser(json).Parse(); }

}  // namespace ncc::etcd
