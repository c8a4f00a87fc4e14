// Lists of handles: registry objects of type 2 that hold other handles in order, with an optional name and a cursor.
// Members may be any handles, molecules, grids and other lists among them, so lists nest; duplicates are allowed.
//
// A list does not own its members: an object that is deleted leaves its handle in every list that holds it. What
// a list allocates lives in its own memory table and goes with it. The list handle is always the last argument; a value
// that names no list gives 0 (a length of 0) without a word, be it unknown or the handle of something else. Null
// pointers give 0 and change nothing. A list whose member array a program freed under it is an empty one.
//
// The functions that descend into nested lists (..._recurse, unrolling) count a list as often as they meet it, but pass
// over one that they meet again within itself: a list may come to contain itself (see nx_add_to_list). A value that was
// a list when a list took it in counts as a list with nothing in it after its deletion, for as long as some list holds
// it; whether one does that is added only after its deletion is open. Every other value that the library does not know
// is a member like any other. No list, nor what it unrolls to, has more than 2^29 - 1 handles.
#ifndef NXBRIOCHEM_OBJECTS_LIST_OBJ_H
#define NXBRIOCHEM_OBJECTS_LIST_OBJ_H

#include <stdint.h>

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// A new empty list without a name, its cursor at 0. Its handle; the caller deletes it with nx_delete_list. 0 when the
// program registered object type 2, the lists', for itself.
NX_API int nx_make_list(void);
// Deletes the list, but none of its members. Always 1, and programs rely on it: also for an unknown handle and for that
// of an object that is no list, which stays as it is; of both the registry's warning is queued.
NX_API int nx_delete_list(int list);

// Copies at most 79 characters of the name. 1.
NX_API int nx_set_list_name(const char* name, int list);
// 1 once a name was given.
NX_API int nx_is_list_name_set(int list);
// Copies the name with its NUL, 80 characters at most; empty when none was given. 0, with a line through the printing
// function, for a null buffer.
NX_API int nx_get_list_name(char* name, int list);

// Members held.
NX_API int nx_get_list_length(int list);
// The same under another name.
NX_API int nx_list_length(int list);
// Direct members of a type: 2 lists, 3 molecules, 4 grids, and the types that programs register.
NX_API int nx_get_list_length_of_type(int list, int type);
// Members at any depth that are not lists; no more than INT32_MAX.
NX_API int nx_get_list_length_recurse(int list);
// 1 when a direct member equals the handle.
NX_API int nx_is_handle_in_list(int handle, int list);
// 1 when a member at any depth equals the handle, a nested list's own handle too.
NX_API int nx_is_handle_in_list_recurse(int handle, int list);

// Appends a member, known to the library or not. A member that is a list is searched for `list` first, at any depth,
// and a line through the printing function says so; when it contains `list` another line follows and the result is 0.
// That a list may be added to itself is meant: only what it contains is looked at, so it is refused the second time.
NX_API int nx_add_to_list(int member, int list);
// Removes the last position that holds the member; the last member of all takes its place, so order is not kept. The
// cursor stays where it is. 0 when the member is absent.
NX_API int nx_delete_from_list(int member, int list);
// Removes the member at the cursor in the same way. The cursor stays where it is, behind the end when it stood on the
// last member. 0 for an empty list and for a cursor behind the end.
NX_API int nx_delete_current_from_list(int list);

// Writes the member at the cursor. 0 for an empty list and for a cursor behind the end.
NX_API int nx_get_list_current_object(int* handle, int list);
// Moves the cursor forward; 0, cursor unmoved, at the last member and for an empty list.
NX_API int nx_increment_list(int list);
// Moves the cursor back; 0, cursor unmoved, at the first member and for an empty list.
NX_API int nx_decrement_list(int list);
// Moves the cursor to the first member; 0 for an empty list.
NX_API int nx_go_to_list_start(int list);
// Moves the cursor to the last member; 0 for an empty list.
NX_API int nx_go_to_list_end(int list);
// Moves the cursor to the first member that equals the handle; 0, cursor on the last member, when none does.
NX_API int nx_go_to_list_object(int handle, int list);

// Makes the list's array of its members at any depth that are not lists, in order, depth first. 0 for an empty list.
// The array, of nx_get_list_length_recurse handles, is the list's block "ulist" (nx_object_integers("ulist", list)),
// valid until it is made again or the list deleted. The name is spelled so on purpose.
NX_API int nx_make_urolled_list(int list);

// ---- For the library's modules ----

// Writes the members at any depth that are not lists through the cursor, as many as nx_get_list_length_recurse counts,
// and moves the cursor behind the last one. The caller owns the array. 1; 0 for an unknown list, a null cursor or a
// null array.
NX_API int nxi_unroll_list(int** cursor, int list);

NX_END_DECLS

#endif
