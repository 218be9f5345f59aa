// Writes a YAML document piece by piece, each kind of value in one way only, so that the same
// values always give the same bytes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ncc::tool {

class YamlWriter {
 public:
  // A collection on lines of its own, or in brackets on one line. What stands in brackets may only
  // hold others of these.
  enum class Form { kBlock, kFlow };

  void BeginMap(Form form = Form::kBlock) { Begin(form, '{'); }
  void BeginSequence(Form form = Form::kBlock) { Begin(form, '['); }
  void End();

  // Of the value that comes next. Keys and words are written as they are: they have to be plain.
  void Key(std::string_view key);
  void Word(std::string_view word);
  // Any text without control characters, in quotes where it is not plain.
  void TextKey(std::string_view utf8);
  void Text(std::string_view utf8);

  // The document; the writer is empty then.
  std::string Finish();

 private:
  struct Open {
    Form form;
    char bracket;
    std::size_t indent;
    bool empty = true;
  };

  void Begin(Form form, char bracket);
  // What stands before a key, before an item of a sequence and before the value of a key.
  void BeginItem();
  void BeginValue(bool on_line);

  std::string out_;
  std::vector<Open> open_;
  bool behind_key_ = false;
  bool behind_dash_ = false;
};

}  // namespace ncc::tool
