// Refinement: the minima that it finds and the results that it reports. Neither threads nor interruptions may change
// the results of other poses.
#include <nxbriochem/nxbriochem.h>

#include <algorithm>
#include <cstring>

#include "tests/dock/random_sides.h"

namespace {

using namespace dock_tests;
using Pose = std::array<double, NXD_POSE>;

const Pose kAsSet{1, 0, 0, 0, 0, 0, 0};

double total(const nxd_refinement& result) { return result.coulomb + result.twelve_six; }

// Single atoms of equal radius, for which the minimum is known in closed form.
Side atoms(const std::vector<double>& coordinates, double charge, double distance = 3.5, double depth = 0.2) {
  const std::size_t n = coordinates.size() / 3;
  return {coordinates, std::vector<double>(n, charge), std::vector<double>(n, distance), std::vector<double>(n, depth)};
}

nxd_refinement refined(const Side& target, const Side& ligand, Pose& pose) {
  const int energy = energy_of(target, ligand);
  nxd_refinement result{};
  EXPECT_EQ(nxd_refine_pose(pose.data(), &result, energy), 1);
  nxd_delete_energy(energy);
  return result;
}

TEST(DockRefine, SaysHowItEnded) {
  const Side one = atoms({0, 0, 0}, 0);
  Pose pose = kAsSet;
  nxd_refinement result = refined(one, atoms({6.5, 1, 0}, 0), pose);
  EXPECT_EQ(result.ended, NXD_CONVERGED);
  EXPECT_NEAR(total(result), -0.2, 1e-9);
  EXPECT_NEAR(result.distance, 3.5, 1e-4);
  EXPECT_NEAR(result.fraction, 1.0, 1e-4);
  EXPECT_LT(result.gradient, 1e-3);

  // Midway between two wells the force is 0, but it is no minimum.
  pose = kAsSet;
  result = refined(atoms({-4.6, 0, 0, 4.6, 0, 0}, 0), one, pose);
  EXPECT_EQ(result.ended, NXD_CONVERGED);
  EXPECT_LT(total(result), -0.2);

  // Atoms at the same place: the force is 0, so that the ligand must be pushed away first.
  pose = kAsSet;
  result = refined(one, one, pose);
  EXPECT_EQ(result.ended, NXD_CONVERGED);
  EXPECT_EQ(result.started_inside, 1);
  EXPECT_GT(result.start_twelve_six, 1e3);
  EXPECT_NEAR(total(result), -0.2, 1e-9);

  // In a cage that is too narrow.
  pose = {1, 0, 0, 0, 0.1, 0.2, 0};
  result = refined(atoms({2, 0, 0, -2, 0, 0, 0, 2, 0, 0, -2, 0, 0, 0, 2, 0, 0, -2}, 0), one, pose);
  EXPECT_EQ(result.ended, NXD_JAMMED);
  EXPECT_EQ(result.overlaps, 1);

  pose = kAsSet;
  result = refined(one, atoms({0, 60, 0}, 0), pose);
  EXPECT_EQ(result.ended, NXD_FLAT);
  EXPECT_EQ(result.iterations, 0);
  EXPECT_EQ(pose, kAsSet);

  // Two charges that repel one another move apart without end. No run may report that as a minimum.
  pose = kAsSet;
  result = refined(atoms({0, 0, 0}, 90), atoms({30, 0, 0}, 90), pose);
  EXPECT_EQ(result.ended, NXD_LET_GO);
  EXPECT_GT(result.distance, 1000.0);
  EXPECT_LT(result.distance, 3000.0);

  pose = kAsSet;
  result = refined(atoms({0, 0, 0}, 1e200), atoms({30, 0, 0}, 1e200), pose);
  EXPECT_EQ(result.ended, NXD_NOT_FINITE);
  EXPECT_EQ(pose, kAsSet);
  for (int ended = NXD_NOT_STARTED; ended <= NXD_NOT_FINITE; ++ended) {
    EXPECT_NE(nxd_get_ending_name(ended), nullptr);
  }
  EXPECT_EQ(nxd_get_ending_name(-1), nullptr);
  EXPECT_EQ(nxd_get_ending_name(NXD_NOT_FINITE + 1), nullptr);
}

struct Seen {
  int energy = 0;
  int calls = 0;
  int stop_at = 0;
  double value = INFINITY;
  double longest = 0.0;
  Pose last = kAsSet;
};

int look(int iteration, const double* pose, double value, int pushing, void* data) {
  Seen& seen = *static_cast<Seen*>(data);
  EXPECT_EQ(iteration, ++seen.calls);
  EXPECT_EQ(pushing, 0);
  EXPECT_LE(value, seen.value + 1e-9);
  double coulomb = 0;
  double twelve_six = 0;
  // An object may be evaluated and changed during a refinement.
  EXPECT_EQ(nxd_get_energy_at_pose(pose, &coulomb, &twelve_six, nullptr, seen.energy), 1);
  EXPECT_NEAR(coulomb + twelve_six, value, 1e-9 * std::abs(coulomb) + 1e-9);
  double rms = 0;
  nxd_get_pose_rms(seen.last.data(), pose, &rms, seen.energy);
  seen.longest = std::max(seen.longest, rms);
  std::copy_n(pose, NXD_POSE, seen.last.begin());
  seen.value = value;
  return seen.calls == seen.stop_at ? 1 : 0;
}

TEST(DockRefine, FallsInShortStepsUntilItIsStopped) {
  Random random(12);
  Side target = random.side(200, 9.0);
  std::ranges::fill(target.distances, 3.5);
  Side ligand = random.side(10, 2.5);
  std::ranges::fill(ligand.distances, 3.5);
  for (std::size_t i = 0; i < ligand.charges.size(); ++i) {
    ligand.coordinates[3 * i] += 14.0;
  }
  const int energy = energy_of(target, ligand);
  nxd_set_uniform_dielectric(20.0, energy);
  Seen seen{energy};
  nxd_set_iteration_callback(look, &seen, energy);
  nxd_set_refine_step(0.3, energy);
  Pose pose = kAsSet;
  nxd_refinement result{};
  ASSERT_EQ(nxd_refine_pose(pose.data(), &result, energy), 1);
  EXPECT_EQ(result.ended, NXD_CONVERGED);
  EXPECT_EQ(seen.calls, result.iterations);
  EXPECT_GT(seen.longest, 0.2);
  EXPECT_LT(seen.longest, 0.3 * 1.01);
  EXPECT_NEAR(seen.value, total(result), 1e-9);
  EXPECT_LT(total(result), result.start_coulomb + result.start_twelve_six);
  EXPECT_EQ(pose, seen.last);
  const int whole = result.iterations;

  for (const bool by_flag : {false, true}) {
    seen = {energy, 0, by_flag ? 0 : 4};
    const int flag = 1;
    nxd_set_interrupt_flag(by_flag ? &flag : nullptr, energy);
    pose = kAsSet;
    ASSERT_EQ(nxd_refine_pose(pose.data(), &result, energy), 1);
    EXPECT_EQ(result.ended, NXD_INTERRUPTED);
    EXPECT_EQ(result.iterations, by_flag ? 1 : 4);
    EXPECT_EQ(pose, seen.last);
  }
  nxd_set_interrupt_flag(nullptr, energy);
  nxd_set_iteration_callback(nullptr, nullptr, energy);
  nxd_set_refine_iterations(whole - 2, energy);
  pose = kAsSet;
  ASSERT_EQ(nxd_refine_pose(pose.data(), &result, energy), 1);
  EXPECT_EQ(result.ended, NXD_OUT_OF_ITERATIONS);
  nxd_set_refine_iterations(0, energy);
  const Pose before = pose;
  ASSERT_EQ(nxd_refine_pose(pose.data(), &result, energy), 1);
  EXPECT_EQ(pose, before);
}

int stop_after(int done, int, void* data) { return done >= *static_cast<int*>(data) ? 1 : 0; }

TEST(DockRefine, ManyPosesAreEachAsAlone) {
  Random random(14);
  const int energy = energy_of(random.side(150, 8.0), random.side(6, 2.0));
  constexpr int kPoses = 24;
  std::vector<double> start;
  for (int i = 0; i < kPoses; ++i) {
    std::array<double, 6> x = random.variables(8.0, 5.0);
    Pose pose{};
    nxd_get_pose_at(x.data(), pose.data(), energy);
    start.insert(start.end(), pose.begin(), pose.end());
  }
  std::vector<double> alone = start;
  std::vector<nxd_refinement> expected(kPoses);
  for (std::size_t i = 0; i < kPoses; ++i) {
    nxd_refine_pose(&alone[NXD_POSE * i], &expected[i], energy);
  }
  for (const int threads : {1, 2, 5}) {
    nxd_set_threads(threads, energy);
    std::vector<double> poses = start;
    std::vector<nxd_refinement> results(kPoses);
    EXPECT_EQ(nxd_refine_poses(poses.data(), results.data(), kPoses, energy), kPoses);
    EXPECT_EQ(poses, alone);
    EXPECT_EQ(std::memcmp(results.data(), expected.data(), kPoses * sizeof results[0]), 0);

    // An interruption after some poses: finished ones have their usual result; the others are unchanged or partly
    // refined.
    int most = 5;
    nxd_set_poses_callback(stop_after, &most, energy);
    poses = start;
    const int done = nxd_refine_poses(poses.data(), results.data(), kPoses, energy);
    EXPECT_GE(done, most);
    // With one thread the callback is called after each pose; other threads may have finished all poses by then.
    EXPECT_LE(done, threads == 1 ? most : kPoses);
    int finished = 0;
    for (std::size_t i = 0; i < kPoses; ++i) {
      const bool begun = results[i].ended != NXD_NOT_STARTED;
      const bool whole = begun && results[i].ended != NXD_INTERRUPTED;
      finished += whole ? 1 : 0;
      const std::vector<double>& same = whole ? alone : start;
      if (whole || !begun) {
        EXPECT_TRUE(std::equal(&poses[NXD_POSE * i], &poses[NXD_POSE * i] + NXD_POSE, &same[NXD_POSE * i])) << i;
      }
    }
    EXPECT_EQ(finished, done);
    nxd_set_poses_callback(nullptr, nullptr, energy);
  }
  EXPECT_EQ(nxd_refine_poses(nullptr, nullptr, 0, energy), 0);
  EXPECT_EQ(nxd_refine_poses(nullptr, nullptr, 2, energy), -1);
  start[0] = NAN;
  EXPECT_EQ(nxd_refine_poses(start.data(), nullptr, kPoses, energy), -1);
  EXPECT_EQ(nxd_set_refine_step(0, energy), 0);
  EXPECT_EQ(nxd_set_refine_tolerance(NAN, energy), 0);
  EXPECT_EQ(nxd_set_refine_iterations(-1, energy), 0);
}

}  // namespace
