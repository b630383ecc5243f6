// Memory that is free again, given back to the system.
#pragma once

namespace tvn {

// For the start of the program: has the C library give large blocks back when they are freed, so
// that a program that stands for days does not stay as large as one request or job once made it. By
// itself it would ever more keep them (32 MB each), and up to 64 MB more for each of many threads.
// Giving all back by malloc_trim after a job, instead, holds up every thread that allocates, for
// 0.4 s after a recording of 8 h. Does nothing where the library does so by itself.
void give_back_large_memory();

// For the start of a program that works on recordings of all lengths, one after the other: blocks
// of 8 MB and more, which only those of hours need, go back to the system as soon as they are
// freed, whatever came before.
void return_large_blocks_at_once();

}  // namespace tvn
