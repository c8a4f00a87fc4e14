// Open-file registry: files opened by name are shared, listed, and closed in one call at the end. What it prints goes
// through nx_printf with handle 0.
#ifndef NXBRIOCHEM_OBJECTS_FILES_H
#define NXBRIOCHEM_OBJECTS_FILES_H

#include <stdio.h>

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// Opens a file and registers it; null, after a line through the printing function, when it cannot be opened. A path
// that is already open gives the stream it is open on, whatever `mode` asks for. The registry closes the stream:
// through nxi_fclose, nxi_close_file or nxi_fclose_all.
NX_API FILE* nxi_fopen(const char* path, const char* mode);
// The same.
NX_API FILE* nxi_open_file(const char* path, const char* mode);

// Closes a stream. 1, or 0 for a stream that is not open in the registry, which is then left as it is.
NX_API int nxi_fclose(FILE* stream);
// Closes the last file opened under this path. 1, or 0 when none is open.
NX_API int nxi_close_file(const char* path);
// Closes every open file and says how many. 1, or 0 when the registry was never used.
NX_API int nxi_fclose_all(void);

// Prints the open files. 1.
NX_API int nxi_list_open_files(void);
// Prints all files ever opened. 1.
NX_API int nxi_list_files(void);

// 1 when the registry holds the stream as open, else 0.
NX_API int nxi_is_fopen(FILE* stream);
// 1 when a file is open under this path, else 0.
NX_API int nxi_is_file_open(const char* path);

NX_END_DECLS

#endif
