// Open-file registry: files opened by name are shared, listed, and closed in one call at the end. It prints through
// nx_printf with handle 0.
#ifndef NXBRIOCHEM_OBJECTS_FILES_H
#define NXBRIOCHEM_OBJECTS_FILES_H

#include <stdio.h>

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// Opens a file and registers it. A path that is already open gives its stream, whatever `mode` asks for. The stream
// belongs to the registry: close it with nxi_fclose, nxi_close_file or nxi_fclose_all. Null, after a line through the
// printing function, when the file cannot be opened; null for a null path or mode. O(1) expected.
NX_API FILE* nxi_fopen(const char* path, const char* mode);
// As nxi_fopen.
NX_API FILE* nxi_open_file(const char* path, const char* mode);

// Closes a stream. 1; 0 for a stream that is not open in the registry, which stays as it is. O(1) expected.
NX_API int nxi_fclose(FILE* stream);
// Closes the last file opened under this path. 1; 0 when none is open.
NX_API int nxi_close_file(const char* path);
// Closes every open file and prints how many there were. 1; 0 when the registry was never used.
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
