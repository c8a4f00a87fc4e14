// An output file that appears whole or not at all. Private to the toolkit. C++ only.
#ifndef NXBRIOCHEM_TOOLKIT_NXOUTFILE_INTERNAL_H
#define NXBRIOCHEM_TOOLKIT_NXOUTFILE_INTERNAL_H

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
  NxDescriptor(NxDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
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

// Open() finds out whether the file can be made or replaced and changes nothing. Replace() writes a temporary file in
// the file's directory and renames it over the file. nxmolostream.h says what callers can rely on.
//
// Where the filesystem has unnamed files (O_TMPFILE), the temporary one gets its name, ".nxtmp" with the process id and
// a number, only just before it is renamed, so that a process that is killed while it writes leaves nothing behind. The
// directory is held open from Open() on, so that the working directory may change.
class NxOutFile {
 public:
  // False, with errno, when the file cannot be made or written.
  bool Open(const char* filename);
  // Makes contents the file. False, with errno; then nothing has changed, unless the file was written in place.
  bool Replace(std::string_view contents);
  void Close();

 private:
  bool OpenTarget(const char* filename);
  bool OpenInPlace();
  bool ReplaceByRename(std::string_view contents) const;
  bool Fill(const NxDescriptor& file, std::string_view contents) const;
  bool RenameOver(NxDescriptor& file, const std::string& temporary) const;
  void RemoveKeepingErrno(const std::string& temporary) const;
  bool WriteInPlace(std::string_view contents);

  // A pipe, terminal or device, one of this process's own descriptors, or a file whose directory cannot be changed.
  NxDescriptor in_place_;
  bool truncate_in_place_ = false;
  NxDescriptor directory_;
  std::string name_;  // within the directory
};

}  // namespace NxChem

#endif
