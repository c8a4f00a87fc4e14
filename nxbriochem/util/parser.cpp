// Lines, tokens, variables and expressions.
//
// One small machine evaluates all four levels of the grammar. It alternates between two steps: `read_factor` takes a
// factor, and `completes` combines the factor's value with the operators that wait for it and looks at the next token.
// Waiting operators are kept in a frame. A parenthesis or '=' opens another frame on top, whose value becomes the
// factor of the frame below. The frames are on the heap, so that nesting is limited by memory and not by the process's
// stack.
#include <nxbriochem/util/parser.h>

#include <array>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/memory_owners_internal.h>
#include <nxbriochem/objects/plain_heap_internal.h>
#include <nxbriochem/util/never_destroyed_internal.h>
#include <nxbriochem/util/parser_state.h>
#include <nxbriochem/util/slot_index_internal.h>
#include <nxbriochem/util/text_hash_internal.h>

namespace parser {

const char* sp = "";
const char* sp_save = "";
char token[NXI_TOKEN_LENGTH + 1] = "";
int type = kNoToken;
std::size_t level = 0;
std::size_t nspace = 0;
int result_integer = 0;
float result_float = 0.0F;
double result_double = 0.0;
VariableTable VarTab{};
int32_t VarTabAll = 0;

namespace {

constexpr int32_t kVariableIncrement = 40;

using TokenText = char[NXI_TOKEN_LENGTH + 1];

// ---- Tokens

// The type of the token that a character begins.
constexpr std::array<unsigned char, 256> make_beginnings() {
  std::array<unsigned char, 256> types{};  // NXI_TOKEN_OTHER
  for (unsigned char letter = 0; letter < 26; ++letter) {
    types[static_cast<std::size_t>('A' + letter)] = NXI_TOKEN_NAME;
    types[static_cast<std::size_t>('a' + letter)] = NXI_TOKEN_NAME;
  }
  for (unsigned char digit = '0'; digit <= '9'; ++digit) {
    types[digit] = NXI_TOKEN_INTEGER;
  }
  types['"'] = NXI_TOKEN_STRING;
  constexpr char kSigns[] = "();:,.'+-*/^=";
  for (unsigned char i = 0; kSigns[i] != '\0'; ++i) {
    types[static_cast<unsigned char>(kSigns[i])] = static_cast<unsigned char>(NXI_TOKEN_LEFT_PARENTHESIS + i);
  }
  types['\0'] = NXI_TOKEN_END;
  return types;
}

constexpr std::array<unsigned char, 256> kBeginnings = make_beginnings();
static_assert(kBeginnings['('] == 5 && kBeginnings['='] == NXI_TOKEN_EQUALS && kBeginnings['_'] == NXI_TOKEN_OTHER);

int beginning(char c) { return kBeginnings[static_cast<unsigned char>(c)]; }
bool is_digit(char c) { return beginning(c) == NXI_TOKEN_INTEGER; }
bool is_white(char c) { return c == ' ' || c == '\t' || c == '\n'; }

// Copies characters of the scanned text into a token's text until that is full.
class Copier {
 public:
  Copier(const char* from, char* to) : from_(from), to_(to), end_(to + NXI_TOKEN_LENGTH) {}

  char next() const { return *from_; }
  bool full() const { return to_ == end_; }
  void skip() { ++from_; }
  void take() {
    if (!full()) {
      *to_++ = *from_++;
    }
  }
  void take_digits() {
    while (!full() && is_digit(next())) {
      take();
    }
  }
  // Ends the token's text. Returns where the scan for the next token starts.
  const char* finish() {
    *to_ = '\0';
    return from_;
  }

