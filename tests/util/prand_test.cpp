#include <nxbriochem/util/prand.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <set>
#include <vector>

#include <nxbriochem/objects/memory.h>
#include <nxbriochem/util/prand_state.h>

namespace {

// Hull and Dobell's conditions for the full period, with factors found by plain trial division.
void expect_full_period(const prand::Sequence& s) {
  const uint64_t m = s.modulus;
  ASSERT_GE(m, s.range);
  ASSERT_LT(m - s.range, s.range);
  ASSERT_EQ(std::gcd(static_cast<uint64_t>(s.increment), m), 1U) << s.range;
  const uint64_t a1 = (s.multiplier + m - 1) % m;
  ASSERT_EQ(m % 4 == 0 ? a1 % 4 : 0, 0U) << s.range;
  uint64_t rest = m;
  for (uint64_t p = 2; rest > 1; ++p) {
    p = p * p > rest ? rest : p;
    if (rest % p == 0) {
      ASSERT_EQ(a1 % p, 0U) << s.range << " has the factor " << p;
    }
    while (rest % p == 0) {
      rest /= p;
    }
  }
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
  std::mt19937 random(1);
  std::vector<uint32_t> ranges = {70092U, 982569952U, 4294901760U, 4243659659U};
  for (uint32_t i = 0; i < 300; ++i) {
    ranges.push_back(4294967295U - i);
    ranges.push_back(static_cast<uint32_t>(random() >> (random() % 20)) | 1U);
  }
  for (const uint32_t n : ranges) {
    prand::Sequence sequence{n, 0, 0, 0, 0};
    prand::DetermineSequence(sequence);
    ASSERT_NO_FATAL_FAILURE(expect_full_period(sequence));
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
  const uint32_t first = nx_rand(a);
  for (uint32_t value = first, i = 0; i < 50; ++i, value = nx_rand(a)) {
    EXPECT_EQ(nx_rand(b), value);
  }
  EXPECT_EQ(nx_set_seed(a, 7), 1);
  EXPECT_EQ(nx_rand(a), first);
  nx_set_seed(a, 2007);
  EXPECT_EQ(prand::rseq[a - 1].state, 7U);
  nx_set_seed(a, 1000);  // a seed of exactly N is stored as it is
  EXPECT_EQ(prand::rseq[a - 1].state, 1000U);
  EXPECT_LT(nx_rand(a), 1000U);
}

TEST(Prand, SlotsAreReusedTheTableDoublesAndFreedMemoryIsForgotten) {
  for (int i = 1; i <= 25; ++i) {
    EXPECT_EQ(nx_make_rseq_with_prime(100), i);
  }
  EXPECT_EQ(prand::RLinc, 40);
  nx_delete_rseq(4);
  nx_delete_rseq(9);
  EXPECT_EQ(nx_make_rseq(), 4);
  EXPECT_EQ(nx_make_rseq(), 9);
  EXPECT_EQ(nx_make_rseq(), 26);
  nx_free_all_memory();
  EXPECT_EQ(nx_rand(1), 0U);
  EXPECT_EQ(nx_make_rseq(), 1);
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
  // With a span above N only the value 0 is possible. Drawing one value after the other would end there, too, after up
  // to N draws.
  const int large = nx_make_rseq_with_prime(4000000000U);
  EXPECT_EQ(nx_rand_range(large, INT32_MIN, INT32_MAX), 0);
  EXPECT_EQ(prand::rseq[large - 1].state, 0U);
}

TEST(Prand, FloatsKeepTheirEnds) {
  const int handle = nx_make_rseq_with_prime(5);
  std::vector<float> closed(5);
  std::vector<float> without_zero(5);
  std::vector<float> without_one(5);
  std::generate(closed.begin(), closed.end(), [&] { return nx_rand_float(handle); });
  std::generate(without_zero.begin(), without_zero.end(), [&] { return nx_rand_float_exclude_zero(handle); });
  std::generate(without_one.begin(), without_one.end(), [&] { return nx_rand_float_exclude_one(handle); });
  EXPECT_EQ(*std::ranges::max_element(closed), 1.0F);
  EXPECT_FLOAT_EQ(*std::ranges::min_element(without_zero), 0.2F);
  EXPECT_FLOAT_EQ(*std::ranges::max_element(without_one), 0.8F);
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

}  // namespace
