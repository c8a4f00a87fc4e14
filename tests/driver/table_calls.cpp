#include <nxbriochem/nxbriochem.h>

#include "tests/driver/calls.h"

#define PLAIN(function, kinds) plain(&function, #function, kinds),
#define PURE(function, kinds) pure(&function, #function, kinds),
#define ENDS(function, kinds) ends(&function, #function, kinds),
#define HEADER(stem)
#define FAILS(...)
#define FAILS_AS(...)

std::vector<driver::Entry> driver::table_calls() {
  return {
#include "tests/driver/calls.def"
  };
}
