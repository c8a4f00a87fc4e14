// Ends of the process other than by returning from main: the library ends it when memory runs out, and so does the
// language where an exception may not pass.
#ifndef NXBRIOCHEM_APPS_NXBRIO_SUDDEN_END_H
#define NXBRIOCHEM_APPS_NXBRIO_SUDDEN_END_H

namespace nxbrio {

// Whether the heap has refused anything, as operator new tells, errno does, or a library has said
// (tell_memory_ran_out). What fails then may have another text.
bool memory_ran_out();
void tell_memory_ran_out();
// Tells that memory ran out, without needing any. Gives the exit status, 1.
int report_out_of_memory();

// Lives as long as main. A process that ends before says on standard error that the library ended it, with the
// library's last error message, removes temporary files and has exit status 1.
class SuddenEndsReported {
 public:
  SuddenEndsReported();
  SuddenEndsReported(const SuddenEndsReported&) = delete;
  SuddenEndsReported& operator=(const SuddenEndsReported&) = delete;
  ~SuddenEndsReported();
};

}  // namespace nxbrio

#endif
