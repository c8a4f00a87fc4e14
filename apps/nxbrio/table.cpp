#include "table.h"

#include <algorithm>
#include <charconv>
#include <iterator>

namespace nxbrio {

std::string table(const std::vector<Row>& rows) {
  std::vector<std::size_t> widths;
  std::size_t label_width = 0;
  for (const auto& [label, cells] : rows) {
    widths.resize(std::max(widths.size(), cells.size()));
    label_width = std::max(label_width, label.size());
    for (std::size_t i = 0; i < cells.size(); ++i) {
      widths[i] = std::max(widths[i], cells[i].size());
    }
  }
  std::string text;
  for (const auto& [label, cells] : rows) {
    text += "  " + label + std::string(label_width - label.size(), ' ');
    for (std::size_t i = 0; i < cells.size(); ++i) {
      text += "  " + std::string(widths[i] - cells[i].size(), ' ') + cells[i];
    }
    text += '\n';
  }
  return text;
}

std::string notes_text(const std::string& file, const std::vector<std::string>& notes) {
  std::string text;
  for (const std::string& note : notes) {
    text.append("  Note: ").append(file).append(file.empty() ? "" : ": ").append(note).append(".\n");
  }
  return text;
}

double decimal(float value) {
  char text[32];
  const auto end = std::to_chars(std::begin(text), std::end(text), value).ptr;
  double shortest = 0.0;
  std::from_chars(text, end, shortest);
  return shortest;
}

std::vector<double> decimals(const std::array<float, 3>& v) { return {decimal(v[0]), decimal(v[1]), decimal(v[2])}; }

}  // namespace nxbrio
