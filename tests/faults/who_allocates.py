#!/usr/bin/env python3
"""Finds the exported functions from which the heap can be reached and checks that each has a row in the fault tests, or
is in the list of functions that never allocate.

usage: who_allocates.py LEAST LIBRARY EXPORTS_LIST SOURCE...

LEAST is the minimum number of such functions.

Follows the library's machine code from function to function, by every address that an instruction names. Calls through
pointers are not followed; neither are the reports of the molecule layer, which cut a long text where memory is refused.
That a function with a row allocates while it runs is what the tests assert.
"""
import re
import subprocess
import sys

HEAP = {"malloc", "calloc", "realloc", "_Znwm", "_Znam", "_ZnwmRKSt9nothrow_t", "_ZnamRKSt9nothrow_t"}
REPORTS = "_ZN8NxSystem14NxErrorHandler"
FUNCTION = re.compile(r"^[0-9a-f]+ <(.+)>:$")
TARGET = re.compile(r"<([^>+]+)(?:\+0x[0-9a-f]+)?>")
ROW = re.compile(r"\b(?:CALL|FAILS)(?:_AS)?\(\s*(?:\"(?P<quoted>[^\"]*)\"|(?P<plain>\w+))")

# Functions that never allocate: the condition for the allocation is never true in them.
IDLE = {
    # The room that they look for, or make indices in, was made with what they give back or ask about.
    "nx_delete", "nx_free_all_memory", "clear_memory_system", "nxi_delete_all_memory_tables", "nx_delete_molecule",
    "nx_clear_opt", "nx_delete_opt", "nx_set_opt_function_list", "nx_set_opt_gradient_list",
    "NxBrioChem::NxReleaseHandle(NxChem::NxMolBase const&)", "NxBrioChem::NxReleaseHandle(int)",
    "NxBrioChem::NxReleaseAllHandles(NxChem::NxMolBase const&)",
    "NxBrioChem::NxReleaseGridHandle(NxSystem::NxBrioGrid const&)", "NxBrioChem::NxReleaseGridHandle(int)",
    "NxBrioChem::NxReleaseAllGridHandles(NxSystem::NxBrioGrid const&)",
    "NxChem::NxMolBase::DeleteAtom(NxChem::NxAtomBase*)", "NxChem::NxMolBase::DeleteBond(NxChem::NxBondBase*)",
    "NxChem::NxMolBase::Clear()", "NxChem::nxmolostream::close()",
    # An existing list has a memory table, and the table has an index.
    "nx_set_list_name", "nx_delete_from_list", "nx_go_to_list_object", "nx_is_handle_in_list",
    "nx_get_list_current_object", "nx_get_list_length_of_type", "nx_get_list_name", "nx_decrement_list",
    "nx_delete_current_from_list", "nx_get_list_length", "nx_go_to_list_end", "nx_go_to_list_start",
    "nx_increment_list", "nx_is_list_name_set", "nx_list_length",
    # A title as short as the keyword is stored within its string.
    "nx_charge_protein",
    # The number of values of a ligand does not change.
    "nxd_set_ligand_parameters", "nxd_set_ligand_charges",
    # Nothing is read.
    "nx_get_list_of_molecules_from_list_file", "nx_get_list_of_molecules_from_file",
    "nx_get_list_of_molecules_from_binary_file", "nx_add_molecules_to_list_from_list_file",
    "nx_add_delphi_molecules_to_list_from_list_file", "nx_add_mol2_molecules_to_list_from_list_file",
}


def named_by_functions(library):
    """The name of each function, and the names that its instructions refer to."""
    code = subprocess.run(
        ["objdump", "--disassemble", "--wide", "--no-show-raw-insn", library],
        check=True, capture_output=True, text=True).stdout
    names = {}
    function = None
    for line in code.splitlines():
        if start := FUNCTION.match(line):
            function = start[1].split("@")[0]
            names.setdefault(function, set())
        elif function and (target := TARGET.search(line)):
            names[function].add(target[1].split("@")[0])
    return names


def reaches_heap(function, names):
    seen = set()
    left = [function]
    while left:
        name = left.pop()
        if name in HEAP:
            return True
        if name not in seen and not name.startswith(REPORTS):
            seen.add(name)
            left.extend(names.get(name, ()))
    return False


def main():
    least, library, exports_list, *sources = sys.argv[1:]
    with open(exports_list, encoding="utf-8") as lines:
        exports = [line.strip() for line in lines if line[0] not in "#\n"]
    rows = set()
    for source in sources:
        with open(source, encoding="utf-8") as file:
            rows.update(row["quoted"] or row["plain"] for row in ROW.finditer(file.read()))
    names = named_by_functions(library)
    allocating = [name for name in exports if reaches_heap(name, names)]
    if len(allocating) < int(least):
        sys.exit(f"only {len(allocating)} functions seem to allocate: the library's code was not understood")
    readable = set(subprocess.run(
        ["c++filt"], input="\n".join(allocating), check=True, capture_output=True, text=True).stdout.splitlines())
    if missing := readable - rows - IDLE:
        sys.exit("without a row in the fault tests: " + ", ".join(sorted(missing)))
    if stale := IDLE & rows:
        sys.exit("said not to allocate, but with a row: " + ", ".join(sorted(stale)))
    print(f"of {len(readable)} functions that reach the heap, {len(readable - IDLE)} have a row")


main()
