// Lines that are typed on a terminal: editing, former lines, completion.
#pragma once

#include <csignal>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Of libedit.
struct editline;
struct history;

namespace ncc::tool {

struct Completion {
  std::string addition;              // goes in behind what is typed
  std::vector<std::string> choices;  // to be shown when nothing goes in
};

class LineEditor {
 public:
  using Complete = std::function<Completion(std::string_view typed)>;

  // The terminal is that of standard input and standard error. `complete` gets the line up to the
  // cursor when the tabulator key is hit; where it throws nothing is completed. While an editor
  // lives, the interrupt key does not end the process.
  explicit LineEditor(Complete complete);
  ~LineEditor();
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  enum class Result { kLine, kInterrupted, kEnd };
  // The interrupt key drops the line in hand.
  Result Read(const std::string& prompt, std::string& line);

  // For the arrow keys; the last one is the first that they give.
  void Remember(const std::string& line);

 private:
  struct Callbacks;  // what libedit calls

  // Between two lines the key is a signal for a moment.
  class InterruptBlock {
   public:
    InterruptBlock();
    ~InterruptBlock();
    InterruptBlock(const InterruptBlock&) = delete;
    InterruptBlock& operator=(const InterruptBlock&) = delete;

   private:
    sigset_t keys_;
    sigset_t before_;
  };

  void Configure();
  unsigned char OnTabulator();
  void Show(const std::vector<std::string>& choices) const;

  InterruptBlock block_;
  Complete complete_;
  std::unique_ptr<editline, void (*)(editline*)> editor_;
  std::unique_ptr<history, void (*)(history*)> former_;
  std::string prompt_;
  bool is_interrupted_ = false;
};

}  // namespace ncc::tool
