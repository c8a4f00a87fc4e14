#include <nxbriochem/util/prand.h>

#include <gtest/gtest.h>

#include <numeric>
#include <random>
#include <set>
#include <vector>

#include <nxbriochem/objects/memory.h>
#include <nxbriochem/util/prand_state.h>

namespace {

prand::Sequence determine(uint32_t n) {
  prand::Sequence sequence{n, 0, 0, 0, 0};
  prand::DetermineSequence(sequence);
  return sequence;
}

// Hull and Dobell's conditions for the full period, with factors found by plain trial division.
void expect_full_period(const prand::Sequence& s) {
  const uint64_t m = s.modulus;
  ASSERT_GE(m, s.range);
  ASSERT_LT(m - s.range, s.range);
  ASSERT_EQ(std::gcd(static_cast<uint64_t>(s.increment), m), 1U) << s.range;
  const uint64_t a1 = (s.multiplier + m - 1) % m;
  if (m % 4 == 0) {
    ASSERT_EQ(a1 % 4, 0U) << s.range;
  }
  uint64_t rest = m;
  for (uint64_t p = 2; p * p <= rest; ++p) {
    if (rest % p == 0) {
      ASSERT_EQ(a1 % p, 0U) << s.range << " has the factor " << p;
      while (rest % p == 0) {
        rest /= p;
      }
    }
  }
  ASSERT_EQ(a1 % rest, 0U) << s.range << " has the factor " << rest;
}

TEST(Prand, RunsThroughTheWholeCycleForEverySmallRange) {
  for (uint32_t n = 1; n <= 3000; ++n) {
    const int handle = nx_make_rseq_with_prime(n);
    std::vector<bool> seen(n, false);
    for (uint32_t i = 0; i < n; ++i) {
      const uint32_t value = nx_rand(handle);
      ASSERT_LT(value, n);
      ASSERT_FALSE(seen[value]) << value << " comes twice for N = " << n;
      seen[value] = true;
    }
    nx_delete_rseq(handle);
  }
}

TEST(Prand, MeetsTheConditionsOfTheFullPeriodForLargeRanges) {
  for (const uint32_t n : {70092U, 982569952U, 4294967295U, 4294967294U, 4294967291U, 4294901760U, 4243659659U}) {
    expect_full_period(determine(n));
  }
  for (uint32_t n = 4294967295U - 300; n < 4294967295U; ++n) {
    expect_full_period(determine(n));
  }
  std::mt19937 random(1);
  for (int i = 0; i < 300; ++i) {
    expect_full_period(determine(static_cast<uint32_t>(random() >> (random() % 20)) | 1U));
  }
}

TEST(Prand, DoubleModulusIsTheRemainderOf64BitsBy32) {
  std::mt19937_64 random(2);
  for (int i = 0; i < 200000; ++i) {
    const uint64_t value = random();
    const auto m = static_cast<uint32_t>(random() >> (32 + random() % 32)) | 1U;
    ASSERT_EQ(prand::DoubleModulus(static_cast<uint32_t>(value >> 32), static_cast<uint32_t>(value), m), value % m);
  }
  EXPECT_EQ(prand::DoubleModulus(0xFFFFFFFFU, 0xFFFFFFFFU, 0xFFFFFFFFU), 0U);
}

TEST(Prand, SequencesAreReproducibleAndIndependent) {
  const int a = nx_make_rseq_with_prime_and_seed(1000, 7);
  const int b = nx_make_rseq_with_prime_and_seed(1000, 7);
  const int other = nx_make_rseq();
  std::vector<uint32_t> first;
  for (int i = 0; i < 50; ++i) {
    first.push_back(nx_rand(a));
    nx_rand(other);
  }
  for (const uint32_t value : first) {
    EXPECT_EQ(nx_rand(b), value);
  }
  EXPECT_EQ(nx_set_seed(a, 7), 1);
  EXPECT_EQ(nx_rand(a), first[0]);
  nx_set_seed(a, 2007);
  EXPECT_EQ(prand::rseq[a - 1].state, 7U);
  nx_set_seed(a, 1000);  // a seed of exactly N is stored as it is
  EXPECT_EQ(prand::rseq[a - 1].state, 1000U);
  EXPECT_LT(nx_rand(a), 1000U);
}

TEST(Prand, SlotsAreReusedAndTheTableDoubles) {
  std::vector<int> handles;
  for (int i = 0; i < 25; ++i) {
    handles.push_back(nx_make_rseq_with_prime(100));
  }
  EXPECT_EQ(handles.front(), 1);
  EXPECT_EQ(handles.back(), 25);
  EXPECT_EQ(prand::RLinc, 40);
  nx_delete_rseq(4);
  nx_delete_rseq(9);
  EXPECT_EQ(nx_make_rseq(), 4);
  EXPECT_EQ(nx_make_rseq(), 9);
  EXPECT_EQ(nx_make_rseq(), 26);
}

TEST(Prand, RangeIsRelativeToZeroAndDrawsNothingWhenTheSpanDividesN) {
  const int handle = nx_make_rseq_with_prime(1000);
  const uint32_t before = prand::rseq[handle - 1].state;
  EXPECT_EQ(nx_rand_range(handle, 10, 10), 10);
  EXPECT_EQ(nx_rand_range(handle, 10, 20), 0);
  EXPECT_EQ(prand::rseq[handle - 1].state, before);
  std::set<int> seen;
  for (int i = 0; i < 2000; ++i) {
    seen.insert(nx_rand_range(handle, 100, 107));
  }
  EXPECT_EQ(*seen.begin(), 0);
  EXPECT_EQ(*seen.rbegin(), 6);
  // A span above N leaves only 0, where drawing one by one would end as well, after up to N draws.
  const int large = nx_make_rseq_with_prime(4000000000U);
  EXPECT_EQ(nx_rand_range(large, INT32_MIN, INT32_MAX), 0);
  EXPECT_EQ(prand::rseq[large - 1].state, 0U);
}

TEST(Prand, FloatsKeepTheirEnds) {
  const int handle = nx_make_rseq_with_prime(5);
  float least_open = 1.0F;
  float most_closed = 0.0F;
  float most_open = 0.0F;
  for (int i = 0; i < 5; ++i) {
    most_closed = std::max(most_closed, nx_rand_float(handle));
  }
  for (int i = 0; i < 5; ++i) {
    least_open = std::min(least_open, nx_rand_float_exclude_zero(handle));
  }
  for (int i = 0; i < 5; ++i) {
    most_open = std::max(most_open, nx_rand_float_exclude_one(handle));
  }
  EXPECT_EQ(most_closed, 1.0F);
  EXPECT_FLOAT_EQ(least_open, 0.2F);
  EXPECT_FLOAT_EQ(most_open, 0.8F);
  // The last value over N rounds to 1 as a float.
  const int large = nx_make_rseq_with_prime(4294967295U);
  prand::Sequence& s = prand::rseq[large - 1];
  s.multiplier = 0;
  s.increment = 4294967294U;
  EXPECT_LT(nx_rand_float_exclude_one(large), 1.0F);
  EXPECT_EQ(nx_rand_float(large), 1.0F);
  EXPECT_EQ(nx_rand_float(nx_make_rseq_with_prime(1)), 0.0F);
}

TEST(Prand, UnknownHandlesAndEmptyRangesFail) {
  EXPECT_EQ(nx_make_rseq_with_prime(0), 0);
  for (const int handle : {0, -1, 1, 99}) {
    EXPECT_EQ(nx_set_seed(handle, 1), 0);
    EXPECT_EQ(nx_delete_rseq(handle), 0);
    EXPECT_EQ(nx_rand(handle), 0U);
    EXPECT_EQ(nx_rand_range(handle, 3, 3), 0);
    EXPECT_EQ(nx_rand_float(handle), 0.0F);
  }
}

TEST(Prand, StartsAnewAfterAllMemoryWasFreed) {
  nx_make_rseq();
  nx_free_all_memory();
  EXPECT_EQ(nx_rand(1), 0U);
  EXPECT_EQ(nx_make_rseq(), 1);
}

}  // namespace
