// Looks at a whole database below the network object: do all its parts agree?
#pragma once

#include "nccnet/nccnet.h"

#include <string>
#include <vector>

// One line for each thing that is wrong: an id list or an item that names what does not exist, a
// link that one side lacks, a parent that is not one, an entry that differs from its record.
std::string FindFaults(CNCCNet& net);

// Identifiers of all objects of the network.
std::vector<unsigned long> AllObjects(CNCCNet& net);