 private:
  const char* from_;
  char* to_;
  char* end_;
};

void copy_name(Copier& text) {
  const auto belongs = [](char c) {
    return beginning(c) == NXI_TOKEN_NAME || beginning(c) == NXI_TOKEN_INTEGER || c == '_';
  };
  while (!text.full() && belongs(text.next())) {
    text.take();
  }
}

int copy_number(Copier& text) {
  text.take_digits();
  if (text.next() != '.' || text.full()) {
    return NXI_TOKEN_INTEGER;  // Kept: programs rely on only the 1 of 1E5
  }
  text.take();
  if (text.next() != '\0') {
    text.take();  // Kept: programs rely on any character being taken
  }
  text.take_digits();
  if (text.next() == 'E' || text.next() == 'e') {
    text.take();
    if (text.next() == '+' || text.next() == '-') {
      text.take();
    }
    text.take_digits();
  }
  return NXI_TOKEN_REAL;
}

void copy_string(Copier& text) {
  text.skip();
  while (text.next() != '"' && text.next() != '\0') {
    if (text.full()) {
      text.skip();
    } else {
      text.take();
    }
  }
  if (text.next() == '"') {
    text.skip();
  }
}

int scan(const char*& position, char* text) {
  const char* start = position;
  while (is_white(*position)) {
    ++position;
  }
  nspace = static_cast<std::size_t>(position - start);
  int found = beginning(*position);
  Copier copier(position, text);
  if (found == NXI_TOKEN_NAME) {
    copy_name(copier);
  } else if (found == NXI_TOKEN_INTEGER) {
    found = copy_number(copier);
  } else if (found == NXI_TOKEN_STRING) {
    copy_string(copier);
  } else if (found != NXI_TOKEN_END) {
    copier.take();
  }
  const char* behind = copier.finish();
  position = found == NXI_TOKEN_OTHER ? position : behind;
  return found;
}

void advance() {
  sp_save = sp;
  type = scan(sp, token);
}

// The value that strtol gives in base 10; LONG_MAX for a number that is too large.
double integer_value(const char* text) {
  long value = LONG_MAX;
  std::from_chars(text, text + std::strlen(text), value);
  return static_cast<double>(value);
}

// The value that strtod gives in the C locale, whatever the program's locale is.
double real_value(const char* text) {
  double value = 0.0;
  const std::from_chars_result end = std::from_chars(text, text + std::strlen(text), value);
  if (end.ec == std::errc::result_out_of_range) {
    // Out of range, so it has an exponent (40 digits alone are in range), whose sign tells underflow from overflow.
    return std::memchr(text, '-', static_cast<std::size_t>(end.ptr - text)) != nullptr ? 0.0 : HUGE_VAL;
  }
  return value;
}

// ---- Variables

// From hashes of names to indexes in the table. Names are never taken out of the table one by one.
constinit util::NeverDestroyed<util::SlotIndex<uint64_t, objects::PlainHeap>> variable_index_storage;
constinit auto& variable_index = *variable_index_storage;

void forget_variables() {
  VarTab = {};
  VarTabAll = 0;
  variable_index.clear();
}

void make_room_for_variable() {
  if (VarTab.count < VarTabAll) {
    return;
  }
  memory::when_all_freed(forget_variables);
  VarTabAll += kVariableIncrement;
  VarTab.entries =
      static_cast<Variable*>(memory::grow_own(VarTab.entries, VarTabAll * static_cast<int64_t>(sizeof(Variable))));
}

int find_variable(const char* name, uint64_t hash) {
  const int slot = variable_index.find_highest(hash);
  if (slot < 0 || std::strcmp(VarTab.entries[slot].name, name) == 0) {
    return slot;
  }
  // Another name has the same hash.
  for (int i = 0; i < VarTab.count; ++i) {
    if (std::strcmp(VarTab.entries[i].name, name) == 0) {
      return i;
    }
  }
  return -1;
}

void append_variable(const char* name, uint64_t hash, double value) {
  make_room_for_variable();
  const std::size_t bytes = std::strlen(name) + 1;
  char* copy = static_cast<char*>(nx_malloc(static_cast<int64_t>(bytes)));
  std::memcpy(copy, name, bytes);
  VarTab.entries[VarTab.count] = {copy, value};
  variable_index.insert(hash, VarTab.count);
  ++VarTab.count;
}

[[noreturn]] void close_down() {
  std::fflush(stdout);
  std::exit(objects::kUndefined);
}

double variable_value(const char* name) {
  const int index = nxi_FindVariable(name);
  if (index < 0) {
    std::printf("Undefined variable: %s \n", name);
    close_down();
  }
  return VarTab.entries[index].value;
}

// Takes the value that follows a name and '='. Defines the name if it is new. Kept: programs rely on a known name
// keeping its value.
void define_if_unknown(const char* name, double value) {
  const uint64_t hash = util::text_hash(name);
  if (find_variable(name, hash) < 0) {
    append_variable(name, hash, value);
  }
}

// ---- Expressions

// The part of the grammar that a frame evaluates.
enum class Part : unsigned char { kFactor, kSignedFactor, kSimpleExpression, kExpression };

enum class OpenedBy : unsigned char { kCaller, kParenthesis, kAssignment };

// The places where a left operand waits for its right one, the tightest first.
enum Rank { kPower, kProduct, kSum, kRanks };

struct Frame {
  double left[kRanks] = {};
  unsigned char operation[kRanks] = {};  // the operator's token type; 0 where nothing waits
  Part part = Part::kExpression;
  OpenedBy opened_by = OpenedBy::kCaller;
  bool negated = false;  // the next factor
};

// The open frames, `level` of them, and the names before the '=' that opened some of them. Both keep their capacity
// from value to value, up to kKeptFrames frames.
constexpr std::size_t kKeptFrames = 1024;
constinit util::NeverDestroyed<std::vector<Frame, objects::PlainHeap<Frame>>> frames_storage;
constinit auto& frames = *frames_storage;

struct Name {
  TokenText text;
};
constinit util::NeverDestroyed<std::vector<Name, objects::PlainHeap<Name>>> assigned_names_storage;
constinit auto& assigned_names = *assigned_names_storage;

void forget_frames() {
  level = 0;
  frames.clear();
  assigned_names.clear();
}

void open(Part part, OpenedBy opened_by) {
  frames.emplace_back();
  frames.back().part = part;
  frames.back().opened_by = opened_by;
  ++level;
}

// Closes the innermost frame, with its value.
void close(double value) {
  const OpenedBy opened_by = frames.back().opened_by;
  frames.pop_back();
  --level;
  if (opened_by == OpenedBy::kParenthesis && type == NXI_TOKEN_RIGHT_PARENTHESIS) {
    advance();
  } else if (opened_by == OpenedBy::kAssignment) {
    define_if_unknown(assigned_names.back().text, value);
    assigned_names.pop_back();
  }
}

double combined(double left, int operation, double right) {
  switch (operation) {
    case NXI_TOKEN_POWER:
      return std::exp(right * std::log(left));  // Kept: programs rely on no number for a negative base
    case NXI_TOKEN_TIMES:
      return left * right;
    case NXI_TOKEN_DIVIDE:
      return left / right;
    case NXI_TOKEN_PLUS:
      return left + right;
    case NXI_TOKEN_MINUS:
      return left - right;
    default:
      return right;
  }
}

// Combines the value with the left operand that waits at the rank, if there is one. True when the current token is an
// operator of this rank: then the operator is consumed and the result becomes its left operand.
bool joined_and_waits(Frame& frame, Rank rank, double& value) {
  value = combined(frame.left[rank], frame.operation[rank], value);
  frame.operation[rank] = 0;
  const bool waits = rank == kPower     ? type == NXI_TOKEN_POWER
                     : rank == kProduct ? type == NXI_TOKEN_TIMES || type == NXI_TOKEN_DIVIDE
                                        : type == NXI_TOKEN_PLUS || type == NXI_TOKEN_MINUS;
  if (waits) {
    frame.left[rank] = value;
    frame.operation[rank] = static_cast<unsigned char>(type);
    advance();
  }
  return waits;
}

// Reads the signed factor at the current token. False when it needs another frame, which is then opened. A token that
// is no factor counts as 0 and is not consumed.
bool read_factor(double& value) {
  Frame& frame = frames.back();
  if (frame.part != Part::kFactor && token[0] == '-') {  // Kept: programs rely on a string's text counting too
    frame.negated = true;
    advance();
  }
  value = 0.0;
  if (type == NXI_TOKEN_NAME) {
    Name name;
    std::memcpy(name.text, token, sizeof name.text);
    advance();
    if (type == NXI_TOKEN_EQUALS) {
      advance();
      assigned_names.push_back(name);
      open(Part::kExpression, OpenedBy::kAssignment);
      return false;
    }
    value = variable_value(name.text);
  } else if (type == NXI_TOKEN_INTEGER) {
    value = integer_value(token);
    advance();
  } else if (type == NXI_TOKEN_REAL) {
    value = real_value(token);
    advance();
  } else if (type == NXI_TOKEN_LEFT_PARENTHESIS) {
    advance();
    open(Part::kExpression, OpenedBy::kParenthesis);
    return false;
  }
  return true;
}

// Takes a factor's value into the innermost frame. True when the frame is complete, with its value; false when an
// operator needs another signed factor.
bool completes(const char* start, double& value) {
  Frame& frame = frames.back();
  if (frame.negated) {
    value = -value;
    frame.negated = false;
  }
  if (frame.part == Part::kFactor || frame.part == Part::kSignedFactor) {
    return true;
  }
  if (joined_and_waits(frame, kPower, value) || joined_and_waits(frame, kProduct, value)) {
    return false;
  }
  if (frame.part == Part::kSimpleExpression) {
    return true;
  }
  // Kept: programs rely on white space ending the outermost expression only behind its first summand. At `start` the
  // current token is still the expression's first, whose white space does not count.
  if (level == 1 && frame.operation[kSum] == 0 && nspace > 0 && sp != start) {
    sp = sp_save;
    type = kNoToken;  // the next call scans the token again, whichever function it is
    return true;
  }
  return !joined_and_waits(frame, kSum, value);
}

double evaluate(Part part) {
  if (type == kNoToken) {
    advance();
  }
  forget_frames();
  const char* const start = sp;
  open(part, OpenedBy::kCaller);
  double value = 0.0;
  while (level > 0) {
    if (read_factor(value)) {
      while (level > 0 && completes(start, value)) {
        close(value);
      }
    }
  }
  if (frames.capacity() > kKeptFrames) {
    frames.shrink_to_fit();
    assigned_names.shrink_to_fit();
  }
  return value;
}

int truncated(double value) {
  if (std::isnan(value)) {
    return 0;
  }
  if (value >= INT_MAX) {
    return INT_MAX;
  }
  return value <= INT_MIN ? INT_MIN : static_cast<int>(value);
}

}  // namespace
}  // namespace parser

