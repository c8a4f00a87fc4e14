#include "output_place.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/vfs.h>

#include <cerrno>
#include <charconv>
#include <climits>
#include <cstring>
#include <string_view>

#include "failure.h"

namespace nxbrio {
namespace {

[[noreturn]] void refuse(const std::string& path, int reason) { throw Failure(path, std::strerror(reason)); }

Descriptor open_directory(int from, const std::string& path) {
  return Descriptor(openat(from, path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

bool is_same(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// Whether a directory belongs to /proc. Names there, to which links such as /dev/stdout lead, are descriptors, not
// files.
bool is_of_processes(int directory) {
  struct statfs system {};
  return fstatfs(directory, &system) == 0 && system.f_type == PROC_SUPER_MAGIC;
}

// The number of this process's descriptor that a name in a directory stands for, or -1.
int own_descriptor(int directory, const std::string& name) {
  const Descriptor own = open_directory(AT_FDCWD, "/proc/self/fd");
  struct stat here {};
  struct stat there {};
  if (!own || fstat(own.number(), &here) != 0 || fstat(directory, &there) != 0 || !is_same(here, there)) {
    return -1;
  }
  int number = -1;
  const char* const end = name.data() + name.size();
  return std::from_chars(name.data(), end, number).ptr == end ? number : -1;
}

// Whether a file or a named pipe is the one that standard output was redirected to.
bool is_redirected_to(const struct stat& status) {
  struct stat out {};
  return (S_ISREG(status.st_mode) || S_ISFIFO(status.st_mode)) && fstat(STDOUT_FILENO, &out) == 0 &&
         is_same(status, out);
}

struct Target {
  Descriptor directory;
  std::string name;
};

// The directory and the name that a path leads to, links of the last name followed. Throws Failure.
Target follow(const std::string& path) {
  constexpr int kMostLinks = 40;  // the limit of the system
  Target target;
  std::string rest = path;
  for (int links = 0; links <= kMostLinks; ++links) {
    const std::size_t slash = rest.rfind('/');
    target.name = slash == std::string::npos ? rest : rest.substr(slash + 1);
    target.directory = open_directory(target.directory ? target.directory.number() : AT_FDCWD,
                                      slash == std::string::npos ? "." : rest.substr(0, slash + 1));
    if (!target.directory) {
      refuse(path, errno);
    }
    if (target.name.empty()) {
      throw Failure(path, "is a directory");
    }
    if (is_of_processes(target.directory.number())) {
      return target;
    }
    char link[PATH_MAX];
    const ssize_t length = readlinkat(target.directory.number(), target.name.c_str(), link, sizeof link);
    if (length < 0) {
      if (errno == EINVAL || errno == ENOENT) {  // EINVAL: not a link; ENOENT: nothing there
        return target;
      }
      refuse(path, errno);
    }
    rest.assign(link, static_cast<std::size_t>(length));
  }
  refuse(path, ELOOP);
}

// The file that is there, or else its directory and its name in it.
struct Identity {
  struct stat status {};
  std::string name;
};

std::optional<Identity> identity_of(const std::string& path) {
  Identity identity;
  if (stat(path.c_str(), &identity.status) == 0) {
    return identity;
  }
  try {
    Target target = follow(path);
    identity.name = std::move(target.name);
    return fstat(target.directory.number(), &identity.status) == 0 ? std::optional(identity) : std::nullopt;
  } catch (const Failure&) {
    return std::nullopt;
  }
}

}  // namespace

OutputPlace::OutputPlace(const std::string& path) {
  // The system is asked first: it refuses to follow links that other users put into a directory like /tmp.
  struct stat status {};
  if (stat(path.c_str(), &status) == 0) {
    existing_ = status;
  } else if (errno != ENOENT || path.empty()) {
    refuse(path, errno);
  }
  if (existing_ && S_ISDIR(status.st_mode)) {
    throw Failure(path, "is a directory");
  }
  Target target = follow(path);
  directory_ = std::move(target.directory);
  name_ = std::move(target.name);
  const bool of_process = is_of_processes(directory());
  if (existing_) {
    stream_ = of_process ? own_descriptor(directory(), name_) : is_redirected_to(status) ? STDOUT_FILENO : -1;
    replaced_ = S_ISREG(status.st_mode) && !of_process && stream_ < 0;
  } else if (of_process) {
    refuse(path, ENOENT);
  }
  if (replaced_ && faccessat(directory(), ".", W_OK | X_OK, AT_EACCESS) != 0) {
    refuse(path, errno);
  }
  if (existing_ && stream_ < 0 && faccessat(directory(), name_.c_str(), W_OK, AT_EACCESS) != 0) {
    refuse(path, errno);
  }
}

Descriptor OutputPlace::open() const {
  constexpr int kFirstFree = 3;
  return Descriptor(stream_ >= 0 ? fcntl(stream_, F_DUPFD_CLOEXEC, kFirstFree)
                                 : openat(directory(), name_.c_str(), O_WRONLY | O_APPEND | O_NOCTTY | O_CLOEXEC));
}

bool same_output(const std::string& one, const std::string& other) {
  if (one == other) {
    return true;
  }
  const std::optional<Identity> first = identity_of(one);
  const std::optional<Identity> second = identity_of(other);
  return first && second && is_same(first->status, second->status) && first->name == second->name;
}

}  // namespace nxbrio
