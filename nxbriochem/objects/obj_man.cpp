// Two indexes lead from a handle to its record. The public index, HandleHash with its counts, uses the low bits alone;
// a slot with one live handle answers for every value that falls into it. `lone_positions` gives the same answer in one
// load: the position of the record for such a slot, none for others. `positions` is exact and replaces a scan of the
// records: for shared slots, for the handle that is missing in the public index because the index grew when the handle
// was made, and for everything except translation and type.
#include <nxbriochem/objects/obj_man.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <nxbriochem/objects/codes_internal.h>
#include <nxbriochem/objects/error.h>
#include <nxbriochem/objects/handle_sequence_internal.h>
#include <nxbriochem/objects/memory.h>
#include <nxbriochem/objects/memory_owners_internal.h>
#include <nxbriochem/objects/obj_man_state.h>
#include <nxbriochem/objects/obj_man_tables_internal.h>
#include <nxbriochem/objects/object_memory.h>
#include <nxbriochem/objects/plain_heap_internal.h>
#include <nxbriochem/objects/print.h>
#include <nxbriochem/util/never_destroyed_internal.h>
#include <nxbriochem/util/slot_index_internal.h>

namespace obj_man {

Type ObjProp[256];
Handle* Handles = nullptr;
int32_t HandlesNum = 0;
int32_t HandlesAll = 0;
int32_t OBJ_TABLE = -1;
int32_t HashBitNum = 16;
uint32_t HashBlank = 0;
int32_t* HandleHash = nullptr;
int32_t* HandleHashOcc = nullptr;
int32_t obj_sys_init_status = 0;
int random_sequence_handle = 0;
uint32_t random_sequence_handle_set = 0;
int32_t handle_overflow = 0;
int32_t NX_MONITOR_MAKE = 0;

namespace {

using namespace objects;

constexpr int32_t kAboveGrids = kFirstGrid + 1;
constexpr int32_t kHandlesIncrement = 1000;
constexpr int32_t kTooManyHashBits = 30;
constexpr int kMostRedraws = 1000;
constexpr uint32_t kUnknown = 0xFFFFFFFFU;

struct PrintLevel {
  const char* name;
  int32_t status;
};
constexpr PrintLevel kPrintLevels[] = {{"silent", 0}, {"standard", 1}, {"debug", 3}};

constinit util::NeverDestroyed<util::SlotIndex<int32_t, objects::PlainHeap>> positions_storage;
constinit auto& positions = *positions_storage;

constexpr int32_t kNoPosition = -1;
// One position per slot of the index. Before the index is made there is a single slot, so that look-ups need no check.
int32_t no_position = kNoPosition;
int32_t* lone_positions = &no_position;
using LonePositions = std::vector<int32_t, objects::PlainHeap<int32_t>>;
constinit util::NeverDestroyed<LonePositions> lone_positions_storage;

// The slot of the handle that the public index lacks because it grew when that handle was made, until the next rehash;
// -1 when it lacks none.
int32_t absent_slot = -1;

int32_t slot_of(int32_t handle) { return static_cast<int32_t>(static_cast<uint32_t>(handle) & HashBlank); }

std::size_t hash_slots() { return static_cast<std::size_t>(HashBlank) + 1; }

// The record of this exact handle, or null.
Handle* find_record(int32_t handle) {
  const int32_t position = positions.find_highest(handle);
  return position < 0 ? nullptr : &Handles[position];
}

// The record for translation: that of the slot's only live handle, else that of exactly this handle. The absent handle
// is found exactly; any other value in its slot still gets the slot's only entry.
const Handle* translate(int32_t handle) {
  const int32_t slot = slot_of(handle);
  const int32_t lone = lone_positions[slot];
  if (lone >= 0) [[likely]] {
    return &Handles[lone];
  }
  const Handle* record = find_record(handle);
  if (record == nullptr && slot == absent_slot && HandleHashOcc[slot] == 1) {
    return &Handles[HandleHash[slot]];
  }
  return record;
}

// Call when a slot's count or position has changed.
void update_lone_position(int32_t slot) {
  lone_positions[slot] = HandleHashOcc[slot] == 1 && slot != absent_slot ? HandleHash[slot] : kNoPosition;
}

void clear_lone_positions() {
  (*lone_positions_storage).assign(hash_slots(), kNoPosition);
  lone_positions = (*lone_positions_storage).data();
}

void rehash_handles() {
  absent_slot = -1;
  for (int32_t i = 0; i < HandlesNum; ++i) {
    HandleHashOcc[slot_of(Handles[i].handle)] = 0;
  }
  for (int32_t i = 0; i < HandlesNum; ++i) {
    const int32_t slot = slot_of(Handles[i].handle);
    HandleHash[slot] = i;
    HandleHashOcc[slot] += 1;
    update_lone_position(slot);
  }
}

// Slots of the index that can be scanned in the time of one record's look-up.
constexpr std::size_t kSweptPerRecord = 16;

// Lowers all positions above a removed one by 1, in every slot.
void move_up(int32_t* list, int32_t removed) {
  const std::size_t slots = hash_slots();
  for (std::size_t slot = 0; slot < slots; ++slot) {
    list[slot] -= static_cast<int32_t>(list[slot] > removed);
  }
}

// Takes a handle out of the public index whose record, at `position`, has just been removed. The index becomes what a
// rehash would make it, but only the records after the removed one, which moved up, are entered again.
void leave_index(int32_t handle, int32_t position) {
  const int32_t slot = slot_of(handle);
  if (HandleHashOcc[slot] <= 1) {  // 0 for a handle that a freshly grown index misses
    HandleHashOcc[slot] = 0;
    HandleHash[slot] = 0;
  } else {
    HandleHashOcc[slot] -= 1;
  }
  update_lone_position(slot);
  if (absent_slot >= 0) {
    rehash_handles();
    return;
  }
  if (HandleHashOcc[slot] > 0 && HandleHash[slot] == position) {  // it was the last one of the slot
    int32_t before = position - 1;
    while (slot_of(Handles[before].handle) != slot) {
      --before;
    }
    HandleHash[slot] = before;
    update_lone_position(slot);
  }
  const int32_t behind = HandlesNum - position;
  if (static_cast<std::size_t>(behind) * kSweptPerRecord < hash_slots()) {
    for (int32_t i = position; i < HandlesNum; ++i) {
      const int32_t moved = slot_of(Handles[i].handle);
      HandleHash[moved] = i;
      update_lone_position(moved);
    }
  } else {
    move_up(HandleHash, position);
    move_up(lone_positions, position);
  }
}

// Removes a record. The records after it were made later, so their objects of the same type come after its object in
// the type's array.
void remove_record(int32_t position) {
  const Handle removed = Handles[position];
  HandlesNum -= 1;
  std::memmove(Handles + position, Handles + position + 1,
               static_cast<std::size_t>(HandlesNum - position) * sizeof(Handle));
  Handle* const end = Handles + HandlesNum;
  for (Handle* record = Handles + position; record != end; ++record) {
    record->index -= static_cast<int32_t>(record->type == removed.type);
  }
  positions.close_gap(removed.handle, position, HandlesNum, [](int32_t i) { return Handles[i].handle; });
  leave_index(removed.handle, position);
}

void forget_tracked_blocks();
objects::HandleSequence sequence{random_sequence_handle, random_sequence_handle_set, handle_overflow,
                                 forget_tracked_blocks};

// Called when the program has freed all tracked memory, including the public index and the record of the sequence. The
// objects are in memory tables and stay.
void forget_tracked_blocks() {
  HandleHash = nullptr;
  HandleHashOcc = nullptr;
  HashBlank = 0;
  lone_positions = &no_position;
  absent_slot = -1;
  sequence.forget_record();
}

// The new arrays are put in place together, once all are allocated: the report of exhausted memory looks handles up.
void set_index(int32_t* hash, int32_t* occupied, int32_t bits) {
  const std::size_t slots = std::size_t{1} << bits;
  LonePositions lone(slots, kNoPosition);
  std::memset(hash, 0, slots * sizeof(int32_t));
  std::memset(occupied, 0, slots * sizeof(int32_t));
  (*lone_positions_storage).swap(lone);
  lone_positions = (*lone_positions_storage).data();
  HandleHash = hash;
  HandleHashOcc = occupied;
  HashBlank = static_cast<uint32_t>(slots - 1);
  rehash_handles();
}

void make_index() {
  const int slots = 1 << HashBitNum;
  auto* hash = static_cast<int32_t*>(nx_calloc(slots, sizeof(int32_t)));
  auto* occupied = static_cast<int32_t*>(nx_calloc(slots, sizeof(int32_t)));
  memory::when_all_freed(forget_tracked_blocks);
  set_index(hash, occupied, HashBitNum);
}

// A grown index is cleared whole, so that a slot without a live handle answers for none.
void grow_index() {
  HashBitNum += 1;
  if (HashBitNum == kTooManyHashBits) {
    std::puts("Hash Tables cant be resized past 2**30!\nSorry");
    std::exit(kHashLimit);
  }
  const auto bytes = static_cast<int64_t>(sizeof(int32_t)) << HashBitNum;
  // The old arrays stay valid below the old mask until the new ones are in place.
  HandleHash = static_cast<int32_t*>(memory::grow_own(HandleHash, bytes));
  HandleHashOcc = static_cast<int32_t*>(memory::grow_own(HandleHashOcc, bytes));
  set_index(HandleHash, HandleHashOcc, HashBitNum);
}

void grow_handles(int32_t capacity) {
  HandlesAll = capacity;
  Handles = static_cast<Handle*>(Handles == nullptr
                                     ? nx_object_malloc(OBJ_TABLE, HandlesAll, sizeof(Handle), "handles", nullptr)
                                     : nx_object_realloc(OBJ_TABLE, HandlesAll, sizeof(Handle), "handles", Handles));
}

void reset_type(Type& type) {
  type = Type{};
  type.name[0] = ' ';
}

// Makes whatever the registry lacks: everything at first, later what the program has freed.
void ensure_ready() {
  if (obj_sys_init_status == 0) {
    std::for_each(std::begin(ObjProp), std::end(ObjProp), reset_type);
    obj_sys_init_status = 1;
  }
  if (HandleHash == nullptr) {
    make_index();
  }
  if (OBJ_TABLE < 0) {
    OBJ_TABLE = nxi_add_memory_table(0);
  }
  if (HandlesNum == HandlesAll) {
    grow_handles(HandlesAll + kHandlesIncrement);
  }
}

void make_room_for_object(Type& type) {
  if (type.count < type.allocated) {
    return;
  }
  type.allocated += type.increment;
  if (type.size > 0) {
    type.allocated = std::max(type.allocated, type.count + 1);  // a type registered with increment 0, or late
  }
  const auto allocated = static_cast<int>(type.allocated);
  const auto size = static_cast<int>(type.size);
  type.objects = type.objects == nullptr ? nx_object_malloc(OBJ_TABLE, allocated, size, type.name, nullptr)
                                         : nx_object_realloc(OBJ_TABLE, allocated, size, type.name, type.objects);
}

int32_t draw_handle() {
  const auto taken = [](int32_t handle) { return find_record(handle) != nullptr; };
  return static_cast<int32_t>(
      sequence.draw_unique(taken, kMostRedraws, "1000 attempts to find unique handle failed", kNoUniqueHandle));
}

// Enters the new handle, whose record comes next, under the index as it is, and then grows the index if need be.
// Growing enters only the existing records, so the new handle is missing from a freshly grown index until the next
// rehash.
void enter_in_index(int32_t handle) {
  const int32_t slot = slot_of(handle);
  HandleHashOcc[slot] += 1;
  HandleHash[slot] = HandlesNum;
  update_lone_position(slot);
  if (static_cast<int64_t>(HashBlank) < 4 * static_cast<int64_t>(HandlesNum)) {
    grow_index();
    absent_slot = slot_of(handle);
    update_lone_position(absent_slot);
  }
}

// An array with less room than objects belongs to a type that was registered late: its objects have no bytes yet.
void remove_object_bytes(Type& type, uint32_t index) {
  if (index + 1 < type.count && type.count <= type.allocated && type.objects != nullptr) {
    char* object = static_cast<char*>(type.objects) + static_cast<std::size_t>(index) * type.size;
    std::memmove(object, object + type.size, static_cast<std::size_t>(type.count - 1 - index) * type.size);
  }
}

void forget_objects() {
  for (Type& type : ObjProp) {
    type.objects = nullptr;
    type.count = 0;
    type.allocated = 0;
  }
  Handles = nullptr;
  HandlesNum = 0;
  HandlesAll = 0;
  positions.clear();
  absent_slot = -1;
  if (HandleHashOcc != nullptr) {
    std::memset(HandleHashOcc, 0, hash_slots() * sizeof(int32_t));
    clear_lone_positions();
  }
}

const Type* type_or_null(int type) { return type < 0 || type >= kTypes ? nullptr : &ObjProp[type]; }

}  // namespace

bool is_registry_table(int table_handle) { return OBJ_TABLE >= 0 && table_handle == OBJ_TABLE; }

void registry_blocks_freed() { forget_objects(); }

void registry_table_deleted() {
  forget_objects();
  OBJ_TABLE = -1;
}

void* objects_of_type(int type) {
  const Type* properties = type_or_null(type);
  return properties == nullptr ? nullptr : properties->objects;
}

}  // namespace obj_man

