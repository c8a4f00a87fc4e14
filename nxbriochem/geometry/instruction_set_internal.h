// The vector instructions that this processor has, for modules that choose between versions of a loop at run time.
// Private to the directory; C++ only.
#ifndef NXBRIOCHEM_GEOMETRY_INSTRUCTION_SET_INTERNAL_H
#define NXBRIOCHEM_GEOMETRY_INSTRUCTION_SET_INTERNAL_H

#include <span>

namespace instruction_set {

// Each has those before it. avx512 stands for its foundation, AVX512F.
enum class InstructionSet { plain, sse2, avx2, avx512 };

// Those that the processor and the operating system support, in this order: at least plain.
std::span<const InstructionSet> supported();

// The last of them.
InstructionSet best();

const char* name_of(InstructionSet set);

}  // namespace instruction_set

#endif
