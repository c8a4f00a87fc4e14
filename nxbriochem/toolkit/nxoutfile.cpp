#include <nxbriochem/toolkit/nxoutfile_internal.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>

namespace NxChem {
namespace {

constexpr mode_t kReadWriteAll = 0666;  // less the umask
constexpr mode_t kPermissions = 0777;   // without set-user-ID and set-group-ID

bool WriteAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t n = ::write(fd, text.data(), text.size());
    if (n < 0 && errno != EINTR) {
      return false;
    }
    text.remove_prefix(n > 0 ? static_cast<std::size_t>(n) : 0);
  }
  return true;
}

// Whether the path names a descriptor of a process. Renaming a file to such a path would not write to the descriptor.
bool IsOfProcess(std::string_view path) { return path.starts_with("/proc/") || path.starts_with("/dev/fd/"); }

// The descriptor of this process that a path names, as /dev/stdout does once its link is followed; -1 for other paths.
int OwnDescriptor(std::string_view path) {
  const std::string by_id = "/proc/" + std::to_string(::getpid()) + "/fd/";
  for (const std::string_view folder : {std::string_view("/proc/self/fd/"), std::string_view("/proc/thread-self/fd/"),
                                        std::string_view("/dev/fd/"), std::string_view(by_id)}) {
    int number = -1;
    if (path.starts_with(folder)) {
      const char* const end = path.data() + path.size();
      const auto [at, fault] = std::from_chars(path.data() + folder.size(), end, number);
      return fault == std::errc() && at == end ? number : -1;
    }
  }
  return -1;
}

// Follows the symbolic links of the last component of a path, also to a file that does not exist yet. Stops at paths of
// a process (IsOfProcess). False, with errno, when there are too many links.
bool FollowLinks(std::string& path) {
  constexpr int kMaxLinks = 40;  // the limit of the system
  for (int i = 0; i < kMaxLinks; ++i) {
    if (IsOfProcess(path)) {
      return true;
    }
    char link[PATH_MAX];
    const ssize_t n = ::readlink(path.c_str(), link, sizeof link);
    if (n < 0) {
      return errno == EINVAL || errno == ENOENT;  // EINVAL: not a link; ENOENT: nothing there
    }
    const std::string_view target(link, static_cast<std::size_t>(n));
    const auto slash = path.rfind('/');
    if (!target.starts_with('/') && slash != std::string::npos) {
      path.erase(slash + 1).append(target);
    } else {
      path = target;
    }
  }
  errno = ELOOP;
  return false;
}

// Calls make(name) with one name after the other until one is not in use, and returns it; "" with errno when make fails
// for another reason. Names are short and do not contain the target's name, which may have the maximum length.
template <class Make>
std::string MakeTemporary(Make make) {
  static unsigned made = 0;
  for (int attempt = 0; attempt < 1000; ++attempt) {
    std::string name = ".nxtmp" + std::to_string(::getpid()) + "_" + std::to_string(made++);
    if (make(name.c_str())) {
      return name;
    }
    if (errno != EEXIST) {
      break;
    }
  }
  return {};
}

// Whether changing an owner failed because the process may not, or cannot name the owner in its user namespace.
bool IsNotAllowed(int reason) { return reason == EPERM || reason == EINVAL; }

// Gives a new file the owner, group and permission bits of the old one. Only root can give files to other users; others
// can only choose a group that they are in. Where the group cannot be kept, the new group gets no more permissions than
// everybody.
bool TakeOver(int fd, const struct stat& old) {
  struct stat made {};
  if (::fstat(fd, &made) != 0) {
    return false;
  }
  mode_t mode = old.st_mode & kPermissions;
  constexpr auto kSameUser = static_cast<uid_t>(-1);
  constexpr auto kSameGroup = static_cast<gid_t>(-1);
  if (old.st_gid != made.st_gid && ::fchown(fd, kSameUser, old.st_gid) != 0) {
    if (!IsNotAllowed(errno)) {
      return false;
    }
    mode &= ~static_cast<mode_t>(S_IRWXG) | ((mode & S_IRWXO) << 3U);
  }
  if (old.st_uid != made.st_uid && ::fchown(fd, old.st_uid, kSameGroup) != 0 && !IsNotAllowed(errno)) {
    return false;
  }
  return ::fchmod(fd, mode) == 0;
}

}  // namespace

bool NxDescriptor::Close() {
  const int fd = std::exchange(fd_, -1);
  return fd < 0 || ::close(fd) == 0;
}

bool NxOutFile::Open(const char* filename) {
  Close();
  if (OpenTarget(filename)) {
    return true;
  }
  const int reason = errno;
  Close();
  errno = reason;
  return false;
}

