// Bounds checks, and the levels that a table is set to.
#include <cstdio>
#include <cstring>

#include <nxbriochem/objects/object_memory.h>
#include <nxbriochem/objects/object_memory_store_internal.h>
#include <nxbriochem/objects/object_memory_tables_internal.h>
#include <nxbriochem/objects/print.h>

namespace object_memory {
namespace {

enum Damage { kIntact = 0, kLow = 1, kHigh = 2 };

bool pad_differs(const Table& table, const unsigned char* pad, int32_t size, int32_t seed) {
  return size > 0 && std::memcmp(pad, table.pack + (seed - table.pack_base), static_cast<std::size_t>(size)) != 0;
}

int damage_of(const Table& table, const Entry& entry) {
  if (!entry.pads_stand) {
    return kIntact;
  }
  const auto* bytes = static_cast<const unsigned char*>(entry.pointer);
  int damage = kIntact;
  if (pad_differs(table, bytes - entry.low_pad, entry.low_pad, entry.low_seed)) {
    damage |= kLow;
  }
  if (pad_differs(table, bytes + entry.used, entry.high_pad, entry.high_seed)) {
    damage |= kHigh;
  }
  return damage;
}

void report_damage(int damage, int32_t number, const Entry& entry) {
  if (damage == kLow) {
    std::printf("low bounds violation of entry %d, value=%d, name= %s\n", number, entry.low_seed, entry.name);
  } else if (damage == kHigh) {
    std::printf("high bounds violation of entry %d,value=%d, name= %s\n", number, entry.high_seed, entry.name);
  } else {
    std::printf("high and low bounds violation of entry %d, values %d %d, name= %s\n", number, entry.high_seed,
                entry.low_seed, entry.name);
  }
}

// Sets a level of 0 to 3 and confirms it, or says that there is no such level.
int set_level(int handle, int32_t Table::*field, int level, const char* const (&confirmations)[4],
              const char* refusal) {
  Table* table = find_table(handle);
  if (table == nullptr) {
    return 0;
  }
  if (level < 0 || level > 3) {
    nx_printf(table->owner, refusal, table->*field);
    return 1;
  }
  table->*field = level;
  nx_printf(table->owner, "%s", confirmations[level]);
  return 1;
}

}  // namespace

int check_bounds(Table& table) {
  const bool silent = table.in_check != 0;
  if (!silent) {
    std::printf("Checking memory bounds\n");
  }
  int violations = 0;
  each_entry(table, [&table, &violations](const Entry& entry, int32_t number) {
    const int damage = damage_of(table, entry);
    if (damage != kIntact) {
      report_damage(damage, number, entry);
      ++violations;
    }
  });
  if (violations > 0) {
    std::printf("Summary: %d bounds violations found\n", violations);
  } else if (!silent) {
    std::printf("Summary: memory bounds are undisturbed\n");
  }
  return violations;
}

int check_bounds_silently(Table& table) {
  table.in_check = 1;
  const int violations = check_bounds(table);
  table.in_check = 0;
  return violations;
}

}  // namespace object_memory

using namespace object_memory;

int nxi_boundscheck_pnt(int handle, void* pointer) {
  Table* table = find_table(handle);
  const Entry* entry = table == nullptr ? nullptr : find_entry(*table, pointer);
  if (entry == nullptr) {
    std::printf("no such pointer found in the memory table!\n");
    return -1;
  }
  return damage_of(*table, *entry);
}

int nxi_boundscheck_all(int handle) {
  Table* table = find_table(handle);
  return table == nullptr ? 0 : check_bounds(*table);
}

int nxi_boundscheck_all_s(int handle) {
  Table* table = find_table(handle);
  return table == nullptr ? 0 : check_bounds_silently(*table);
}

int nxi_set_memory_padding(int handle, int mode) {
  Table* table = find_table(handle);
  if (table == nullptr) {
    return 0;
  }
  static const char* const kConfirmations[] = {"memory padding turned off\n", "memory now to be padded, high and low\n",
                                               "memory now to be padded, high \n", "memory now to be padded, low\n"};
  table->padding = mode;
  if (mode >= 0 && mode <= 3) {
    nx_printf(table->owner, "%s", kConfirmations[mode]);
  }
  return 1;
}

int nxi_set_auto_bndcheck(int handle, int level) {
  static const char* const kConfirmations[] = {
      "BoundCheck Frequency set to Zero=  only check upon explicit demand\n",
      "BoundCheck Frequency set to One= check upon memory allocation\n",
      "BoundCheck Frequency set to Two= check upon memory deallocation\n",
      "BoundCheck Frequency set to Three= check upon memory allocation or deallocation\n"};
  return set_level(handle, &Table::auto_check, level, kConfirmations, "no Bound Checking Level %d, hence unchanged.\n");
}

int nxi_set_memstrict(int handle, int level) {
  static const char* const kConfirmations[] = {
      "Memory Strictness set to Zero= garbage pointers treated as NULL\n",
      "Memory Strictness set to One= warn then garbage pointers treated as NULL\n",
      "Memory Strictness set to Two= garbage pointers prevent memory assignment\n",
      "Memory Strictness set to Three= garbage pointers terminate program\n"};
  return set_level(handle, &Table::strictness, level, kConfirmations,
                   "no Memory Strictness Level %d, hence unchanged.\n");
}

int nxi_set_memprn(int handle, int flag) {
  Table* table = find_table(handle);
  if (table == nullptr) {
    return 0;
  }
  table->print_flag = flag;
  return 1;
}
