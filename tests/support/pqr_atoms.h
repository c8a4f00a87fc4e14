// Reads the atoms of a PQR file for tests and benchmarks: what the geometry needs, no checks.
#ifndef NXBRIOCHEM_TESTS_SUPPORT_PQR_ATOMS_H
#define NXBRIOCHEM_TESTS_SUPPORT_PQR_ATOMS_H

#include <cstddef>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace test_support {

// Atoms as nine-float records (x y z first, the rest zero) with one charge each.
struct Charges {
  std::vector<float> records;
  std::vector<float> q;

  int count() const { return static_cast<int>(q.size()); }
  void add(float x, float y, float z, float charge) {
    records.insert(records.end(), {x, y, z, 0, 0, 0, 0, 0, 0});
    q.push_back(charge);
  }
};

// Empty when the file cannot be read. A PQR line ends in x y z charge radius, whatever is before.
inline Charges read_pqr(const std::string& path) {
  Charges atoms;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("ATOM", 0) != 0 && line.rfind("HETATM", 0) != 0) {
      continue;
    }
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
      words.push_back(word);
    }
    const auto number = [&](std::size_t from_end) { return std::stof(words.at(words.size() - from_end)); };
    atoms.add(number(5), number(4), number(3), number(2));
  }
  return atoms;
}

}  // namespace test_support

#endif
