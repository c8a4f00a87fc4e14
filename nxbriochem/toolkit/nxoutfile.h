// An output file that appears whole or not at all. Private to the toolkit. C++ only.
#ifndef NXBRIOCHEM_TOOLKIT_NXOUTFILE_H
#define NXBRIOCHEM_TOOLKIT_NXOUTFILE_H

#include <string>
#include <string_view>
#include <utility>

namespace NxChem {

// A file descriptor that is closed with its owner.
class NxDescriptor {
 public:
  NxDescriptor() = default;
  explicit NxDescriptor(int fd) : fd_(fd) {}
  NxDescriptor(const NxDescriptor&) = delete;
  NxDescriptor& operator=(const NxDescriptor&) = delete;
  NxDescriptor& operator=(NxDescriptor&& other) noexcept {
    Close();
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~NxDescriptor() { Close(); }

  explicit operator bool() const { return fd_ >= 0; }
  int Get() const { return fd_; }
  // False when the system reports a late write error.
  bool Close();

 private:
  int fd_ = -1;
};

// Open() finds out whether the file could be made or replaced and touches nothing: a process that ends before Replace()
// leaves no trace. Replace() writes a temporary file in the file's directory and renames it over the file. The
// directory is held open, so that the working directory may change meanwhile. Symbolic links are followed, an existing
// file keeps its permission bits and, where the system lets it, its owner; a new one has those that fopen would give
// it. What exists and is no regular file (a terminal, a pipe, a device), or stands under /proc as /dev/stdout does, is
// written in place.
class NxOutFile {
 public:
  // False, with errno, when the file cannot be made or written.
  bool Open(const char* filename);
  // Makes contents the file. False, with errno; then nothing has changed.
  bool Replace(std::string_view contents);
  void Close();

 private:
  bool OpenTemporary(NxDescriptor& file, std::string& name) const;
  bool Fill(NxDescriptor& file, std::string_view contents) const;

  NxDescriptor in_place_;
  NxDescriptor directory_;
  std::string name_;  // within the directory
};

}  // namespace NxChem

#endif
