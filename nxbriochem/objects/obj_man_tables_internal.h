// What other modules of this directory need of the registry: the memory tables, one of which holds its arrays, and the
// modules that own an object type. Not exported.
#ifndef NXBRIOCHEM_OBJECTS_OBJ_MAN_TABLES_INTERNAL_H
#define NXBRIOCHEM_OBJECTS_OBJ_MAN_TABLES_INTERNAL_H

namespace obj_man {

// Whether the registry keeps its arrays in this table.
bool is_registry_table(int table_handle);

// Called after that table's blocks were freed, or the table was deleted: every object is gone, and the registry starts
// over at its next use. Registered types stay registered.
void registry_blocks_freed();
void registry_table_deleted();

// The base of a type's object array, null while it has none. Making an object of the type may move it.
void* objects_of_type(int type);

}  // namespace obj_man

#endif