using namespace obj_man;

void obj_sys_init(void) {
  if (obj_sys_init_status == 0) {
    ensure_ready();
  }
}

int nxi_register_object(int tag, const char* name, unsigned size, unsigned increment) {
  obj_sys_init();
  if (tag >= kTypes) {
    nx_printf(0, "maximum tag number for objects is 255\n");
    return 0;
  }
  if (tag < 0) {
    nx_printf(0, "tag number for objects cannot be less than 0\n");
    return 0;
  }
  Type& type = ObjProp[tag];
  if (type.registered != 0) {
    nx_printf(0, "object %s already registered at %d\n", type.name, tag);
    return 0;
  }
  if (name == nullptr || size > INT32_MAX || increment > INT32_MAX) {
    return 0;
  }
  type.size = size;
  std::snprintf(type.name, sizeof type.name, "%s", name);
  type.increment = increment;
  type.registered = 1;
  return 1;
}

void register_handles(void) {
  if (nxi_register_object(kHandleType, "handles", sizeof(Handle), kHandlesIncrement) == 0) {
    nxi_warn("problem registering handles\n");
  }
}

void* nxi_make_object(int type, uint32_t* handle) {
  if (type < 0 || type >= kTypes || handle == nullptr) {
    return nullptr;
  }
  ensure_ready();
  Type& properties = ObjProp[type];
  make_room_for_object(properties);
  const int32_t value = draw_handle();
  if (NX_MONITOR_MAKE != 0) {
    std::printf("make object handle: %d\n", value);
  }
  const int32_t position = HandlesNum;
  // The record is filled before any index leads to it, since the report of exhausted memory looks handles up.
  Handles[position] = {value, static_cast<int32_t>(properties.count), -1, type, 0};
  enter_in_index(value);
  positions.insert(value, position);
  HandlesNum += 1;
  if (HandlesNum == HandlesAll) {
    grow_handles(HandlesNum + kHandlesIncrement);
  }
  const int table = nxi_add_memory_table(value);
  Handles[position].memory_table = table;
  *handle = static_cast<uint32_t>(value);
  properties.count += 1;
  if (NX_MONITOR_MAKE != 0) {
    std::printf("Made object with handle %d of type %s\n", value, name_of_type(type));
  }
  return properties.objects;
}

