#include "printing.h"

#include <nxbriochem/nxbriochem.h>

#include <cstdio>

#include "nxbriofiles/text.h"

namespace nxbrio {
namespace {

// Errors in the queue that were told already.
int told_errors = 0;

const char* error(int k) { return nx_error_with_tag("", k); }
const char* warning(int k) { return nx_warning_with_tag("", k); }

// Every queued message from a number on, in order; every text contains the empty tag.
nlohmann::ordered_json messages(int first, int count, const char* (*message)(int)) {
  auto json = nlohmann::ordered_json::array();
  for (int k = first; k < count; ++k) {
    json.push_back(message(k));
  }
  return json;
}

std::string messages_text(const char* what, int first, int count, const char* (*message)(int)) {
  std::string text;
  for (int k = first; k < count; ++k) {
    text += std::string("library ") + what + ": " + std::string(trimmed(message(k))) + "\n";
  }
  return text;
}

}  // namespace

void print_report(const std::string& text, const Printing& printing) {
  const std::string told = text + messages_text("error", told_errors, nx_number_of_errors(), error) +
                           messages_text("warning", 0, nx_number_of_warnings(), warning);
  std::fputs(told.c_str(), stdout);
  if (printing.verbose) {
    std::printf("errors %d, warnings %d; memory still held: %u bytes in %d blocks\n", nx_number_of_errors(),
                nx_number_of_warnings(), static_cast<unsigned>(nx_total_memory_allocated()),
                nx_total_number_of_active_pointers());
  }
}

void print_report(nlohmann::ordered_json json, const Printing& printing) {
  json["errors"] = messages(0, nx_number_of_errors(), error);
  json["warnings"] = messages(0, nx_number_of_warnings(), warning);
  if (printing.verbose) {
    json["memory_held"] = {{"bytes", nx_total_memory_allocated()}, {"blocks", nx_total_number_of_active_pointers()}};
  }
  // Bytes of file and atom names that are not UTF-8 are replaced.
  const std::string text = json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
  std::puts(text.c_str());
}

void tell_fault(const std::string& what) {
  std::fflush(stdout);
  std::fprintf(stderr, "nxbrio: %s\n", on_one_line(what).c_str());
  told_errors = nx_number_of_errors();
}

}  // namespace nxbrio
