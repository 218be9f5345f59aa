/// \file
/// Everything that a client of the library sees.
#pragma once

#include "nccnet/file_output.h"
#include "nccnet/netdb.h"
#include "nccnet/records.h"
#include "nccnet/stamp_provider.h"
#include "nccnet/thread_pool.h"
#include "nccnet/update_manager.h"
