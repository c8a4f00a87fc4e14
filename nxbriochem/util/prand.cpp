// Linear congruential sequences x = (a x + c) mod m with the full period (Hull and Dobell 1962; Knuth, The Art of
// Computer Programming 2, 3.2.1.2, theorem A): c is prime to m, a - 1 is a multiple of every prime factor of m, and of
// 4 if m is.
//
// m may exceed N, because values of N and above are skipped. It is the next j * 7^s from N up, with 7^s near the 2/3
// power of N and j prime to 6. The power of 7 leaves many multipliers to choose from (a - 1 must contain each prime
// only once) and gives potency s, which keeps neighbouring values from lying on few planes. An odd base and cofactor
// avoid the short cycles that the low bits have for a power of 2; the registry spreads its handles by those bits. m
// exceeds N by at most 3 * 7^s, so nearly every step gives a value.
//
// Near 2^32 no such m may lie below 2^32; s is then made smaller. If none fits, and for N below 343, m = N. For an N
// without a square factor the only multiplier with the full period is then 1: a sequence of equal steps. The generator
// is for handles and light use, not for simulation.
#include <nxbriochem/util/prand.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <numeric>

#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/memory_owners_internal.h>
#include <nxbriochem/util/prand_keep_internal.h>
#include <nxbriochem/util/prand_state.h>

namespace prand {

Sequence* rseq = nullptr;
int32_t* rseq_occupancy = nullptr;
int32_t RLnum = 0;
int32_t RLinc = 10;

namespace {

constexpr int32_t kFirstCapacity = 10;
constexpr uint32_t kDefaultRange = 70092;
constexpr uint32_t kBase = 7;
constexpr uint64_t kLargestModulus = 0xFFFFFFFFU;

// 1, then the primes up to 1613: 256 entries.
constexpr std::array<uint32_t, 256> make_primes() {
  std::array<uint32_t, 256> table{1};
  std::size_t n = 1;
  for (uint32_t candidate = 2; n < table.size(); ++candidate) {
    bool prime = true;
    for (std::size_t i = 1; i < n && table[i] * table[i] <= candidate; ++i) {
      prime = prime && candidate % table[i] != 0;
    }
    if (prime) {
      table[n++] = candidate;
    }
  }
  return table;
}

constexpr std::array<uint32_t, 256> kPrimes = make_primes();
static_assert(kPrimes.front() == 1 && kPrimes[4] == 7 && kPrimes.back() == 1613);

// The number of significant bits of a byte.
constexpr std::array<uint8_t, 256> make_bit_lengths() {
  std::array<uint8_t, 256> table{};
  for (std::size_t i = 1; i < table.size(); ++i) {
    table[i] = static_cast<uint8_t>(table[i / 2] + 1);
  }
  return table;
}

constexpr std::array<uint8_t, 256> kBitLength = make_bit_lengths();
static_assert(kBitLength[0] == 0 && kBitLength[1] == 1 && kBitLength[255] == 8);

int leading_zeros(uint32_t value) {
  for (int byte = 3; byte >= 0; --byte) {
    const uint32_t bits = value >> (8 * byte);
    if (bits != 0) {
      return 32 - 8 * byte - kBitLength[bits];
    }
  }
  return 32;
}

// The product of m's prime factors, each once. What trial division leaves has no factor up to 1613. It is a prime or a
// product of at most three primes, and is used whole, since a multiple of it is a multiple of each.
uint64_t radical(uint64_t m) {
  uint64_t product = 1;
  for (std::size_t i = 1; i < kPrimes.size() && m > 1; ++i) {
    if (m % kPrimes[i] == 0) {
      product *= kPrimes[i];
      while (m % kPrimes[i] == 0) {
        m /= kPrimes[i];
      }
    }
  }
  return product * m;
}

uint32_t choose_modulus(uint32_t range) {
  const double n = range;
  uint64_t power = 1;
  while (static_cast<double>(power * kBase) <= std::cbrt(n * n)) {
    power *= kBase;
  }
  for (; power > 1; power /= kBase) {
    uint64_t cofactor = (range + power - 1) / power;
    while (cofactor % 2 == 0 || cofactor % 3 == 0) {
      ++cofactor;
    }
    if (cofactor * power <= kLargestModulus) {
      return static_cast<uint32_t>(cofactor * power);
    }
  }
  return range;
}

// The flag of a sequence that the library keeps for itself. Any other sequence in use has 1.
constexpr int32_t kKept = 2;

bool known(int handle) { return rseq != nullptr && handle >= 1 && handle <= RLnum && rseq_occupancy[handle - 1] != 0; }

void forget_sequences() {
  rseq = nullptr;
  rseq_occupancy = nullptr;
  RLnum = 0;
  RLinc = kFirstCapacity;
}

int32_t free_slot() {
  if (rseq == nullptr) {
    rseq = static_cast<Sequence*>(nx_calloc(RLinc, sizeof(Sequence)));
    rseq_occupancy = static_cast<int32_t*>(nx_calloc(RLinc, sizeof(int32_t)));
    memory::when_all_freed(forget_sequences);
  }
  int32_t* end = rseq_occupancy + RLnum;
  int32_t* free = std::find(rseq_occupancy, end, 0);
  if (free != end) {
    return static_cast<int32_t>(free - rseq_occupancy);
  }
  if (RLnum == RLinc) {
    const auto old = static_cast<std::size_t>(RLinc);
    RLinc *= 2;
    rseq = static_cast<Sequence*>(memory::grow_own(rseq, static_cast<int64_t>(2 * old * sizeof(Sequence))));
    rseq_occupancy =
        static_cast<int32_t*>(memory::grow_own(rseq_occupancy, static_cast<int64_t>(2 * old * sizeof(int32_t))));
    std::memset(rseq_occupancy + old, 0, old * sizeof(int32_t));
  }
  return RLnum++;
}

}  // namespace

void keep(int handle) { rseq_occupancy[handle - 1] = kKept; }

uint32_t DoubleModulus(uint32_t high, uint32_t low, uint32_t m) {
  // Divisor and dividend are shifted so that the divisor has its highest bit set, which speeds up processors that
  // divide 64 by 32 bits in normalised steps. The remainder is shifted back. On 64-bit processors the compiler's
  // division of the reduced dividend is one instruction.
  const int shift = leading_zeros(m);
  const uint64_t divisor = static_cast<uint64_t>(m) << shift;
  uint64_t rest = high % m;
  rest = (rest << 32) | low;
  // rest < m * 2^32, so that the shifted value keeps below 2^64.
  return static_cast<uint32_t>(((rest << shift) % divisor) >> shift);
}

void DetermineSequence(Sequence& sequence) {
  const uint32_t m = choose_modulus(sequence.range);
  // a - 1 = step * k, where step is what the theorem requires. k is near the golden section of its range, and prime to
  // m so that a - 1 contains the factors of m no more often than needed.
  const uint64_t step = radical(m) * (m % 4 == 0 ? 2 : 1);
  const uint64_t choices = m / step;
  auto k = static_cast<uint64_t>(0.6180339887498949 * static_cast<double>(choices));
  while (k > 1 && std::gcd(k, static_cast<uint64_t>(m)) != 1) {
    --k;
  }
  // c near (1/2 - sqrt(3)/6) m, which keeps the correlation of neighbours low (Knuth, 3.3.3).
  auto c = static_cast<uint64_t>(0.2113248654051871 * m) | 1U;
  while (std::gcd(c, static_cast<uint64_t>(m)) != 1) {
    ++c;
  }
  sequence.modulus = m;
  sequence.multiplier = static_cast<uint32_t>((step * k + 1) % m);
  sequence.increment = static_cast<uint32_t>(c % m);
}

}  // namespace prand

