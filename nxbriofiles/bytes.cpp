#include "bytes.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "failure.h"
#include "text.h"

namespace nxbrio::files {
namespace {

constexpr std::size_t kChunk = std::size_t{1} << 18;
constexpr std::size_t kLongestLine = std::size_t{1} << 30;

bool is_gzipped(std::string_view bytes) { return starts_with(bytes, "\x1f\x8b"); }

// zlib reads compressed bytes from a descriptor: a file without a name, in memory.
int in_memory_file(const std::string& name, std::string_view bytes) {
  const int descriptor = memfd_create("nxbriofiles", MFD_CLOEXEC);
  while (descriptor >= 0 && !bytes.empty()) {
    const ssize_t n = ::write(descriptor, bytes.data(), bytes.size());
    if (n < 0 && errno != EINTR) {
      const int reason = errno;
      ::close(descriptor);
      throw Failure(name, std::strerror(reason));
    }
    bytes.remove_prefix(n > 0 ? static_cast<std::size_t>(n) : 0);
  }
  if (descriptor < 0 || ::lseek(descriptor, 0, SEEK_SET) != 0) {
    throw Failure(name, std::strerror(errno));
  }
  return descriptor;
}

}  // namespace

Input::Input(std::string path) : name_(std::move(path)), file_(nullptr, gzclose) {
  const int descriptor = ::open(name_.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
  struct stat status {};
  if (descriptor < 0 || ::fstat(descriptor, &status) != 0) {
    throw Failure(name_, std::strerror(errno));
  }
  if (S_ISDIR(status.st_mode)) {
    ::close(descriptor);
    throw Failure(name_, "is a directory");
  }
  can_rewind_ = ::lseek(descriptor, 0, SEEK_CUR) >= 0;
  open(descriptor);
}

Input::Input(std::string name, std::string_view bytes) : name_(std::move(name)), file_(nullptr, gzclose) {
  if (is_gzipped(bytes)) {
    open(in_memory_file(name_, bytes));
  } else {
    bytes_ = bytes;
  }
}

Input::~Input() = default;

void Input::open(int descriptor) {
  file_.reset(gzdopen(descriptor, "rb"));
  if (!file_) {
    ::close(descriptor);
    throw Failure(name_, "out of memory");
  }
}

void Input::hold(std::string text) {
  owned_ = std::move(text);
  bytes_ = owned_;
  file_.reset();
  can_rewind_ = true;
}

void Input::rewind() {
  at_ = 0;
  if (file_ && gzrewind(file_.get()) != 0) {
    throw Failure(name_, std::strerror(errno));
  }
}

std::size_t Input::at_most(std::size_t size) const { return file_ ? size : std::min(size, bytes_.size() - at_); }

std::size_t Input::read(char* buffer, std::size_t size) {
  if (!file_) {
    const std::size_t n = std::min(size, bytes_.size() - at_);
    std::copy_n(bytes_.data() + at_, n, buffer);
    at_ += n;
    return n;
  }
  const int got = gzread(file_.get(), buffer, static_cast<unsigned>(std::min(size, kChunk)));
  if (got > 0) {
    return static_cast<std::size_t>(got);
  }
  // At the end of a truncated gzipped file, zlib returns like at any other end; only the error state shows the
  // difference.
  int error = Z_OK;
  std::string_view message = gzerror(file_.get(), &error);
  if (const std::size_t colon = message.find(": "); colon != std::string_view::npos) {
    message.remove_prefix(colon + 2);
  }
  switch (error) {
    case Z_OK:
    case Z_STREAM_END:
      return 0;
    case Z_ERRNO:
      throw Failure(name_, std::strerror(errno));
    case Z_MEM_ERROR:
      throw Failure(name_, "out of memory");
    case Z_BUF_ERROR:
      throw Failure(name_, "gzipped file is cut short");
    default:
      throw Failure(name_, std::string("gzipped file is damaged: ").append(message));
  }
}

// Appends a chunk, after dropping the lines that were read.
bool LineReader::fill() {
  if (ended_) {
    return false;
  }
  buffer_.erase(0, at_);
  at_ = 0;
  if (buffer_.size() > kLongestLine) {
    throw Failure(input_->name(), number_ + 1, "a line of more than 1 GiB");
  }
  const std::size_t before = buffer_.size();
  const std::size_t chunk = input_->at_most(kChunk);
  buffer_.resize(before + chunk);
  const std::size_t n = chunk > 0 ? input_->read(buffer_.data() + before, chunk) : 0;
  buffer_.resize(before + n);
  ended_ = n == 0;
  if (n > 0 && std::memchr(buffer_.data() + before, 0, n) != nullptr) {
    ended_ = true;
    buffer_.clear();
    throw Failure(input_->name(), "binary data, not a structure file");
  }
  return n > 0;
}

std::string_view LineReader::peek() {
  while (buffer_.size() - at_ < kChunk && fill()) {
  }
  return std::string_view(buffer_).substr(at_);
}

// The first line end from a position on, or the text's length. A loop is used because lines are short, for which
// std::string's search is slower.
static std::size_t find_line_end(const std::string& text, std::size_t from) {
  const auto is_end = [](char c) { return c == '\n' || c == '\r'; };
  return static_cast<std::size_t>(std::find_if(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(), is_end) -
                                  text.begin());
}

bool LineReader::next() {
  std::size_t searched = 0;
  std::size_t end = 0;
  // A CR at the very end of the buffer may be the first half of CR LF.
  while ((end = find_line_end(buffer_, at_ + searched)) == buffer_.size() ||
         (buffer_[end] == '\r' && end + 1 == buffer_.size())) {
    searched = end - at_;
    if (!fill()) {
      end = at_ + searched;
      break;
    }
  }
  if (at_ == buffer_.size()) {
    return false;
  }
  line_ = std::string_view(buffer_).substr(at_, end - at_);
  const bool pair = end + 1 < buffer_.size() && buffer_[end] == '\r' && buffer_[end + 1] == '\n';
  at_ = std::min(end + (pair ? 2 : 1), buffer_.size());
  ++number_;
  return true;
}

void LineReader::rewind() {
  input_->rewind();
  buffer_.clear();
  at_ = 0;
  ended_ = false;
  number_ = 0;
}

}  // namespace nxbrio::files
