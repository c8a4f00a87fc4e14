// POSIX extended regular expressions, because <regex> adds seconds to the compilation of every file that includes it.
// "." also matches a line end.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_MATCHES_H
#define NXBRIOCHEM_TESTS_SUPPORT_MATCHES_H

#include <string>
#include <vector>

namespace test_support {

// A match at 0 and what its groups matched after it; a group that matched nothing is "".
using Groups = std::vector<std::string>;

// Whether the expression matches any part of the text.
bool matches(const std::string& text, const std::string& expression);

// The leftmost match; empty when there is none.
Groups first_match(const std::string& text, const std::string& expression);

// Every match in order; they do not overlap.
std::vector<Groups> all_matches(const std::string& text, const std::string& expression);

}  // namespace test_support

#endif
