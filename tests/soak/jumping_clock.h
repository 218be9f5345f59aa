// The wall clock of this process, which jumps when it is told to.
#pragma once

// A signal of that number sets the clock a day forward, the next one two days back, and so on.
void LetClockJumpAt(int signal);
