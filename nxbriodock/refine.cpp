// Refinement as callers see it: of one pose and of many.
#include <nxbriodock/pose.h>
#include <nxbriodock/refine.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

#include "refiner.h"
#include "reports.h"

namespace nxbriodock {
namespace {

using Clock = std::chrono::steady_clock;

// How often the callback for many poses is called.
constexpr std::chrono::milliseconds kInterval{80};

// The work uses a copy, so that callbacks and other threads may change the object meanwhile.
Energy copy_of(int handle) {
  const auto energy = energy_of(handle);
  energy->require_both();
  return *energy;
}

bool flagged(const RefineSettings& settings) { return settings.stop != nullptr && *settings.stop != 0; }

// Many poses: threads take them one after the other, while the calling thread reports progress.
class Poses {
 public:
  Poses(const Energy& energy, const double* poses, int n) : energy_(energy), results_(static_cast<std::size_t>(n)) {
    for (std::size_t i = 0; i < results_.size(); ++i) {
      placements_.push_back(energy.placement_of_pose(poses + NXD_POSE * i));
    }
  }

  void run(int threads) {
    const auto wanted = std::min(static_cast<std::size_t>(threads), results_.size());
    std::vector<std::jthread> workers;
    if (wanted > 1) {
      try {
        for (std::size_t i = 0; i < wanted; ++i) {
          workers.emplace_back([this] { work(false); });
        }
      } catch (const std::system_error&) {
        // When not all threads can be started, the others do all the work.
      }
    }
    if (workers.empty()) {
      work(true);
    } else {
      watch(workers.size());
    }
    workers.clear();  // joins
    if (error_) {
      std::rethrow_exception(error_);
    }
  }

  // The number of poses that are finished.
  int take(double* poses, nxd_refinement* results) const {
    int finished = 0;
    for (std::size_t i = 0; i < results_.size(); ++i) {
      const int ended = results_[i].ended;
      finished += ended != NXD_NOT_STARTED && ended != NXD_INTERRUPTED ? 1 : 0;
      if (ended != NXD_NOT_STARTED && ended != NXD_NOT_FINITE && moved(results_[i])) {
        write_pose(placements_[i], energy_.centre, poses + NXD_POSE * i);
      }
      if (results != nullptr) {
        results[i] = results_[i];
      }
    }
    return finished;
  }

  // Whether the pose moved. A pose that did not move must keep its bits.
  static bool moved(const nxd_refinement& result) { return result.iterations > 0 && result.start_kept == 0; }

 private:
  // Takes poses until there are none. When `alone`, it runs on the calling thread and also reports progress.
  void work(bool alone) noexcept {
    try {
      Workspace workspace;
      for (std::size_t i = next_++; i < results_.size() && !is_to_end(); i = next_++) {
        results_[i] = refine(
            energy_, placements_[i], 1,
            [&](int, const Placement&, double, bool) {
              if (alone && Clock::now() - told_ > kInterval) {
                tell();
              }
              return is_to_end();
            },
            workspace);
        {
          const std::lock_guard lock(turn_);
          ++done_;
          changed_.notify_one();
        }
        if (alone) {
          tell();
        }
      }
    } catch (...) {
      const std::lock_guard lock(turn_);
      error_ = std::current_exception();
      end_ = true;
    }
    const std::lock_guard lock(turn_);
    ++ended_;
    changed_.notify_one();
  }

  void watch(std::size_t workers) {
    std::unique_lock lock(turn_);
    int told = 0;
    while (ended_ < workers) {
      changed_.wait_for(lock, kInterval, [&] { return done_ > told || ended_ == workers; });
      told = done_;
      lock.unlock();
      tell();
      lock.lock();
    }
  }

  bool is_to_end() const { return end_ || flagged(energy_.refinement); }

  void tell() {
    told_ = Clock::now();
    const RefineSettings& settings = energy_.refinement;
    if (settings.on_pose != nullptr &&
        settings.on_pose(done_, static_cast<int>(results_.size()), settings.on_pose_data) != 0) {
      end_ = true;
    }
  }

