// A file descriptor that is closed with its owner.
#ifndef NXBRIOFILES_DESCRIPTOR_H
#define NXBRIOFILES_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace nxbrio {

class Descriptor {
 public:
  // None.
  Descriptor() = default;
  // Takes over what a system call gave: a negative number is none.
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  explicit operator bool() const { return number_ >= 0; }
  int number() const { return number_; }
  // False, with errno, when the system reports a late write error.
  bool close() {
    const int number = std::exchange(number_, -1);
    return number < 0 || ::close(number) == 0;
  }

 private:
  int number_ = -1;
};

}  // namespace nxbrio

#endif
