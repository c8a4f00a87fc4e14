// A lock that outlives forks: a fork waits until it is free, so that parent and child find what it guards whole.
#ifndef NXBRIODOCK_FORK_LOCK_H
#define NXBRIODOCK_FORK_LOCK_H

#include <pthread.h>

#include <new>

namespace nxbriodock {

// The one lock of this type that `get` gives, which makes it. Registered when it is made.
template <class Mutex, Mutex& (*get)()>
class ForkLock : public Mutex {
 public:
  ForkLock() {
    // The child makes it anew: unlocking would hand it to a thread that waits for it, in the parent only.
    pthread_atfork([] { get().lock(); }, [] { get().unlock(); }, [] { new (&get()) Mutex; });
  }
};

}  // namespace nxbriodock

#endif
