#include "tests/support/matches.h"

#include <gtest/gtest.h>
#include <regex.h>

namespace test_support {
namespace {

// Compiles an expression; one that cannot be compiled is a failure of the running test and matches nothing.
class Expression {
 public:
  explicit Expression(const std::string& expression)
      : compiled_(regcomp(&regex_, expression.c_str(), REG_EXTENDED) == 0) {
    EXPECT_TRUE(compiled_) << expression;
  }
  Expression(const Expression&) = delete;
  Expression& operator=(const Expression&) = delete;
  ~Expression() {
    if (compiled_) {
      regfree(&regex_);
    }
  }

  bool search(const char* text, bool at_start, std::vector<regmatch_t>& found) const {
    return compiled_ && regexec(&regex_, text, found.size(), found.data(), at_start ? 0 : REG_NOTBOL) == 0;
  }
  std::size_t groups() const { return compiled_ ? regex_.re_nsub + 1 : 1; }

 private:
  regex_t regex_{};
  bool compiled_;
};

std::vector<Groups> find(const std::string& text, const std::string& expression, bool only_first) {
  const Expression compiled(expression);
  std::vector<Groups> all;
  std::vector<regmatch_t> found(compiled.groups());
  const char* from = text.c_str();
  while (compiled.search(from, from == text.c_str(), found)) {
    Groups& match = all.emplace_back();
    for (const regmatch_t& group : found) {
      match.push_back(group.rm_so < 0 ? "" : std::string(from + group.rm_so, from + group.rm_eo));
    }
    if (only_first || found[0].rm_eo == 0) {
      break;
    }
    from += found[0].rm_eo;
  }
  return all;
}

}  // namespace

bool matches(const std::string& text, const std::string& expression) {
  std::vector<regmatch_t> nothing;
  return Expression(expression).search(text.c_str(), true, nothing);
}

Groups first_match(const std::string& text, const std::string& expression) {
  const std::vector<Groups> found = find(text, expression, true);
  return found.empty() ? Groups() : found[0];
}

std::vector<Groups> all_matches(const std::string& text, const std::string& expression) {
  return find(text, expression, false);
}

}  // namespace test_support
