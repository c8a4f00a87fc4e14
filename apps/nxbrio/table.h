// What the reports are made of: tables, notes and decimals.
#ifndef NXBRIOCHEM_APPS_NXBRIO_TABLE_H
#define NXBRIOCHEM_APPS_NXBRIO_TABLE_H

#include <array>
#include <string>
#include <utility>
#include <vector>

namespace nxbrio {

// A label and cells.
using Row = std::pair<std::string, std::vector<std::string>>;
// Rows of a label and one cell per column, each column as wide as its widest cell.
std::string table(const std::vector<Row>& rows);

// A line for each note, about the file when one is named.
std::string notes_text(const std::string& file, const std::vector<std::string>& notes);

// A float as the shortest decimal that means it, so that 0.8F prints as 0.8 and not as 0.800000011920929.
double decimal(float value);
std::vector<double> decimals(const std::array<float, 3>& v);

}  // namespace nxbrio

#endif
