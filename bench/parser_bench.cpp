// Evaluating short expressions, ten to a line, against strtod over the numbers in them; and looking up one of many
// names.
#include <benchmark/benchmark.h>
#include <nxbriochem/util/parser.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "bench/paired.h"

namespace {

constexpr int kExpressions = 100000;
constexpr int kPerLine = 10;
constexpr int kNames = 50;

std::string name(std::size_t i) { return "variable_" + std::to_string(i); }

struct Input {
  std::vector<std::string> lines;
  std::vector<std::string> numbers;
  double tokens = 0;
};

std::string operand(std::mt19937& random, Input& input) {
  if (random() % 3 == 0) {
    return name(random() % kNames);
  }
  std::string number = std::to_string(1 + random() % 1000);
  if (random() % 2 == 0) {
    number += '.';
    number += std::to_string(random() % 10000);
  }
  input.numbers.push_back(number);
  return number;
}

// Short expressions, of six tokens on average.
std::string expression(std::mt19937& random, Input& input) {
  std::string text = operand(random, input);
  for (std::size_t n = random() % 4; n > 0; --n) {
    const std::string sign(1, "*/^"[random() % 3]);
    text += sign + operand(random, input);
    if (n % 2 == 0) {
      text.insert(0, 1, '(').append(" + ").append(operand(random, input)).append(1, ')');
    }
  }
  return text;
}

double count_tokens(const std::string& line) {
  const char* position = line.c_str();
  char token[NXI_TOKEN_LENGTH + 1];
  double tokens = 0;
  while (nxi_ScanLine(&position, token) != NXI_TOKEN_END) {
    ++tokens;
  }
  return tokens;
}

Input make_input() {
  std::mt19937 random(1);
  Input input;
  for (int i = 0; i < kExpressions; i += kPerLine) {
    std::string line;
    for (int j = 0; j < kPerLine; ++j) {
      line += expression(random, input) + " ";
    }
    input.tokens += count_tokens(line);
    input.lines.push_back(line);
  }
  return input;
}

void evaluate(const Input& input) {
  double sum = 0.0;
  for (const std::string& line : input.lines) {
    nxi_SetScanLine(line.c_str());
    for (int i = 0; i < kPerLine; ++i) {
      sum += *static_cast<double*>(nxi_GetDataElement("double"));
    }
  }
  benchmark::DoNotOptimize(sum);
}

void convert(const Input& input) {
  double sum = 0.0;
  for (const std::string& number : input.numbers) {
    sum += std::strtod(number.c_str(), nullptr);
  }
  benchmark::DoNotOptimize(sum);
}

// Per token; the yardstick is per token as well, although strtod sees only the numbers.
void short_expressions(benchmark::State& state) {
  for (std::size_t i = 0; i < kNames; ++i) {
    if (nxi_FindVariable(name(i).c_str()) < 0) {
      nxi_AddVariableToTable(name(i).c_str(), 1.0 + static_cast<double>(i));
    }
  }
  const Input input = make_input();
  bench::paired(
      state, input.tokens, [&] { evaluate(input); }, [&] { convert(input); });
  state.counters["tokens"] = input.tokens;
  state.counters["Mtokens_per_s"] = 1e3 / state.counters["ours_ns"].value;
}

constexpr int kLookUps = 100000;

void look_up(const std::vector<std::string>& names) {
  for (int i = 0; i < kLookUps; ++i) {
    benchmark::DoNotOptimize(nxi_FindVariable(names[static_cast<std::size_t>(i) % names.size()].c_str()));
  }
}

// Names among n variables, against the names among the first ten: a ratio near 1 says that the look-up is no scan.
void names_among(benchmark::State& state) {
  std::vector<std::string> few;
  std::vector<std::string> all;
  for (std::size_t i = 0; i < static_cast<std::size_t>(state.range(0)); ++i) {
    all.push_back(name(i));
    if (i < 10) {
      few.push_back(name(i));
    }
    if (nxi_FindVariable(all.back().c_str()) < 0) {
      nxi_AddVariableToTable(all.back().c_str(), 1.0);
    }
  }
  bench::paired(
      state, kLookUps, [&] { look_up(all); }, [&] { look_up(few); });
}

BENCHMARK(short_expressions)->UseManualTime();
BENCHMARK(names_among)->Arg(100)->Arg(10000)->UseManualTime();

}  // namespace
