// Lists of handles: registry objects of type 2 that hold other handles in order, with an optional name and a cursor.
// Members may be any handles, also of molecules, grids and other lists, so lists nest. Duplicates are allowed.
//
// A list does not own its members: a deleted object leaves its handle in every list that holds it. A list's arrays are
// in its own memory table and are freed with it. The list handle is the last argument. For a value that is no list
// (unknown, or of another type) the result is 0 (a length of 0) and nothing is queued. Null pointers give 0 and change
// nothing. A list whose member array was freed by the program is empty.
//
// The functions that descend into nested lists (..._recurse, unrolling) count a list each time they meet it, but skip a
// list that they meet within itself: a list may contain itself, see nx_add_to_list. A list that is deleted while it is
// a member counts as an empty list from then on, as long as some list holds it. Any other unknown value is an ordinary
// member. No list, and no unrolled array, has more than 2^29 - 1 handles.
#ifndef NXBRIOCHEM_OBJECTS_LIST_OBJ_H
#define NXBRIOCHEM_OBJECTS_LIST_OBJ_H

#include <stdint.h>

#include <nxbriochem/export.h>

NX_BEGIN_DECLS

// A new empty list without a name, its cursor at 0. Its handle; the caller deletes it with nx_delete_list. 0 when the
// program has registered object type 2, that of lists, itself.
NX_API int nx_make_list(void);
// Deletes the list, but none of its members. Kept: programs rely on the result, which is always 1. An unknown handle,
// or the handle of an object that is no list, deletes nothing and queues the registry's warning.
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
// As nx_get_list_length.
NX_API int nx_list_length(int list);
// Direct members of a type: 2 lists, 3 molecules, 4 grids, and the types that programs register.
NX_API int nx_get_list_length_of_type(int list, int type);
// Members at any depth that are not lists; no more than INT32_MAX.
NX_API int nx_get_list_length_recurse(int list);
// 1 when a direct member equals the handle.
NX_API int nx_is_handle_in_list(int handle, int list);
// 1 when a member at any depth equals the handle, a nested list's own handle too.
NX_API int nx_is_handle_in_list_recurse(int handle, int list);

// Appends a member, known to the library or not. 1. A member that is a list is first searched for `list`, at any depth,
// and a line through the printing function tells the result. When it contains `list`, another line follows and the
// result is 0. Kept: programs rely on being able to add a list to itself once; only what it contains is searched.
NX_API int nx_add_to_list(int member, int list);
// Removes a member; of several equal ones, the last. The list's last member moves into its place, so order is not kept.
// The cursor stays at its position. 0 when the member is absent.
NX_API int nx_delete_from_list(int member, int list);
// Removes the member at the cursor; the list's last member moves into its place. The cursor stays at its position,
// which is behind the end when it was on the last member. 0 for an empty list and for a cursor behind the end.
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
// valid until it is made again or the list is deleted. Kept: programs rely on the spelling of the name.
NX_API int nx_make_urolled_list(int list);

// ---- For the library's modules ----

// Writes the members at any depth that are not lists through the cursor and moves it behind the last one. The array is
// the caller's and has room for nx_get_list_length_recurse handles; it need not be aligned. 1; 0 for an unknown list, a
// null cursor or a null array.
NX_API int nxi_unroll_list(int** cursor, int list);

NX_END_DECLS

#endif
