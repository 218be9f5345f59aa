/// \file
/// Everything that a client of the library sees.
#pragma once

#include "nccnet/exchange_check.h"
#include "nccnet/exchange_writer.h"
#include "nccnet/export_manager.h"
#include "nccnet/file_output.h"
#include "nccnet/import_container.h"
#include "nccnet/import_net.h"
#include "nccnet/netdb.h"
#include "nccnet/records.h"
#include "nccnet/stamp_provider.h"
#include "nccnet/thread_pool.h"
#include "nccnet/update_manager.h"
