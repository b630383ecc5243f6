// Memory that is free again, given back to the system.
#pragma once

namespace tvn {

// For the start of the program: has the C library keep all memory in one place, of which it can
// give back what is free. Of the places that it makes for threads it keeps up to 64 MB each.
void keep_memory_in_one_place();

// Gives the system what the C library keeps of memory that was freed: after a large request or a
// job, so that a program that stands for days does not stay as large as it once was. Does nothing
// where the library does so by itself. Takes some 20 ms for 300 MB that were freed, in which other
// threads wait when they allocate; any thread.
void return_free_memory();

}  // namespace tvn
