#include <gtest/gtest.h>
#include <nxbriochem/geometry/coulomb_kernels_internal.h>
#include <nxbriochem/objects/memory.h>

#include <tests/support/pqr_atoms.h>
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

using coulomb::Kernel;
using coulomb::PairSum;
using coulomb::Sites;
using test_support::Charges;

namespace {

Sites sites(const Charges& charges) { return {charges.records.data(), charges.q.data(), charges.count()}; }

// The definition of the sum, written independently: every intermediate value is stored in a variable of its precision.
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

// All versions that the processor supports must give the bits of the definition.
void expect_all_equal(const Charges& target, const Charges& ligand) {
  const PairSum expected = by_definition(target, ligand);
  for (const Kernel kernel : coulomb::supported_kernels()) {
    const PairSum sum = coulomb::sum_pairs(sites(target), sites(ligand), kernel);
    EXPECT_TRUE(same_bits(sum.total, expected.total))
        << coulomb::name_of(kernel) << ", " << target.count() << " by " << ligand.count() << ": " << sum.total
        << " for " << expected.total;
    EXPECT_EQ(sum.coincident, expected.coincident) << coulomb::name_of(kernel);
  }
}

// Charges on a coarse lattice, so that some pairs coincide. Some charges are zero.
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
    // Every other round leaves out the values that make a whole sum infinite or not a number, so that finite extremes
    // are tested too.
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

// Sums that lie on the boundary between two floats, where the smallest error of a term changes the rounding. Each term
// is below the power of two of the sum and has an odd last bit; its distance has an exact square root.
TEST(PairSum, AllVersionsRoundAlikeAtTheBoundaries) {
  std::mt19937 random(11);
  for (int round = 0; round < 4000; ++round) {
    Charges target;
    for (int i = 0; i < 1 + round % 50; ++i) {
      target.add(0, 0, 0, 1);
    }
    Charges ligand;
    const float scale = std::ldexp(random() % 2 == 0 ? 1.0F : -1.0F, static_cast<int>(random() % 40) - 20);
    for (int k = 0; k < 4; ++k) {
      const auto above = static_cast<float>((1 << 23) + static_cast<int>(random() % (1 << 22)));
      ligand.add(1, 0, 0, above * scale);
      const auto odd = 0.5F * static_cast<float>((1 << 23) + 2 * static_cast<int>(random() % (1 << 21)) + 1);
      const auto distance = static_cast<float>(1 << (random() % 8));
      ligand.add(0, distance, 0, odd * distance * scale);
      // Subtracts the sum again, so that the next boundary starts from 0.
      const float sum = static_cast<float>(double{above * scale} + double{odd * scale});
      ligand.add(0, 0, 1, -sum);
    }
    expect_all_equal(target, ligand);
  }
}

// Many ordinary sums, and sums near 0 of large terms.
TEST(PairSum, AllVersionsAgreeOnLongSums) {
  std::mt19937 random(13);
  std::uniform_real_distribution<float> place(-30, 30);
  std::uniform_real_distribution<float> charge(-1, 1);
  for (int round = 0; round < 20; ++round) {
    Charges sets[2];
    for (Charges& set : sets) {
      for (int i = 0; i < 300; ++i) {
        const float x = place(random);
        const float y = place(random);
        const float z = place(random);
        const float q = charge(random);
        set.add(x, y, z, q);
        if (round % 2 == 0) {
          set.add(x, y, z + 1e-4F, -q);
        }
      }
    }
    expect_all_equal(sets[0], sets[1]);
  }
}

TEST(PairSum, ChoosesASupportedVersion) {
  const auto all = coulomb::supported_kernels();
  EXPECT_NE(std::find(all.begin(), all.end(), coulomb::fastest_kernel()), all.end());
}
