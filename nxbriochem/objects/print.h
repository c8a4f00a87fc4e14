// The printing function, whose output is turned on and off per handle (nx_set_print_status) or for the whole process.
#ifndef NXBRIOCHEM_OBJECTS_PRINT_H
#define NXBRIOCHEM_OBJECTS_PRINT_H

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// Prints by printf's rules: to standard output when the global mode is "everything" or the handle's print status is 1
// (standard), to standard error when the status is 2, and nowhere otherwise (so not for status 3, debug) or when the
// global mode is "nothing". Handle 0 reuses the status of the previous call; an unknown handle has status 0. The number
// of characters printed.
NX_API int nx_printf(int handle, const char* format, ...) NX_PRINTF(2, 3);

// From now on nx_printf prints whatever the handle's status.
NX_API void nx_print_everything(void);
// From now on nx_printf prints nothing.
NX_API void nx_print_nothing(void);
// Back to the default: the handle's status decides.
NX_API void nx_print_by_handle(void);

NX_END_DECLS

#endif
