// What the methods that search along lines share. Private to this directory; C++ only.
#ifndef NXBRIOCHEM_OPTIMISE_LINE_METHOD_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_LINE_METHOD_INTERNAL_H

#include <algorithm>
#include <array>
#include <cstdint>

#include <nxbriochem/optimise/evaluation_internal.h>

namespace opt {

// A run of methods 2 or 3. The workspace starts with the arrays trial, d, g0 and g of n doubles each.
class LineMethod {
 public:
  // The value at x and the step of the last line search are the method's own variables.
  LineMethod(int32_t slot, double* x, double& value, double& step);
  LineMethod(const LineMethod&) = delete;
  LineMethod& operator=(const LineMethod&) = delete;

 protected:
  ~LineMethod() = default;

  // What an iteration came to. `step`: x moved to a lower point, and update() has yet to take in what that tells.
  // `lower`: x moved to a lower point, and d and g0 are as the next search needs them. `nothing`: no lower point was
  // found. With the last two, the next search starts with a small step.
  enum class Moved { step, lower, nothing };
  // Searches along d, and once more when that fails.
  Moved move();
  // Whether a search of the last move() accepted its step, or ran out of tries on its way down. A failed one may have
  // found a lower point all the same.
  bool accepted() const { return accepted_; }

  // Moves x to the trial point, and keeps what update() needs.
  virtual void take_step() = 0;
  // Takes in what the last step tells of the curvature: new d, g0 and next_step_.
  virtual void update() = 0;

  // The value and the gradient at x: whether they are finite.
  bool evaluate_start();
  bool start_is_flat() const;
  // The step along -g with which a run starts: the caller's, or one that moves no variable by more than a half, nor by
  // more than its derivative unless that is next to nothing.
  double first_step() const;
  // The first try of the next search where the last step told of no positive curvature, so that the model is as it was:
  // twice the last step. Where a step of 1 led far over a wall, beyond which the slope is negative again, all that the
  // search can find is a tiny step this side of it; with 1 again, the next search would find the same. On a plateau the
  // steps grow, up to ten times what the model says.
  double step_without_update() const { return std::min(10.0, 2 * step_); }
  // The caller's first step, if there is one.
  double given_step(double otherwise) const;
  // Whether what the model promises along d is below what doubles resolve: the decrease is lost in the rounding of the
  // value, or the step in that of x. A search that fails there has not failed for a bad model.
  bool at_working_precision() const;
  // Asks the function whether x is a minimum to working precision, by one evaluation a little further along the
  // steepest descent d that has just failed. It is when the step to the minimum there, or what it gains, is lost in the
  // rounding. The model cannot be asked alone: kinks, walls and wrong gradients shrink it to nothing. Takes the point
  // if it is lower.
  bool confirmed_by_probe();

  // Takes in the last step s and the change y of the gradient by it, for settled().
  void note_curvature(double ss, double yy, double sy);
  // Whether the run creeps towards a singular minimum and what is left to gain is below rounding.
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
  // Some iterations in a row: what they gained, the squares of their steps, and the largest curvature that they met.
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
  double size_ = 0;  // the largest variable in play that the run has seen
  bool settled_ = false;
};

}  // namespace opt

#endif
