// The reader of values: lines of a text file, their tokens, and arithmetic expressions with named variables, so that
// a value in an input file may be a number, a variable or a formula.
//
// Values are read one after another from one line: white space at the outermost level ends an expression, so that
// several values stand on one line with blanks between them. Scan position, current token, results and variables are
// process-wide.
#ifndef NXBRIOCHEM_UTIL_PARSER_H
#define NXBRIOCHEM_UTIL_PARSER_H

#include <stdio.h>

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// What nxi_ScanLine returns.
enum nxi_token_type {
  NXI_TOKEN_OTHER = 0,    // any other character, which is the text; it is not consumed
  NXI_TOKEN_NAME = 1,     // a letter, then letters, digits and '_'
  NXI_TOKEN_INTEGER = 2,  // digits
  NXI_TOKEN_REAL = 3,     // digits with a decimal point, then optionally an exponent
  NXI_TOKEN_STRING = 4,   // between double quotes, which are not kept
  NXI_TOKEN_LEFT_PARENTHESIS = 5,
  NXI_TOKEN_RIGHT_PARENTHESIS = 6,
  NXI_TOKEN_SEMICOLON = 7,
  NXI_TOKEN_COLON = 8,
  NXI_TOKEN_COMMA = 9,
  NXI_TOKEN_POINT = 10,
  NXI_TOKEN_APOSTROPHE = 11,
  NXI_TOKEN_PLUS = 12,
  NXI_TOKEN_MINUS = 13,
  NXI_TOKEN_TIMES = 14,
  NXI_TOKEN_DIVIDE = 15,
  NXI_TOKEN_POWER = 16,
  NXI_TOKEN_EQUALS = 17,
  NXI_TOKEN_END = 18
};

// The longest text of a token, without its NUL.
enum { NXI_TOKEN_LENGTH = 40 };

// Reads at most size - 1 characters up to a line end (LF, CR or CR LF), which is consumed and not stored, and ends the
// text with a NUL; the rest of a longer line is left for the next call. NUL bytes of the file are stored like others. 1
// for a line, an empty one too; 0, with an empty text where there is room for it, at the end of the file with nothing
// read, and, reading nothing, for a null stream, a null buffer or a size below 2. A loop that reads while the result is
// 1 therefore always ends.
NX_API int nxi_ReadLine(FILE* stream, char* buffer, int size);

// Starts scanning a text, which must live as long as it is scanned; no token of it is current yet. Null is an empty
// text.
NX_API void nxi_SetScanLine(const char* text);

// The type of the next token at *position, which moves past the token; its text goes to the buffer, of NXI_TOKEN_LENGTH
// + 1 characters. Blanks, tabs and newlines before it are skipped. Names and numbers of more than NXI_TOKEN_LENGTH
// characters are split into several tokens; a longer string is cut, and one without closing quote ends with the text.
// An exponent is only read after a decimal point, so that 1E5 is the integer 1 and the name E5; the character after a
// decimal point belongs to the number, whatever it is: the text "(1.)" has no closing parenthesis. Kept: programs rely
// on both. For null pointers the result is the end, with an empty text.
NX_API int nxi_ScanLine(const char** position, char* token);

// The next value of the line that nxi_SetScanLine set, as a type: "char" gives the next token's text; "int" the value
// of the next expression, truncated toward zero (the nearest int when it is out of range, 0 when it is no number),
// "float" and "double" the value. The result is a pointer to static storage of that type, valid until the next call.
// Any other type, and null, ends the process with status 0 after "type is %s \n", "Invalid request for data element "
// and "Closing down code ", once the expression has been evaluated. Numbers, names, '+', '-', '*', '/', '^', '=' and
// parentheses make an expression, all in double:
//
// - An expression ends before white space, unless within parentheses or after '='. But only the token right after its
//   first summand is checked: "1+2 3" has the value 3, and the token 3 is consumed. Kept: programs rely on this.
// - '^' binds before '*' and '/', and a^b^c is (a^b)^c. a^b is exp(b log a), so that a negative base gives NaN. Kept:
//   programs rely on both.
// - name = expression defines a variable that is not known yet. A known one keeps its value, and the expression's value
//   is used only here. Kept: programs rely on this. A name that is neither known nor followed by '=' ends the process
//   with status 0 after "Undefined variable: %s \n".
// - Where a number, a name or a parenthesis is missing, 0 is taken and the token there is not consumed, so that +5 is
//   5. But every value consumes at least one token, unless that has the type NXI_TOKEN_OTHER or NXI_TOKEN_END. A
//   closing parenthesis that is missing is taken as if it were there.
// - A string that begins with '-' counts as a '-'. Kept: programs rely on this.
// - An integer beyond a long is the largest long; a real beyond a double is infinite. A decimal point is a point in
//   every locale.
NX_API void* nxi_GetDataElement(const char* type);

// The value of the expression, product, signed factor or factor that starts at the current token (the text's first one
// when none was scanned since nxi_SetScanLine). Each makes the token after it the current one. Where white space ends
// an expression, the next call scans that token again, whichever function it is.
NX_API double nxi_Expression(void);
// A product: no '+' or '-'.
NX_API double nxi_SimpleExpression(void);
// A factor with an optional '-' before it.
NX_API double nxi_SignedFactor(void);
// A name, a number or an expression in parentheses.
NX_API double nxi_Factor(void);

// The variable's index, from 0, or -1.
NX_API int nxi_FindVariable(const char* name);
// Adds a variable. A name that exists prints "Multiple defintion of variable %s requested \n" and "request ignored ",
// and keeps its value. Kept: programs rely on the misspelling. Always 0. nx_free_all_memory forgets all variables.
NX_API int nxi_AddVariableToTable(const char* name, double value);
// Prints the variables on standard output, in the order in which they were added.
NX_API void nxi_PrintVariableTable(void);

NX_END_DECLS

#endif
