// What the memory tables ask of the registry, whose arrays live in one of them. Not exported.
#ifndef NXBRIOCHEM_OBJECTS_OBJ_MAN_TABLES_H
#define NXBRIOCHEM_OBJECTS_OBJ_MAN_TABLES_H

namespace obj_man {

// Whether the registry keeps its arrays in this table.
bool is_registry_table(int table_handle);

// To be called after that table's blocks were freed, or the table deleted with them: every object is gone, and the
// registry starts anew at its next use. Registered types stay registered.
void registry_blocks_freed();
void registry_table_deleted();

}  // namespace obj_man

#endif
