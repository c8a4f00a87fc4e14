// The bytes of a structure file, wherever they are and whether they are gzipped, and their lines. C++20.
#ifndef NXBRIOFILES_BYTES_H
#define NXBRIOFILES_BYTES_H

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

struct gzFile_s;

namespace nxbrio::files {

// A source of bytes: a file, or memory that belongs to the caller.
class Input {
 public:
  // A file. Throws Failure when it cannot be opened.
  explicit Input(std::string path);
  // Bytes in memory; `name` is used in messages.
  Input(std::string name, std::string_view bytes);
  Input(const Input&) = delete;
  Input& operator=(const Input&) = delete;
  ~Input();

  const std::string& name() const { return name_; }
  // Fills the buffer with the next bytes, unpacked. Returns their number, 0 at the end. Throws Failure.
  std::size_t read(char* buffer, std::size_t size);
  // How many bytes a read of `size` bytes can give: fewer when less is left in memory.
  std::size_t at_most(std::size_t size) const;
  // Goes back to the start. A pipe cannot, so its bytes are kept in memory.
  void rewind();
  bool can_rewind() const { return can_rewind_; }
  void hold(std::string text);

 private:
  void open(int descriptor);

  std::string name_;
  std::unique_ptr<gzFile_s, int (*)(gzFile_s*)> file_;
  std::string owned_;
  // Plain bytes in memory, read without zlib.
  std::string_view bytes_;
  std::size_t at_ = 0;
  bool can_rewind_ = true;
};

// Walks the lines of an input, a chunk in memory at a time.
class LineReader {
 public:
  explicit LineReader(Input& input) : input_(&input) {}

  // Reads the next line; false at the end. Throws Failure, also for bytes that no text contains and for lines beyond 1
  // GiB.
  bool next();
  // Without its end; valid until the next call.
  std::string_view line() const { return line_; }
  // From 1.
  std::size_t number() const { return number_; }
  // The first bytes from here on, for a look ahead.
  std::string_view peek();
  // Back to the start.
  void rewind();

 private:
  bool fill();

  Input* input_;
  std::string buffer_;
  std::size_t at_ = 0;
  bool ended_ = false;
  std::string_view line_;
  std::size_t number_ = 0;
};

}  // namespace nxbrio::files

#endif
