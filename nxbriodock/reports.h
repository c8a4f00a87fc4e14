// How an exported function ends: nothing is thrown, a failure queues an error that names the function. Private to the
// library.
#ifndef NXBRIODOCK_REPORTS_H
#define NXBRIODOCK_REPORTS_H

#include <cstdarg>
#include <exception>
#include <new>
#include <string>

namespace nxbriodock {

// Why a call fails, in a sentence without its end.
class Refused : public std::exception {
 public:
  explicit Refused(const char* format, ...) __attribute__((format(printf, 2, 3)));
  const char* what() const noexcept override { return text_; }

 private:
  // Nothing is allocated for it.
  char text_[200];
};

// Queues "function: why\n" as an error; calls from several threads take turns.
void report(const char* function, const char* why) noexcept;

// Runs the body of an exported function; `failed` is what that gives when it fails.
template <class Result, class Body>
Result guarded(const char* function, Result failed, Body body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    report(function, "memory has no room");
  } catch (const std::exception& error) {
    report(function, error.what());
  }
  return failed;
}

// Refuses null.
template <class T>
T* needed(T* pointer, const char* what) {
  if (pointer == nullptr) {
    throw Refused("%s: a null pointer", what);
  }
  return pointer;
}

}  // namespace nxbriodock

#endif
