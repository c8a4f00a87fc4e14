// Tables of comma-separated values (RFC 4180, with LF as line ends).
#ifndef NXBRIOCHEM_APPS_NXBRIO_CSV_H
#define NXBRIOCHEM_APPS_NXBRIO_CSV_H

#include <string>

namespace nxbrio {

class Csv {
 public:
  // Adds a cell to the row; a text is quoted where it has to be.
  Csv& operator<<(const std::string& text);
  Csv& operator<<(const char* text) { return *this << std::string(text); }
  // The shortest decimal text that reads back as the same number.
  Csv& operator<<(double number);
  Csv& operator<<(int number);
  // Ends the row.
  void end_row();

  const std::string& text() const { return text_; }

 private:
  void add(const std::string& cell);

  std::string text_;
  bool row_begun_ = false;
};

}  // namespace nxbrio

#endif
