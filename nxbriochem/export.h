// What every public header needs to say about a function: that it is exported, that it has C linkage, and that its
// arguments follow printf's rules. Valid C11 and C++.
#ifndef NXBRIOCHEM_EXPORT_H
#define NXBRIOCHEM_EXPORT_H

// The library hides every symbol by default; NX_API marks the ones that callers may link against, NX_LOCAL the members
// of a marked class that are the library's own.
#if defined(__GNUC__)
#define NX_API __attribute__((visibility("default")))
#define NX_LOCAL __attribute__((visibility("hidden")))
#define NX_PRINTF(text, first) __attribute__((format(printf, text, first)))
#define NX_NORETURN __attribute__((noreturn))
#else
#define NX_API
#define NX_LOCAL
#define NX_PRINTF(text, first)
#define NX_NORETURN
#endif

#if defined(__cplusplus)
#define NX_BEGIN_DECLS extern "C" {
#define NX_END_DECLS }
#else
#define NX_BEGIN_DECLS
#define NX_END_DECLS
#endif

#endif
