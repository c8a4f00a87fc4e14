// The toolkit's platform layer: the mutex that multi-threaded callers hold around molecule and grid handles.
#ifndef NXBRIOCHEM_TOOLKIT_NXPLATFORM_H
#define NXBRIOCHEM_TOOLKIT_NXPLATFORM_H

#include <mutex>

namespace NxPlatform {

// A plain, non-recursive mutex. Lowercase aliases make it a standard Lockable, so std::lock_guard works on it.
class NxMutex {
 public:
  NxMutex() = default;
  NxMutex(const NxMutex&) = delete;
  NxMutex& operator=(const NxMutex&) = delete;

  void Lock() { mutex_.lock(); }
  bool TryLock() { return mutex_.try_lock(); }
  void Unlock() { mutex_.unlock(); }

  void lock() { Lock(); }
  bool try_lock() { return TryLock(); }
  void unlock() { Unlock(); }

 private:
  std::mutex mutex_;
};

}  // namespace NxPlatform

#endif
