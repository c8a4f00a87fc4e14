#include "staged_files.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "failure.h"
#include "temporary_file.h"

namespace nxbrio {
namespace {

void require(bool done, const std::string& path) {
  if (!done) {
    throw Failure(path, std::strerror(errno));
  }
}

// Copies all of a file from its start.
bool copy(int from, int to) {
  std::array<char, 1 << 16> buffer;
  off_t at = 0;
  for (;;) {
    const ssize_t n = pread(from, buffer.data(), buffer.size(), at);
    if (n < 0 && errno == EINTR) {
      continue;
    }
    if (n <= 0) {
      return n == 0;
    }
    if (!write_all(to, {buffer.data(), static_cast<std::size_t>(n)})) {
      return false;
    }
    at += n;
  }
}

// Waits until the disk has it. A file system without fsync counts as done.
bool sync(int descriptor) { return fsync(descriptor) == 0 || errno == EINVAL || errno == ENOTSUP || errno == EROFS; }

bool sync_directory(int directory) {
  const Descriptor readable(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  return !readable || sync(readable.number());
}

// Only root can give files away, and only members of a group can give files to it. Where the owner or the group cannot
// be kept, its set-ID bit is dropped, and a new group gets the rights of others.
bool keep_owner_and_mode(int file, const struct stat& old) {
  struct stat now {};
  if (fstat(file, &now) != 0) {
    return false;
  }
  bool owner_kept = now.st_uid == old.st_uid;
  bool group_kept = now.st_gid == old.st_gid;
  if (!owner_kept && fchown(file, old.st_uid, old.st_gid) == 0) {
    owner_kept = group_kept = true;
  } else if (!group_kept) {
    group_kept = fchown(file, static_cast<uid_t>(-1), old.st_gid) == 0;
  }
  mode_t mode = old.st_mode & static_cast<mode_t>(~S_IFMT);
  if (!owner_kept) {
    mode &= static_cast<mode_t>(~S_ISUID);
  }
  if (!group_kept) {
    mode &= static_cast<mode_t>(~(S_ISGID | S_IRWXG));
    mode |= (mode & S_IRWXO) << 3U;
  }
  return fchmod(file, mode) == 0;
}

// A file that is written under a temporary name and then renamed to its place.
class Appearing {
 public:
  Appearing(const std::string& path, const OutputPlace& place)
      : path_(path), place_(place), file_(place.directory(), place.existing() ? kOwnersOnly : kAnyones) {
    require(static_cast<bool>(file_.descriptor()), path_);
  }

  void fill(int contents) {
    Descriptor& to = file_.descriptor();
    require(copy(contents, to.number()) &&
                (!place_.existing() || keep_owner_and_mode(to.number(), *place_.existing())) && sync(to.number()) &&
                to.close(),
            path_);
  }

  // False, with errno, when the file cannot appear.
  bool appear(bool alone) {
    const char* const name = place_.name().c_str();
    if (!alone && place_.existing() && file_.exchange(name)) {
      state_ = State::Exchanged;
    } else if (file_.replace(name)) {
      state_ = place_.existing() ? State::Replaced : State::New;
    } else {
      return false;
    }
    return true;
  }

  // Undoes appear().
  void disappear() {
    if (state_ == State::Exchanged) {
      file_.exchange(place_.name().c_str());
    } else if (state_ == State::New) {
      unlinkat(place_.directory(), place_.name().c_str(), 0);
    }
  }

  void make_durable() const { require(sync_directory(place_.directory()), path_); }
  const std::string& path() const { return path_; }

 private:
  enum class State { Hidden, New, Replaced, Exchanged };
  static constexpr mode_t kAnyones = 0666;  // less the umask
  static constexpr mode_t kOwnersOnly = 0600;

  const std::string& path_;
  const OutputPlace& place_;
  TemporaryFile file_;
  State state_ = State::Hidden;
};

// Makes all files appear. When one fails, those before it are exchanged back, where the file system can do that.
void appear_together(std::deque<Appearing>& files) {
  const SignalsHeld held;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (!files[i].appear(files.size() == 1)) {
      const int reason = errno;
      for (std::size_t k = i; k-- > 0;) {
        files[k].disappear();
      }
      throw Failure(files[i].path(), std::strerror(reason));
    }
  }
}

}  // namespace

bool write_all(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t n = write(descriptor, text.data(), text.size());
    if (n < 0 && errno != EINTR) {
      return false;
    }
    text.remove_prefix(n > 0 ? static_cast<std::size_t>(n) : 0);
  }
  return true;
}

int StagedFiles::stage(const std::string& path) {
  File& file = files_.emplace_back(File{path, OutputPlace(path), Descriptor(memfd_create("nxbrio", MFD_CLOEXEC)), {}});
  require(static_cast<bool>(file.contents), path);
  if (file.place.is_standard_output() && printing_ == Printing::GoesToStandardError) {
    file.in_place = file.place.open();
    require(file.in_place && std::fflush(stdout) == 0 && dup2(STDERR_FILENO, STDOUT_FILENO) >= 0, path);
  }
  return file.contents.number();
}

void StagedFiles::commit() {
  std::deque<Appearing> appearing;
  for (const File& file : files_) {
    if (file.place.is_replaced()) {
      appearing.emplace_back(file.path, file.place).fill(file.contents.number());
    }
  }
  for (File& file : files_) {
    if (!file.place.is_replaced()) {
      if (!file.in_place) {
        file.in_place = file.place.open();
      }
      require(file.in_place && copy(file.contents.number(), file.in_place.number()) && file.in_place.close(),
              file.path);
    }
  }
  appear_together(appearing);
  for (const Appearing& file : appearing) {
    file.make_durable();
  }
}

}  // namespace nxbrio
