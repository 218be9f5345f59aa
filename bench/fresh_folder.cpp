#include "fresh_folder.h"

#include "scratch.h"

namespace fs = std::filesystem;

FreshFolder::FreshFolder() {
  static const ScratchFolder scratch;
  static int count = 0;
  fs::current_path(scratch.Path(""));
  name_ = "run" + std::to_string(++count);
  fs::create_directory(name_);
}

FreshFolder::~FreshFolder() {
  std::error_code ignored;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(name_, ignored)) {
    if (entry.is_regular_file(ignored)) fs::resize_file(entry.path(), 0, ignored);
  }
}
