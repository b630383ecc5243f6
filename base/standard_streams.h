// Standard input, output and error of a program that was started without them.
#pragma once

namespace tvn {

// For the very start of a program, while it has one thread: keeps the numbers of standard streams
// that are closed (as by `2>&-`, or by some service managers) from going to files and connections.
// What is told on standard error would otherwise end up in a recording. Reading and writing such a
// stream fails as if it were closed.
void hold_standard_streams();

}  // namespace tvn
