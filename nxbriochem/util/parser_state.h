// State of the reader of values, for its tests alone.
#ifndef NXBRIOCHEM_UTIL_PARSER_STATE_H
#define NXBRIOCHEM_UTIL_PARSER_STATE_H

#include <nxbriochem/util/parser.h>

#include <cstddef>
#include <cstdint>

namespace parser {

struct Variable {
  char* name;
  double value;
};

struct VariableTable {
  Variable* entries;
  int32_t count;
};

// The token type between nxi_SetScanLine and the first token.
constexpr int kNoToken = -1;

extern const char* sp;
// Where the scan for the current token began: before its white space.
extern const char* sp_save;
extern char token[NXI_TOKEN_LENGTH + 1];
extern int type;
// How many parts of an expression are open, each within the one before: 1 in the outermost one, 0 between values.
extern std::size_t level;
// White-space characters before the token that was scanned last.
extern std::size_t nspace;
extern int result_integer;
extern float result_float;
extern double result_double;
extern VariableTable VarTab;
extern int32_t VarTabAll;

}  // namespace parser

#endif