bool NxOutFile::OpenTarget(const char* filename) {
  struct stat status {};
  const bool exists = ::stat(filename, &status) == 0;
  if (!exists && errno != ENOENT) {
    return false;
  }
  std::string path = filename;
  if (!FollowLinks(path)) {
    return false;
  }
  if (const int own = exists ? OwnDescriptor(path) : -1; own >= 0) {
    if ((::fcntl(own, F_GETFL) & O_ACCMODE) == O_RDONLY) {
      errno = EBADF;
      return false;
    }
    in_place_ = NxDescriptor(::fcntl(own, F_DUPFD_CLOEXEC, 0));
    return static_cast<bool>(in_place_);
  }
  truncate_in_place_ = true;
  if (exists && (!S_ISREG(status.st_mode) || IsOfProcess(path))) {
    in_place_ = NxDescriptor(::open(filename, O_WRONLY | O_NOCTTY | O_CLOEXEC));
    return static_cast<bool>(in_place_);
  }
  const auto slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  name_ = slash == std::string::npos ? path : path.substr(slash + 1);
  if (name_.empty()) {
    errno = path.empty() ? ENOENT : EISDIR;
    return false;
  }
  directory_ = NxDescriptor(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!directory_ || (exists && ::faccessat(directory_.Get(), name_.c_str(), W_OK, AT_EACCESS) != 0)) {
    return false;
  }
  return ::faccessat(directory_.Get(), ".", W_OK | X_OK, AT_EACCESS) == 0 || (exists && OpenInPlace());
}

bool NxOutFile::OpenInPlace() {
  in_place_ = NxDescriptor(::openat(directory_.Get(), name_.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC));
  return static_cast<bool>(in_place_);
}

bool NxOutFile::Replace(std::string_view contents) {
  if (in_place_) {
    return WriteInPlace(contents);
  }
  if (ReplaceByRename(contents)) {
    return true;
  }
  // Files of other users in a directory with the sticky bit cannot be replaced by renaming (EPERM), nor can mounted
  // files (EBUSY).
  const int reason = errno;
  if ((reason == EPERM || reason == EACCES || reason == EBUSY) && OpenInPlace()) {
    return WriteInPlace(contents);
  }
  errno = reason;
  return false;
}

bool NxOutFile::ReplaceByRename(std::string_view contents) const {
  if (NxDescriptor file(::openat(directory_.Get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, kReadWriteAll)); file) {
    if (!Fill(file, contents)) {
      return false;
    }
    const std::string source = "/proc/self/fd/" + std::to_string(file.Get());
    const std::string name = MakeTemporary([&](const char* unused) {
      return ::linkat(AT_FDCWD, source.c_str(), directory_.Get(), unused, AT_SYMLINK_FOLLOW) == 0;
    });
    if (!name.empty()) {
      return RenameOver(file, name);
    }
    if (errno != ENOENT) {
      return false;
    }
    // Without /proc, try again by name.
  }
  NxDescriptor file;
  const std::string name = MakeTemporary([&](const char* unused) {
    file = NxDescriptor(::openat(directory_.Get(), unused, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadWriteAll));
    return static_cast<bool>(file);
  });
  if (name.empty()) {
    return false;
  }
  if (!Fill(file, contents)) {
    RemoveKeepingErrno(name);
    return false;
  }
  return RenameOver(file, name);
}

bool NxOutFile::Fill(const NxDescriptor& file, std::string_view contents) const {
  struct stat old {};
  if (::fstatat(directory_.Get(), name_.c_str(), &old, 0) == 0 && !TakeOver(file.Get(), old)) {
    return false;
  }
  return WriteAll(file.Get(), contents);
}

bool NxOutFile::RenameOver(NxDescriptor& file, const std::string& temporary) const {
  if (file.Close() && ::renameat(directory_.Get(), temporary.c_str(), directory_.Get(), name_.c_str()) == 0) {
    return true;
  }
  RemoveKeepingErrno(temporary);
  return false;
}

void NxOutFile::RemoveKeepingErrno(const std::string& temporary) const {
  const int reason = errno;
  ::unlinkat(directory_.Get(), temporary.c_str(), 0);
  errno = reason;
}

bool NxOutFile::WriteInPlace(std::string_view contents) {
  if (!truncate_in_place_) {
    std::fflush(stdout);                                                 // what was printed comes before the file
  } else if (::ftruncate(in_place_.Get(), 0) != 0 && errno != EINVAL) {  // EINVAL: not a file with a length
    return false;
  }
  return WriteAll(in_place_.Get(), contents) && in_place_.Close();
}

void NxOutFile::Close() {
  directory_.Close();
  in_place_.Close();
  truncate_in_place_ = false;
}

}  // namespace NxChem