uint32_t nxi_translate_handle(int handle) {
  const Handle* record = translate(handle);
  return record == nullptr ? kUnknown : static_cast<uint32_t>(record->index);
}

int nxi_return_type_of_handle(int handle) {
  if (handle >= kLastMolecule && handle <= -1) {
    return kMoleculeType;
  }
  if (handle < kAboveGrids) {
    return kGridType;
  }
  const Handle* record = translate(handle);
  return record == nullptr ? kNoType : record->type;
}

const char* nxi_object_type_name(int handle) { return name_of_type(nxi_return_type_of_handle(handle)); }

int nxi_get_memory_handle(int handle) {
  const Handle* record = find_record(handle);
  return record == nullptr ? -1 : record->memory_table;
}

uint32_t nxi_get_number_of_objects_of_type(int type) {
  const Type* properties = type_or_null(type);
  return properties == nullptr ? 0 : properties->count;
}

uint32_t nxi_get_allocated_space_for_objects_of_type(int type) {
  const Type* properties = type_or_null(type);
  return properties == nullptr ? 0 : properties->allocated;
}

int nxi_delete_object(int handle) {
  const Handle* record = find_record(handle);
  if (record == nullptr) {
    nxi_warning("can not delete, no such handle as %d\n", handle);
    return 0;
  }
  Type& type = ObjProp[record->type];
  const auto position = static_cast<int32_t>(record - Handles);
  if (HandleHash == nullptr) {
    make_index();
  }
  remove_object_bytes(type, static_cast<uint32_t>(record->index));
  nxi_delete_memory_table(handle);
  if (Handles == nullptr) {
    return 1;  // that table was the registry's own, and all records went with it
  }
  type.count -= 1;
  remove_record(position);
  return 1;
}

int nx_delete(int* handle) {
  if (handle == nullptr || nxi_translate_handle(*handle) == kUnknown || nxi_delete_object(*handle) == 0) {
    return 0;
  }
  *handle = 0;
  return 1;
}

int nx_set_print_status(const char* level, int handle) {
  Handle* record = find_record(handle);
  if (record == nullptr) {
    return 0;
  }
  for (const PrintLevel& known : kPrintLevels) {
    if (level != nullptr && std::strcmp(level, known.name) == 0) {
      record->print_status = known.status;
    }
  }
  return 1;
}

int nx_get_print_status(int handle) {
  const Handle* record = find_record(handle);
  return record == nullptr ? 0 : record->print_status;
}

void nxi_monitor_make(void) { NX_MONITOR_MAKE = 1; }

void print_handle_list(void) {
  for (int32_t i = 0; i < HandlesNum; ++i) {
    nx_printf(0, "handle %d is %d\n", i, Handles[i].handle);
  }
}