  const Energy& energy_;
  std::vector<Placement> placements_;
  std::vector<nxd_refinement> results_;
  std::atomic<std::size_t> next_{0};
  std::atomic<bool> end_{false};
  std::mutex turn_;
  std::condition_variable changed_;
  std::atomic<int> done_{0};
  std::size_t ended_ = 0;
  std::exception_ptr error_;
  Clock::time_point told_ = Clock::now();
};

// Changes the settings of an object.
template <class Change>
int set(const char* function, int handle, Change change) {
  return guarded(function, 0, [&] {
    change(energy_of(handle)->refinement);
    return 1;
  });
}

}  // namespace
}  // namespace nxbriodock

using namespace nxbriodock;

int nxd_refine_pose(double* pose, nxd_refinement* result, int energy) {
  return guarded("nxd_refine_pose", 0, [&] {
    const Energy object = copy_of(energy);
    const RefineSettings& settings = object.refinement;
    Placement placement = object.placement_of_pose(pose);
    Workspace workspace;
    const nxd_refinement refinement = refine(
        object, placement, threads_of(object.threads),
        [&](int iteration, const Placement& lowest, double value, bool pushing) {
          std::array<double, NXD_POSE> at{};
          write_pose(lowest, object.centre, at.data());
          const bool asked =
              settings.on_iteration != nullptr &&
              settings.on_iteration(iteration, at.data(), value, pushing ? 1 : 0, settings.on_iteration_data) != 0;
          return asked || flagged(settings);
        },
        workspace);
    if (Poses::moved(refinement)) {
      write_pose(placement, object.centre, pose);
    }
    if (result != nullptr) {
      *result = refinement;
    }
    return 1;
  });
}

int nxd_refine_poses(double* poses, nxd_refinement* results, int n, int energy) {
  return guarded("nxd_refine_poses", -1, [&] {
    const Energy object = copy_of(energy);
    if (n < 0) {
      throw Refused("%d poses", n);
    }
    if (n == 0) {
      return 0;
    }
    Poses work(object, needed(poses, "poses"), n);
    work.run(threads_of(object.threads));
    return work.take(poses, results);
  });
}

const char* nxd_get_ending_name(int ended) {
  constexpr std::array<const char*, 9> kNames = {
      "not started", "converged",         "jammed",      "flat",      "let go",
      "no progress", "out of iterations", "interrupted", "not finite"};
  return ended >= 0 && static_cast<std::size_t>(ended) < kNames.size() ? kNames[static_cast<std::size_t>(ended)]
                                                                       : nullptr;
}

int nxd_set_refine_iterations(int most, int energy) {
  return set("nxd_set_refine_iterations", energy, [&](RefineSettings& settings) {
    if (most < 0) {
      throw Refused("%d iterations", most);
    }
    settings.most_iterations = most;
  });
}

int nxd_set_refine_tolerance(double gradient, int energy) {
  return set("nxd_set_refine_tolerance", energy, [&](RefineSettings& settings) {
    if (!(gradient > 0.0) || !std::isfinite(gradient)) {
      throw Refused("the tolerance is no finite number above 0");
    }
    settings.tolerance = gradient;
  });
}

int nxd_set_refine_step(double largest, int energy) {
  return set("nxd_set_refine_step", energy, [&](RefineSettings& settings) {
    if (!(largest > 0.0) || !std::isfinite(largest)) {
      throw Refused("the largest step is no finite number above 0");
    }
    settings.largest_step = largest;
  });
}

int nxd_set_refine_push(int on, int energy) {
  return set("nxd_set_refine_push", energy, [&](RefineSettings& settings) { settings.push_out = on != 0; });
}

int nxd_set_iteration_callback(nxd_iteration_callback callback, void* data, int energy) {
  return set("nxd_set_iteration_callback", energy, [&](RefineSettings& settings) {
    settings.on_iteration = callback;
    settings.on_iteration_data = data;
  });
}

int nxd_set_poses_callback(nxd_poses_callback callback, void* data, int energy) {
  return set("nxd_set_poses_callback", energy, [&](RefineSettings& settings) {
    settings.on_pose = callback;
    settings.on_pose_data = data;
  });
}

int nxd_set_interrupt_flag(const volatile int* flag, int energy) {
  return set("nxd_set_interrupt_flag", energy, [&](RefineSettings& settings) { settings.stop = flag; });
}
