// Lets the calling thread run out of memory.
#pragma once

// The thread's next `count` allocations succeed and all after them fail; without end when it is
// negative.
void AllowAllocations(long count);
