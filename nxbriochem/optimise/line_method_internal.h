// What the methods that search along lines share. Private to this directory; C++ only.
#ifndef NXBRIOCHEM_OPTIMISE_LINE_METHOD_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_LINE_METHOD_INTERNAL_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

#include <nxbriochem/optimise/evaluation_internal.h>

namespace opt {

// A run of methods 2 or 3. The workspace starts with the arrays trial, d, g0 and g of n doubles each.
class LineMethod {
 public:
  // `value` (at x) and `step` (of the last line search) are variables of the method, which this class updates.
  LineMethod(int32_t slot, double* x, double& value, double& step);
  LineMethod(const LineMethod&) = delete;
  LineMethod& operator=(const LineMethod&) = delete;

 protected:
  ~LineMethod() = default;

  // The result of an iteration. `step`: x moved to a lower point, and update() is still to be called. `lower`: x moved
  // to a lower point, and d and g0 are ready for the next search. `nothing`: no lower point was found. After the last
  // two, the next search starts with a small step.
  enum class Moved { step, lower, nothing };
  // Searches along d, and once more when that fails.
  Moved move();
  // Whether a search of the last move() accepted its step, or ran out of tries while still descending. A search that
  // failed may have found a lower point nevertheless.
  bool accepted() const { return accepted_; }

  // Moves x to the trial point and stores what update() needs.
  virtual void take_step() = 0;
  // Updates the model with the curvature along the last step, and sets d, g0 and next_step_.
  virtual void update() = 0;

  // Computes the value and the gradient at x. True when they are finite.
  bool evaluate_start();
  bool start_is_flat() const;
  // The first step of a run along -g: the caller's, or else the largest step that is at most 1 and moves no variable by
  // more than 0.5. A step too small to change the values is made larger.
  double first_step() const;
  // The first step of the next search when the last step had no positive curvature, so that the model was not updated:
  // twice the last step, at most 10. When a step of 1 crosses a barrier into a region where the slope is negative
  // again, the search accepts only a tiny step before the barrier, and starting with 1 again would repeat that. On a
  // plateau doubling makes the steps grow.
  double step_without_update() const { return std::min(10.0, 2 * std::abs(step_)); }
  // The caller's first step, if there is one.
  double given_step(double otherwise) const;
  // Whether the decrease that the model predicts along d is below the rounding of the value, or the predicted step
  // below the rounding of x. A failed search there does not mean that the model is bad.
  bool at_working_precision() const;
  // Whether x is a minimum to working precision, by one evaluation a little way along d, the direction of steepest
  // descent in which a search has just failed: the step to the minimum along d, or its decrease, must be below
  // rounding. The model alone does not show it, because kinks, barriers and wrong gradients make its steps arbitrarily
  // small. Moves x to the point if it is lower.
  bool confirmed_by_probe();

  // Records the last step s and the change y of the gradient along it, for settled().
  void note_curvature(double ss, double yy, double sy);
  // Whether the run converges slowly to a singular minimum and the remaining decrease is below rounding.
  bool settled() const { return settled_; }

  double slope() const;
  double grms() const;
  const Line& line() const { return line_; }
  double* array(int k) const { return trial_ + static_cast<int64_t>(k) * n_; }
  bool tracing() const;
  void set_steepest(double scale);

  int32_t slot_;
  int32_t n_;
  double* x_;
  double* trial_;  // a point of the line
  double* d_;
  double* g0_;  // the gradient at x
  double* g_;   // the gradient at the trial point
  double& value_;
  double& step_;          // of the last search
  double next_step_ = 0;  // the first try of the next one
  double square_ = 0;     // of the gradient at x: the gradient measure

 private:
  // Consecutive iterations: their decrease of the value, the sum of their squared steps, their largest curvature.
  struct Block {
    double gain = 0;
    double steps = 0;
    double stiffest = 0;
    double curvature() const { return gain / steps; }
  };
  static constexpr int kBlocks = 4;
  static constexpr int kBlockSize = 5;

  enum class Found { step, lower, nothing };
  Found search();
  bool ran_out_descending(const Trial& start) const;
  void shorten();
  bool creeps() const;
  Block joined(int first) const;

  Line line_ = {};  // of the last search
  bool accepted_ = false;
  std::array<Block, kBlocks> blocks_ = {};  // the newest last
  int noted_ = 0;
  double value_noted_ = 0;
  double size_ = 0;  // the largest variable with a nonzero derivative so far in the run
  bool settled_ = false;
};

}  // namespace opt

#endif
