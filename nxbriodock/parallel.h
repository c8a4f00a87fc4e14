// Work in equal parts on several threads. Private to the library.
#ifndef NXBRIODOCK_PARALLEL_H
#define NXBRIODOCK_PARALLEL_H

#include <functional>

namespace nxbriodock {

// Calls part(0) to part(parts - 1), each once, on up to `threads` threads, including this one. When the system gives
// fewer threads, the others do the work. If parts throw, the exception of the lowest one is thrown here after all have
// ended.
void in_parallel(int parts, int threads, const std::function<void(int)>& part);

}  // namespace nxbriodock

#endif
