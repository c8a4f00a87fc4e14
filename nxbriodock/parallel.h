// Work in equal parts on several threads. Private to the library.
#ifndef NXBRIODOCK_PARALLEL_H
#define NXBRIODOCK_PARALLEL_H

#include <functional>

namespace nxbriodock {

// Calls part(0) to part(parts - 1), each once, on up to `threads` threads, this one among them; threads that the system
// does not give are done without. What a part throws is thrown here when all have ended, the lowest part's first.
void in_parallel(int parts, int threads, const std::function<void(int)>& part);

}  // namespace nxbriodock

#endif
