#!/usr/bin/env python3
"""Finds the exported C functions from which the heap can be reached and checks that the fault tests call each of them.

usage: who_allocates.py LIBRARY EXPORTS_LIST SOURCE...

Follows the library's machine code from function to function, by every address that an instruction names. Calls through
pointers are not followed; neither are the reports of the molecule layer, which cut a long text where memory is refused.
"""
import re
import subprocess
import sys

HEAP = {"malloc", "calloc", "realloc", "_Znwm", "_ZnwmRKSt9nothrow_t"}
REPORTS = "_ZN8NxSystem14NxErrorHandler"
FUNCTION = re.compile(r"^[0-9a-f]+ <(.+)>:$")
TARGET = re.compile(r"<([^>+]+)(?:\+0x[0-9a-f]+)?>")


def named_by_functions(library):
    """Each function's name, and the names that its instructions hold."""
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
    library, exports_list, *sources = sys.argv[1:]
    with open(exports_list, encoding="utf-8") as lines:
        exports = [line.strip() for line in lines if line[0] not in "#_\n"]
    text = ""
    for source in sources:
        with open(source, encoding="utf-8") as file:
            text += file.read()
    names = named_by_functions(library)
    allocating = [name for name in exports if reaches_heap(name, names)]
    if len(allocating) < 200:
        sys.exit(f"only {len(allocating)} functions seem to allocate: the library's code was not understood")
    missing = [name for name in allocating if not re.search(rf"\b{name}\b", text)]
    if missing:
        sys.exit("called by no fault test: " + " ".join(missing))
    print(f"all {len(allocating)} functions that allocate are called")


main()