using namespace parser;

int nxi_ReadLine(FILE* stream, char* buffer, int size) {
  if (buffer == nullptr || size < 1) {
    return 0;
  }
  buffer[0] = '\0';
  if (stream == nullptr || size < 2) {
    return 0;
  }
  // A line that just fits is read with its end.
  int length = 0;
  int c = getc_unlocked(stream);
  const bool read = c != EOF;
  while (c != EOF && c != '\n' && c != '\r' && length < size - 1) {
    buffer[length++] = static_cast<char>(c);
    c = getc_unlocked(stream);
  }
  buffer[length] = '\0';
  if (c == '\r') {
    c = getc_unlocked(stream);
  }
  if (c != '\n' && c != EOF) {
    std::ungetc(c, stream);
  }
  return read ? 1 : 0;
}

void nxi_SetScanLine(const char* text) {
  sp = text == nullptr ? "" : text;
  sp_save = sp;
  token[0] = '\0';
  type = kNoToken;
  level = 0;
  nspace = 0;
}

int nxi_ScanLine(const char** position, char* token_text) {
  if (token_text != nullptr) {
    token_text[0] = '\0';
  }
  if (position == nullptr || *position == nullptr || token_text == nullptr) {
    return NXI_TOKEN_END;
  }
  return scan(*position, token_text);
}

