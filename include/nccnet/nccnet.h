/// \file
/// Everything that a client of the library sees.
#pragma once

#include "nccnet/netdb.h"
#include "nccnet/records.h"
#include "nccnet/thread_pool.h"
