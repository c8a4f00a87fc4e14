// The toolkit's platform layer: the mutex that multi-threaded callers hold around molecule and grid handles.
#ifndef NXBRIOCHEM_TOOLKIT_NXPLATFORM_H
#define NXBRIOCHEM_TOOLKIT_NXPLATFORM_H

#include <mutex>

namespace NxPlatform {

// A plain, non-recursive mutex. Lowercase aliases make it a standard Lockable, so std::lock_guard works on it.
class NxMutex {
 public:
  // Not held.
  NxMutex() = default;
  NxMutex(const NxMutex&) = delete;
  NxMutex& operator=(const NxMutex&) = delete;

  // Waits until nobody holds it and takes it. A thread that holds it already must not call this.
  void Lock() { mutex_.lock(); }
  // Takes it if nobody holds it; false when somebody does.
  bool TryLock() { return mutex_.try_lock(); }
  // Gives it back; by the thread that holds it alone.
  void Unlock() { mutex_.unlock(); }

  // Lock under its standard name.
  void lock() { Lock(); }
  // TryLock under its standard name.
  bool try_lock() { return TryLock(); }
  // Unlock under its standard name.
  void unlock() { Unlock(); }

 private:
  std::mutex mutex_;
};

}  // namespace NxPlatform

#endif
