// The table of function lists, for its source and its tests alone.
#ifndef NXBRIOCHEM_OPTIMISE_FUNC_LIST_INTERNAL_H
#define NXBRIOCHEM_OPTIMISE_FUNC_LIST_INTERNAL_H

#include <cstdint>

namespace func_list {

// Terms of one kind, precision and form, in the order in which they were added.
template <class Function>
struct Terms {
  Function* functions;
  int32_t count;
  int32_t capacity;
};

// Terms with the integer that the caller gave for each.
template <class Function>
struct ExtendedTerms : Terms<Function> {
  int32_t* handles;
};

template <class Real>
struct TermArrays {
  Terms<Real (*)(Real*, int)> energy;
  Terms<Real (*)(Real*, Real*, int)> gradient;
  Terms<Real (*)(Real*, Real*, int)> hessian;
  ExtendedTerms<Real (*)(Real*, int, int)> extended_energy;
  ExtendedTerms<Real (*)(Real*, Real*, int, int)> extended_gradient;
  ExtendedTerms<Real (*)(Real*, Real*, int, int)> extended_hessian;
};

struct List {
  TermArrays<float> float_terms;
  TermArrays<double> double_terms;
  int32_t protect_variables;
  int32_t zero_gradient;
  int32_t protect_gradient;
  double* scratch;  // null while the list is evaluated
  int32_t scratch_capacity;
  uint64_t serial;  // unique to each list ever made, while handles are used again
};

extern List* Func;  // moves when the table grows: no pointer into it outlives a call of a term
extern int32_t* Func_Occupancy;
extern int32_t Fnum;
extern int32_t Finc;
extern int32_t Low_Vacant;

}  // namespace func_list

#endif
