// A file beside the one that it will become. Whatever ends the process other than KILL or a crash removes it: the
// destructor, an exit, and the signals INT, TERM and HUP.
#ifndef NXBRIOFILES_TEMPORARY_FILE_H
#define NXBRIOFILES_TEMPORARY_FILE_H

#include <signal.h>
#include <sys/types.h>

#include "descriptor.h"

namespace nxbrio {

// Removes those that are there; for the end of the process.
void remove_temporary_files();
// From now on INT, TERM and HUP remove temporary files before they end the process. A signal that the caller had
// ignored stays ignored.
void remove_temporary_files_at_signals();

// Holds INT, TERM and HUP back while it lives.
class SignalsHeld {
 public:
  SignalsHeld();
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;
  ~SignalsHeld();

 private:
  sigset_t before_;
};

class TemporaryFile {
 public:
  // Makes an empty file in a directory, which must stay open. Its name is ".nxbrio-" and 16 random hexadecimal digits;
  // the mode is less the umask. Its descriptor is none, with errno, when it could not be made.
  TemporaryFile(int directory, mode_t mode);
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  // Removes what bears the name.
  ~TemporaryFile();

  Descriptor& descriptor() { return descriptor_; }
  // Renames it in its directory over what bears the new name. False, with errno, when it cannot.
  bool replace(const char* name);
  // Exchanges it for the file of the other name, which this one is from then on. False, with errno, when it cannot.
  bool exchange(const char* name) const;

 private:
  friend void remove_temporary_files();

  void forget();

  int directory_;
  char name_[32];
  // What the signal handler walks through.
  TemporaryFile* next_ = nullptr;
  Descriptor descriptor_;
  bool is_there_ = false;
};

}  // namespace nxbrio

#endif