using namespace prand;

int nx_make_rseq_with_prime_and_seed(uint32_t n, uint32_t seed) {
  if (n == 0) {
    return 0;
  }
  const int32_t slot = free_slot();
  rseq_occupancy[slot] = 1;
  rseq[slot].range = n;
  rseq[slot].state = seed;
  DetermineSequence(rseq[slot]);
  return slot + 1;
}

int nx_make_rseq_with_prime(uint32_t n) { return nx_make_rseq_with_prime_and_seed(n, 0); }

int nx_make_rseq(void) { return nx_make_rseq_with_prime_and_seed(kDefaultRange, 0); }

int nx_set_seed(int handle, uint32_t seed) {
  if (!known(handle)) {
    return 0;
  }
  Sequence& sequence = rseq[handle - 1];
  sequence.state = seed > sequence.range ? seed % sequence.range : seed;
  return 1;
}

int nx_delete_rseq(int handle) {
  if (!known(handle) || rseq_occupancy[handle - 1] == kKept) {
    return 0;
  }
  rseq_occupancy[handle - 1] = 0;
  return 1;
}

uint32_t nx_rand(int handle) {
  if (!known(handle)) {
    return 0;
  }
  Sequence& sequence = rseq[handle - 1];
  do {
    const uint64_t next =
        static_cast<uint64_t>(sequence.multiplier) * sequence.state + sequence.increment;  // below 2^64
    sequence.state = DoubleModulus(static_cast<uint32_t>(next >> 32), static_cast<uint32_t>(next), sequence.modulus);
  } while (sequence.state >= sequence.range);
  return sequence.state;
}

int nx_rand_range(int handle, int low, int high) {
  if (!known(handle)) {
    return 0;
  }
  if (low == high) {
    return low;
  }
  Sequence& sequence = rseq[handle - 1];
  const int64_t span = static_cast<int64_t>(high) - low;
  const int64_t n = sequence.range;
  const int64_t rest = n % span;
  if (rest == 0) {
    return 0;  // Kept: programs rely on nothing being drawn
  }
  if (rest == n) {
    // The span exceeds N, and only the value 0 is below the limit. Drawing until 0 comes would leave the same state.
    sequence.state = 0;
    return 0;
  }
  int64_t value = nx_rand(handle);
  while (value > n - rest) {
    value = nx_rand(handle);
  }
  return static_cast<int>(value % span);
}

float nx_rand_float(int handle) {
  if (!known(handle)) {
    return 0.0F;
  }
  const uint32_t last = rseq[handle - 1].range - 1;
  const uint32_t value = nx_rand(handle);
  return last == 0 ? 0.0F : static_cast<float>(static_cast<double>(value) / last);
}

float nx_rand_float_exclude_zero(int handle) {
  if (!known(handle)) {
    return 0.0F;
  }
  const double n = rseq[handle - 1].range;
  return static_cast<float>((static_cast<double>(nx_rand(handle)) + 1.0) / n);
}

float nx_rand_float_exclude_one(int handle) {
  if (!known(handle)) {
    return 0.0F;
  }
  const double n = rseq[handle - 1].range;
  // A quotient just below 1 would round to 1 as a float; the result must stay below 1.
  return std::min(static_cast<float>(static_cast<double>(nx_rand(handle)) / n), std::nextafterf(1.0F, 0.0F));
}
