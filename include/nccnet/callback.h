/// \file
/// The progress callback.
#pragma once

/// Progress callback: called with the context given beside it and a null pointer, once per visited
/// item in long loops, on the calling thread, with the object lock held. Its result is ignored. It
/// may call any query or change of the object (the changes belong to the running operation);
/// Create, Open, BeginBatch and EndBatch are false inside it and Close does nothing. An exception
/// undoes the running operation and goes on to the operation's caller. What it calls may call it
/// again: one that changes the network takes itself off first, or ends at once when it is called
/// within itself.
using NCCCallback = long (*)(void* context, void* arg);
