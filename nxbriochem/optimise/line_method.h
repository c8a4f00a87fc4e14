// What the methods that search along lines share. Private to this directory; C++ only.
#ifndef NXBRIOCHEM_OPTIMISE_LINE_METHOD_H
#define NXBRIOCHEM_OPTIMISE_LINE_METHOD_H

#include <algorithm>
#include <cstdint>

namespace opt {

// A run of methods 2 or 3. The workspace starts with the arrays trial, d, g0 and g of n doubles each.
class LineMethod {
 public:
  // The value at x and the line step are the method's own variables.
  LineMethod(int32_t slot, double* x, double& value, double& step);
  LineMethod(const LineMethod&) = delete;
  LineMethod& operator=(const LineMethod&) = delete;

 protected:
  ~LineMethod() = default;

  // What an iteration came to. `step`: x moved to a lower point, and update() has yet to take in what that tells.
  // `lower`: x moved to a lower point, and d and g0 are as the next search needs them. `nothing`: no lower point was
  // found. With the last two, the step is a small one to go on with.
  enum class Moved { step, lower, nothing };
  // Searches along d, and once more when that fails.
  Moved move();

  // Moves x to the trial point, and keeps what update() needs.
  virtual void take_step() = 0;
  // Takes in what the last step tells of the curvature: new d, g0 and first step along d.
  virtual void update() = 0;

  // The value and the gradient at x: whether they are finite.
  bool evaluate_start();
  bool start_is_flat() const;
  // The step along -g with which a run starts: the caller's, or one that moves no variable by more than a half, nor by
  // more than its derivative unless that is next to nothing.
  double first_step() const;
  // The step to try first where the last one told of no positive curvature, so that the model is as it was: 1, but no
  // more than twice the last one. Where a step of 1 led far over a wall, beyond which the slope is negative again, all
  // that the search can find is a tiny step this side of it; with 1 again, the next search would find the same.
  double step_without_update() const { return std::min(1.0, 2 * step_); }
  // The caller's first step, if there is one.
  double given_step(double otherwise) const;
  // Whether what the model promises along d is below what doubles resolve: the decrease is lost in the rounding of the
  // value, or the step in that of x. A search that fails there has not failed for a bad model.
  bool at_working_precision() const;
  // The same asked of the function, by one evaluation a little further along the steepest descent d that has just
  // failed: whether the step to the minimum there, or what it gains, is lost in the rounding. The model cannot be asked
  // alone: kinks, walls and wrong gradients shrink it to nothing. Takes the point if it is lower.
  bool confirmed_by_probe();

  double slope() const;
  double grms() const;
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
  double& step_;
  double square_ = 0;  // of the gradient at x: the gradient measure

 private:
  enum class Found { step, lower, nothing };
  Found search();
  void shorten();
};

}  // namespace opt

#endif
