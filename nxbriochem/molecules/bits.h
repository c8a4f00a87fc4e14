// Bit fields and bit counts: fields of up to 32 bits at any bit position of an array of 32-bit words, counts over such
// arrays by a table, and single bits of an int.
//
// Bit position p of a bitstring lies in word p / 32 at bit p mod 32, counted from the least significant bit. Null
// arrays and pointers, and negative counts, give 0 and change nothing.
#ifndef NXBRIOCHEM_MOLECULES_BITS_H
#define NXBRIOCHEM_MOLECULES_BITS_H

#include <stdint.h>

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// Entry v is the number of set bits of the 16-bit value v, once nx_make_short_nob_table has run; all zero before.
// Counts are sums of the entries, so every count is 0 until then, and a program that changes entries changes the
// counts. While the table is as it was made, vector instructions count instead, with the same result.
extern NX_API uint16_t nx_short_nob[65536];

// Fills nx_short_nob. The program calls it once before it counts; the library never does.
NX_API void nx_make_short_nob_table(void);

// Set bits over n words, in 32-bit arithmetic; 0 for an n below 1.
NX_API unsigned nx_bits_on(const uint32_t* words, int n);
// counts[i] becomes the set bits of words[i], for n words; counts may be words itself.
NX_API void nx_count_bits(const uint32_t* words, uint32_t* counts, int n);

// Writes the low `width` bits of value at bit `position` of a bitstring, by OR into the word where the field starts;
// the bits that do not fit there replace the whole next word. Kept: programs rely on both, and write fields into zeroed
// words in increasing order of position. A width of 0 ORs the whole value, shifted, into the first word. 1; 0, nothing
// changed, for a width above 32.
NX_API int nx_put_bits_in_bitstring(uint32_t value, uint32_t* bits, unsigned position, unsigned width);
// Reads a field of `width` bits at bit `position`. With a width of 0 the result has no meaning. 1; 0, nothing stored,
// for a width above 32.
NX_API int nx_extract_int_from_bitstring(uint32_t* out, const uint32_t* bits, unsigned position, unsigned width);

// ---- For the library's modules ----

// Single bits of an int. A bit that an int does not have reads as 0 and is not changed.

// Bit `bit` of value, counted from 0.
NX_API int nxi_isbitset(int value, int bit);
// Sets bit (bit - 1). Kept: programs rely on counting from 1 here, and from 0 in its neighbours.
NX_API void nxi_setbit(int* value, int bit);
// Flips bit `bit`, counted from 0.
NX_API void nxi_togglebit(int* value, int bit);
// Set bits among the n lowest; 0 for an n below 1.
NX_API int nxi_numberofbits(int value, int n);
// Bits that differ among the n lowest.
NX_API int nxi_differentbits(int a, int b, int n);
// Prints the n lowest bits as '0' and '1', lowest first, and a newline, on standard output.
NX_API void nxi_printbits(int value, int n);

NX_END_DECLS

#endif
