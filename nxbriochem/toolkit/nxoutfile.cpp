#include <nxbriochem/toolkit/nxoutfile.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

namespace NxChem {
namespace {

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

// What stands under /proc (as /dev/stdout does) belongs to a process, whose descriptor a rename would not reach.
bool IsOfProcess(const std::string& path) { return path.starts_with("/proc/"); }

// Follows the symbolic links of the last name of a path, also to a file that does not exist yet, but none of /proc.
// False, with errno, when there are too many.
bool FollowLinks(std::string& path) {
  constexpr int kMaxLinks = 40;  // as the system has it
  for (int i = 0; i < kMaxLinks; ++i) {
    if (IsOfProcess(path)) {
      return true;
    }
    char link[PATH_MAX];
    const ssize_t n = ::readlink(path.c_str(), link, sizeof link);
    if (n < 0) {
      return errno == EINVAL || errno == ENOENT;  // not a link; nothing there
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

}  // namespace

bool NxDescriptor::Close() {
  const int fd = std::exchange(fd_, -1);
  return fd < 0 || ::close(fd) == 0;
}

bool NxOutFile::Open(const char* filename) {
  Close();
  struct stat status {};
  const bool exists = ::stat(filename, &status) == 0;
  if (!exists && errno != ENOENT) {
    return false;
  }
  std::string path = filename;
  if (!FollowLinks(path)) {
    return false;
  }
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
  if (!directory_ || ::faccessat(directory_.Get(), ".", W_OK | X_OK, AT_EACCESS) != 0 ||
      (exists && ::faccessat(directory_.Get(), name_.c_str(), W_OK, AT_EACCESS) != 0)) {
    const int reason = errno;
    Close();
    errno = reason;
    return false;
  }
  return true;
}

// The name is short and does not depend on the target's, which may be as long as names can be.
bool NxOutFile::OpenTemporary(NxDescriptor& file, std::string& name) const {
  static unsigned made = 0;
  for (int attempt = 0; attempt < 1000; ++attempt) {
    name = ".nxtmp" + std::to_string(::getpid()) + "_" + std::to_string(made++);
    constexpr mode_t kReadWriteAll = 0666;  // less the umask
    file =
        NxDescriptor(::openat(directory_.Get(), name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kReadWriteAll));
    if (file) {
      return true;
    }
    if (errno != EEXIST) {
      return false;
    }
  }
  return false;
}

bool NxOutFile::Replace(std::string_view contents) {
  if (in_place_) {
    if (::ftruncate(in_place_.Get(), 0) != 0 && errno != EINVAL) {  // EINVAL: what has no length, a pipe or a terminal
      return false;
    }
    return WriteAll(in_place_.Get(), contents) && in_place_.Close();
  }
  NxDescriptor file;
  std::string temporary;
  if (!OpenTemporary(file, temporary)) {
    return false;
  }
  if (Fill(file, contents) && file.Close() &&
      ::renameat(directory_.Get(), temporary.c_str(), directory_.Get(), name_.c_str()) == 0) {
    return true;
  }
  const int reason = errno;
  ::unlinkat(directory_.Get(), temporary.c_str(), 0);
  errno = reason;
  return false;
}

bool NxOutFile::Fill(NxDescriptor& file, std::string_view contents) const {
  struct stat old {};
  if (::fstatat(directory_.Get(), name_.c_str(), &old, 0) == 0) {
    // Only root can give files away; everyone else keeps a file of their own.
    if (old.st_uid != ::geteuid() && ::fchown(file.Get(), old.st_uid, old.st_gid) != 0 && errno != EPERM) {
      return false;
    }
    constexpr mode_t kPermissions = 0777;
    if (::fchmod(file.Get(), old.st_mode & kPermissions) != 0) {
      return false;
    }
  }
  return WriteAll(file.Get(), contents);
}

void NxOutFile::Close() {
  directory_.Close();
  in_place_.Close();
}

}  // namespace NxChem
