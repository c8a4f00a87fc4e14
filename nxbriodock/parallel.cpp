#include "parallel.h"

#include <atomic>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace nxbriodock {
namespace {

class Work {
 public:
  Work(int parts, const std::function<void(int)>& part) : parts_(parts), failed_(parts), part_(part) {}

  void take_part() noexcept {
    for (int i = next_++; i < parts_; i = next_++) {
      try {
        part_(i);
      } catch (...) {
        const std::lock_guard lock(turn_);
        if (i < failed_) {
          failed_ = i;
          error_ = std::current_exception();
        }
      }
    }
  }

  void rethrow() const {
    if (error_) {
      std::rethrow_exception(error_);
    }
  }

 private:
  int parts_;
  int failed_;
  const std::function<void(int)>& part_;
  std::atomic<int> next_{0};
  std::mutex turn_;
  std::exception_ptr error_;
};

}  // namespace

void in_parallel(int parts, int threads, const std::function<void(int)>& part) {
  Work work(parts, part);
  std::vector<std::jthread> others;
  const int wanted = (threads < parts ? threads : parts) - 1;
  try {
    for (int i = 0; i < wanted; ++i) {
      others.emplace_back([&work] { work.take_part(); });
    }
  } catch (const std::system_error&) {
    // When not all threads can be started, the others do all the work.
  } catch (const std::bad_alloc&) {
  }
  work.take_part();
  others.clear();  // joins
  work.rethrow();
}

}  // namespace nxbriodock
