/// \file
/// Looking at sets of exchange files before anything is loaded.
#pragma once

#include "nccnet/export.h"

#include <cstddef>
#include <list>
#include <string>

/// What is wrong with a file of a set.
struct CExchangeFault {
  std::string file;  ///< its name, such as "an5.txt"
  std::size_t line;  ///< from 1; 0 for the file as a whole
  std::string reason;
  bool is_fatal;  ///< the set cannot be loaded; else a link names what is not there
};

/// Numbers of the networks that have a gateway file in the folder, ascending, each once.
/// \throws std::bad_alloc
NCC_API std::list<unsigned long> ListExchangeSets(const char* folder);

/// Reads a set as a view would and goes on after a failure: the first fault of every file, in the
/// order of reading; then, of a set that loads, every link that leads to a record that is not
/// there. Empty for a good set. \throws std::bad_alloc
NCC_API std::list<CExchangeFault> CheckExchangeSet(const char* folder, unsigned long net);
