// The reader of values. The input's first line says of which types values are asked for, one character each ('c', 'i',
// 'f', 'd', others unknown), over and over; the rest is the text that they are read from.
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/util/parser.h>
#include <nxbriochem/util/parser_state.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>

#include "fuzz/check.h"
#include "fuzz/exit_trap.h"

namespace {

using fuzz::check;

const char* type_name(char c) {
  switch (c) {
    case 'c':
      return "char";
    case 'i':
      return "int";
    case 'f':
      return "float";
    case 'd':
      return "double";
    default:
      return "unknown";
  }
}

// Tokens up to the end, or to one that is not consumed.
void walk(const char* text) {
  const char* const end = text + std::strlen(text);
  const char* position = text;
  for (;;) {
    // Exactly as large as is asked for, so that the address sanitizer sees a longer text.
    const auto token = std::make_unique<char[]>(NXI_TOKEN_LENGTH + 1);
    const char* const before = position;
    const int type = nxi_ScanLine(&position, token.get());
    check(type >= NXI_TOKEN_OTHER && type <= NXI_TOKEN_END, "a token has a type");
    check(std::memchr(token.get(), '\0', NXI_TOKEN_LENGTH + 1) != nullptr, "a token's text ends");
    check(position >= before && position <= end, "the position stays in the text");
    if (type == NXI_TOKEN_END || type == NXI_TOKEN_OTHER) {
      check((type == NXI_TOKEN_END) == (position == end), "the end is the text's");
      return;
    }
    check(position > before, "a token is consumed");
  }
}

// Values up to the end of the text, or to a token that is not consumed, or to one that ends the process.
void read_values(std::string_view types, const char* text) {
  nxi_SetScanLine(text);
  for (std::size_t i = 0;; ++i) {
    const char* const before = parser::sp;
    const char* name = type_name(types[i % types.size()]);
    const void* value = nullptr;
    if (!fuzz::returns([&] { value = nxi_GetDataElement(name); })) {
      check(fuzz::last_status() == 0, "the process ends with status 0");
      nxi_SetScanLine("(1+2) 3");
      check(*static_cast<double*>(nxi_GetDataElement("double")) == 3.0, "the next line is read afresh");
      return;
    }
    check(value != nullptr && parser::level == 0, "a value is complete");
    const bool consumed = parser::sp > before;
    if (!consumed || *parser::sp == '\0') {
      check(consumed || parser::type == NXI_TOKEN_OTHER || parser::type == NXI_TOKEN_END, "a value uses up a token");
      return;
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // What is printed goes nowhere.
  return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::size_t types_end = std::min(input.find('\n'), size);
  const std::string_view types = types_end == 0 ? "d" : input.substr(0, types_end);
  const std::string_view rest = input.substr(std::min(types_end + 1, size));
  const auto text = std::make_unique<char[]>(rest.size() + 1);
  std::memcpy(text.get(), rest.data(), rest.size());
  nx_free_all_memory();  // no variables from the last input
  walk(text.get());
  read_values(types, text.get());
  nxi_PrintVariableTable();
  return 0;
}