void* nxi_GetDataElement(const char* type_name) {
  const auto wanted = [type_name](const char* name) {
    return type_name != nullptr && std::strcmp(type_name, name) == 0;
  };
  advance();
  if (wanted("char")) {
    return token;
  }
  result_double = nxi_Expression();
  if (wanted("int")) {
    result_integer = truncated(result_double);
    return &result_integer;
  }
  if (wanted("float")) {
    result_float = static_cast<float>(result_double);
    return &result_float;
  }
  if (wanted("double")) {
    return &result_double;
  }
  std::printf("type is %s \n", type_name == nullptr ? "(null)" : type_name);
  std::puts("Invalid request for data element ");
  std::puts("Closing down code ");
  close_down();
}

double nxi_Expression(void) { return evaluate(Part::kExpression); }
double nxi_SimpleExpression(void) { return evaluate(Part::kSimpleExpression); }
double nxi_SignedFactor(void) { return evaluate(Part::kSignedFactor); }
double nxi_Factor(void) { return evaluate(Part::kFactor); }

int nxi_FindVariable(const char* name) {
  if (VarTab.entries == nullptr) {
    make_room_for_variable();  // the first look-up makes the table
  }
  return name == nullptr ? -1 : find_variable(name, util::text_hash(name));
}

int nxi_AddVariableToTable(const char* name, double value) {
  if (name == nullptr) {
    return 0;
  }
  const uint64_t hash = util::text_hash(name);
  if (find_variable(name, hash) >= 0) {
    std::printf("Multiple defintion of variable %s requested \n", name);
    std::puts("request ignored ");
    return 0;
  }
  append_variable(name, hash, value);
  return 0;
}

void nxi_PrintVariableTable(void) {
  std::printf("There are %4d entries in Variable Table \n", VarTab.count);
  std::printf("No.      NAME                 Value\n\n");
  for (int i = 0; i < VarTab.count; ++i) {
    std::printf("%4d  %-20s  %8.4f \n", i, VarTab.entries[i].name, VarTab.entries[i].value);
  }
}
