// The text of the calling thread's last failure, and the failures that end an operation.
#pragma once

#include "nccnet/failure.h"

#include <exception>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace ncc {

// Ends an operation with its result for "no": what was changed before stays, the text
// becomes the last error.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Carries an exception of a progress callback through the library to the caller of the operation.
class CallbackFailure : public std::exception {
 public:
  explicit CallbackFailure(std::exception_ptr cause) : cause_(std::move(cause)) {}
  [[noreturn]] void Rethrow() const { std::rethrow_exception(cause_); }

 private:
  std::exception_ptr cause_;
};

// Keeps what fits into 511 bytes, its end before its middle; needs no memory.
void SetLastError(std::string_view text, NCCFailure kind = NCCFailure::kOther) noexcept;
// The same for the exception that is being handled. A CallbackFailure goes on.
void SetLastErrorToCaught();
void ClearLastError() noexcept;
const char* LastErrorText() noexcept;

// False when `action` failed, with the reason as last error. A CallbackFailure goes on.
template <class Action>
bool Attempt(Action action) {
  try {
    action();
    ClearLastError();
    return true;
  } catch (...) {
    SetLastErrorToCaught();
    return false;
  }
}

}  // namespace ncc
