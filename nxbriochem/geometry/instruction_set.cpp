#include <nxbriochem/geometry/instruction_set_internal.h>

#include <array>
#include <cstddef>

namespace instruction_set {
namespace {

constexpr std::array<InstructionSet, 4> kAll = {InstructionSet::plain, InstructionSet::sse2, InstructionSet::avx2,
                                                InstructionSet::avx512};
constexpr std::array<const char*, kAll.size()> kNames = {"plain", "sse2", "avx2", "avx512"};

std::size_t count_supported() {
#if defined(__x86_64__)
  if (!__builtin_cpu_supports("avx2")) {
    return 2;
  }
  return __builtin_cpu_supports("avx512f") ? 4 : 3;
#else
  return 1;
#endif
}

}  // namespace

std::span<const InstructionSet> supported() {
  static const std::size_t count = count_supported();
  return std::span(kAll).first(count);
}

InstructionSet best() { return supported().back(); }

const char* name_of(InstructionSet set) { return kNames[static_cast<std::size_t>(set)]; }

}  // namespace instruction_set
