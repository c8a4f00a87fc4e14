#include <nxbriochem/molecules/briochem_elements_internal.h>

#include <nxbriochem/molecules/briochem.h>

int nx_convert_element_number_to_one_letter_symbol(int atomic_number) {
  return briochem::letter_of(static_cast<unsigned>(atomic_number));
}

int nx_convert_one_letter_symbol_to_element_number(int symbol) { return static_cast<int>(briochem::number_of(symbol)); }
