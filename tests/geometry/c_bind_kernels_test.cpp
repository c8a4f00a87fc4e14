#include <gtest/gtest.h>
#include <nxbriochem/geometry/c_bind_kernels.h>
#include <nxbriochem/geometry/instruction_set_internal.h>
#include <nxbriochem/objects/memory.h>

#include <tests/support/pqr_atoms.h>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

using c_bind::PairSum;
using c_bind::Sites;
using instruction_set::InstructionSet;
using test_support::Charges;

namespace {

Sites sites(const Charges& charges) { return {charges.records.data(), charges.q.data(), charges.count()}; }

// The sum as it is defined, written out a second time: every intermediate value in a variable of its width.
PairSum by_definition(const Charges& target, const Charges& ligand) {
  PairSum sum;
  for (std::size_t i = 0; i < target.q.size(); ++i) {
    float inner = 0;
    for (std::size_t j = 0; j < ligand.q.size() && target.q[i] != 0; ++j) {
      if (ligand.q[j] == 0) {
        continue;
      }
      float r2 = 0;
      for (std::size_t k = 0; k < 3; ++k) {
        const float d = target.records[9 * i + k] - ligand.records[9 * j + k];
        const float square = d * d;
        r2 = k == 0 ? square : r2 + square;
      }
      if (r2 == 0) {
        ++sum.coincident;
        continue;
      }
      const double root = std::sqrt(double{r2});
      const double quotient = double{ligand.q[j]} / root;
      const double wide = double{inner} + quotient;
      inner = static_cast<float>(wide);
    }
    if (target.q[i] != 0) {
      const float product = inner * target.q[i];
      sum.total = sum.total + product;
    }
  }
  return sum;
}

bool same_bits(float a, float b) {
  return (std::isnan(a) && std::isnan(b)) || std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b);
}

// All versions that the processor has give the defined sum, to the bit.
void expect_all_equal(const Charges& target, const Charges& ligand) {
  const PairSum expected = by_definition(target, ligand);
  for (const InstructionSet set : instruction_set::supported()) {
    const PairSum sum = c_bind::sum_pairs(sites(target), sites(ligand), set);
    EXPECT_TRUE(same_bits(sum.total, expected.total))
        << instruction_set::name_of(set) << ", " << target.count() << " by " << ligand.count() << ": " << sum.total
        << " for " << expected.total;
    EXPECT_EQ(sum.coincident, expected.coincident) << instruction_set::name_of(set);
  }
}

// Charges on a coarse lattice, so that some pairs are at one place, and some of them zero.
Charges random_charges(std::mt19937& random, int count) {
  std::uniform_int_distribution<int> place(-3, 3);
  std::uniform_real_distribution<float> jitter(-0.5F, 0.5F);
  std::uniform_real_distribution<float> charge(-1.0F, 1.0F);
  Charges charges;
  for (int i = 0; i < count; ++i) {
    const float off = random() % 2 == 0 ? 0.0F : jitter(random);
    const float q = random() % 5 == 0 ? (random() % 2 == 0 ? 0.0F : -0.0F) : charge(random);
    charges.add(static_cast<float>(place(random)) + off, static_cast<float>(place(random)),
                static_cast<float>(place(random)), q);
  }
  return charges;
}

}  // namespace

// Every remainder of every block size on both sides.
TEST(PairSum, AllVersionsGiveTheDefinedBitsForEverySize) {
  std::mt19937 random(20240);
  for (int n1 = 0; n1 <= 52; ++n1) {
    for (int n2 = 0; n2 <= 40; n2 += n2 < 10 ? 1 : 10) {
      expect_all_equal(random_charges(random, n1), random_charges(random, n2));
    }
  }
  EXPECT_EQ(nx_total_number_of_active_pointers(), 0);
}

TEST(PairSum, AllVersionsAgreeOnExtremeInput) {
  using Limits = std::numeric_limits<float>;
  constexpr float kMax = Limits::max();
  constexpr float kInfinity = Limits::infinity();
  const float values[] = {
      0.0F,          -0.0F, 1.0F, -1.0F, 0.3F,      1e-30F,     Limits::denorm_min(), -Limits::denorm_min(),
      Limits::min(), 1e19F, kMax, -kMax, kInfinity, -kInfinity, Limits::quiet_NaN()};
  std::mt19937 random(7);
  for (int round = 0; round < 20000; ++round) {
    // Early rounds leave out what makes a whole sum infinite or not a number, so that finite extremes are seen too.
    const std::size_t kinds = round % 2 == 0 ? 9 : std::size(values);
    const auto pick = [&] { return values[random() % kinds]; };
    Charges sets[2];
    for (Charges& set : sets) {
      const auto count = static_cast<int>(random() % 12);
      for (int i = 0; i < count; ++i) {
        set.add(pick(), pick(), pick(), pick());
      }
    }
    expect_all_equal(sets[0], sets[1]);
    if (HasFailure()) {
      return;
    }
  }
}
