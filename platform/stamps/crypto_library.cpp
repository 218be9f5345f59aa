#include "platform/stamps/crypto_library.h"

#include <gcrypt.h>

namespace ncc {
namespace {

bool Prepare() {
  if (gcry_control(GCRYCTL_INITIALIZATION_FINISHED_P) != 0) return true;  // the application has
  if (gcry_check_version("1.10.0") == nullptr) return false;
  gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
  gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
  return true;
}

}  // namespace

bool PrepareCryptoLibrary() {
  static const bool kReady = Prepare();
  return kReady;
}

}  // namespace ncc
