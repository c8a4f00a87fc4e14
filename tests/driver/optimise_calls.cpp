// Calls of optimisers, line searches, function lists, the reader of values and sequences.
#include <nxbriochem/nxbriochem.h>

#include "tests/driver/calls.h"

namespace driver {
namespace {

void call_ScanLine(Arguments& arguments, const char*) {
  static constexpr const char* kText = "a + 1.5E3 \"text\" (2 ^ ~";
  char token[NXI_TOKEN_LENGTH + 1];
  const char* position = arguments.one_in(40) ? nullptr : kText + arguments.below(12);
  nxi_ScanLine(arguments.one_in(40) ? nullptr : &position, arguments.one_in(40) ? nullptr : token);
}

}  // namespace

std::vector<Entry> optimise_calls() {
  return {
      // func_list.h
      ENTRY(nx_make_function_list, ":f"),
      ENTRY(nx_delete_function_list, "f"),
      ENTRY(nx_protect_function_list_variables, "f"),
      ENTRY(nx_protect_function_list_gradient, "f"),
      ENTRY(nx_no_zero_function_list_gradient, "f"),
      ENTRY(nx_add_energy_function_to_list, "*if"),
      ENTRY(nx_add_energy_function_to_list_double, "*if"),
      ENTRY(nx_add_gradient_function_to_list, "*if"),
      ENTRY(nx_add_gradient_function_to_list_double, "*if"),
      ENTRY(nx_add_hessian_function_to_list, "*if"),
      ENTRY(nx_add_hessian_function_to_list_double, "*if"),
      ENTRY(nx_add_extended_energy_function_to_list, "*hif"),
      ENTRY(nx_add_extended_energy_function_to_list_double, "*hif"),
      ENTRY(nx_add_extended_gradient_function_to_list, "*hif"),
      ENTRY(nx_add_extended_gradient_function_to_list_double, "*hif"),
      ENTRY(nx_add_extended_hessian_function_to_list, "*hif"),
      ENTRY(nx_add_extended_hessian_function_to_list_double, "*hif"),
      ENTRY(nx_function_list, "*nf"),
      ENTRY(nx_function_list_double, "*nf"),
      ENTRY(nx_gradient_list, "**nf"),
      ENTRY(nx_gradient_list_double, "**nf"),
      ENTRY(nx_hessian_list, "**nf"),
      ENTRY(nx_hessian_list_double, "**nf"),
      // line_search.h
      ENTRY(nxi_au_section, "n******S"),
      ENTRY(nxi_bi_section, "n******S"),
      ENTRY(nxi_armijo_section, "n******S"),
      ENTRY(nx_LineMinimize2, "n******S"),
      ENTRY(nx_lagrange_interpolate_with_gradients, "***nv**"),
      // opt.h
      ENTRY(nx_init_opt, "n*:o"),
      ENTRY(nx_clear_opt, "o"),
      ENTRY(nx_delete_opt, "o"),
      ENTRY(nx_set_opt_size, "no"),
      ENTRY(nx_set_opt_function, "*o"),
      ENTRY(nx_set_opt_function_with_handle, "*ho"),
      ENTRY(nx_set_opt_gradient, "*o"),
      ENTRY(nx_set_opt_derivs, "o*"),
      ENTRY(nx_set_opt_gradient_with_handle, "*ho"),
      ENTRY(nx_set_opt_hessian, "*o"),
      ENTRY(nx_set_opt_2nd_derivs, "o*"),
      ENTRY(nx_set_opt_hessian_with_handle, "*ho"),
      ENTRY(nx_set_opt_function_list, "fo"),
      ENTRY(nx_set_opt_gradient_list, "fo"),
      ENTRY(nx_set_opt_hessian_list, "fo"),
      ENTRY(nx_set_opt_method, "oi"),
      ENTRY(nx_set_opt_maximum_iterations, "on"),
      ENTRY(nx_set_opt_zero, "ov"),
      ENTRY(nx_set_opt_gradient_convergence, "ov"),
      ENTRY(nx_set_opt_energy_convergence, "ov"),
      ENTRY(nx_set_opt_alpha, "ov"),
      ENTRY(nx_set_opt_beta, "ov"),
      ENTRY(nx_set_opt_stepsize, "ov"),
      ENTRY(nx_get_opt_stepsize, "o*"),
      ENTRY(nx_set_opt_max_line_try, "oi"),
      ENTRY(nx_set_opt_alt_step, "oi"),
      ENTRY(nx_set_opt_itersave, "oi"),
      ENTRY(nx_set_opt_restart, "o"),
      ENTRY(nx_set_opt_debug, "oi"),
      ENTRY(nx_get_opt_total_function_calls, "o*"),
      ENTRY(nx_get_opt_total_iterations, "o*"),
      ENTRY(nx_get_opt_saveval, "o*"),
      ENTRY(nx_minimize, "**o"),
      ENTRY(nx_minimize_d, "**o"),
      ENTRY(nx_minimize_f, "**o"),
      // parser.h
      ENTRY(nxi_ReadLine, "T*n"),
      ENTRY(nxi_SetScanLine, "s"),
      SPECIAL(nxi_ScanLine, call_ScanLine),
      ENDS(nxi_GetDataElement, "s"),
      ENDS(nxi_Expression, ""),
      ENDS(nxi_SimpleExpression, ""),
      ENDS(nxi_SignedFactor, ""),
      ENDS(nxi_Factor, ""),
      ENTRY(nxi_FindVariable, "s"),
      ENTRY(nxi_AddVariableToTable, "sv"),
      ENTRY(nxi_PrintVariableTable, ""),
      // prand.h
      ENTRY(nx_make_rseq_with_prime_and_seed, "ii:r"),
      ENTRY(nx_make_rseq_with_prime, "i:r"),
      ENTRY(nx_make_rseq, ":r"),
      ENTRY(nx_set_seed, "rn"),
      ENTRY(nx_delete_rseq, "r"),
      ENTRY(nx_rand, "r"),
      ENTRY(nx_rand_range, "rii"),
      ENTRY(nx_rand_float, "r"),
      ENTRY(nx_rand_float_exclude_zero, "r"),
      ENTRY(nx_rand_float_exclude_one, "r"),
  };
}

}  // namespace driver
