// The library of cryptography, made ready once.
#pragma once

namespace ncc {

// False when it is too old. Thread-safe.
bool PrepareCryptoLibrary();

}  // namespace ncc
