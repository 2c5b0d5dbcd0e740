#!/usr/bin/env python3
"""Writes the symbol table of a program or DLL built with mingw-w64.

    symbol_table.py NM OBJDUMP BINARY OUTPUT

The debug information of a mingw build is DWARF in PE sections, which neither
the system's symbol API nor libdw reads on Windows. The crash reporter names
call-stack addresses from this table instead (platform/SymbolTable.h reads
it). Its lines:

    rotalis-symbols 1          format and version
    F <rva> <name>             a function starts (mangled name, as nm prints it)
    E <rva>                    a code section ends: no function past it
    S <index> <path>           a source file, numbered from 0
    L <rva> <file> <line>      the code from here on is that file's line
    L <rva> - -                no line from here on (end of a sequence)

Addresses are hexadecimal offsets from the image base (RVAs), so the table
holds wherever the loader maps the module. F and E lines are in address
order, and so are L lines.
"""

import re
import subprocess
import sys

ROW = re.compile(r"^(\S.*?)\s+(\d+|-)\s+0x([0-9a-fA-F]+)\b")
SECTION = re.compile(r"^\s*\d+\s+(\S+)\s+([0-9a-fA-F]+)\s+([0-9a-fA-F]+)\s")


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True,
                          errors="replace").stdout


def image_base(objdump, binary):
    found = re.search(r"^ImageBase\s+([0-9a-fA-F]+)", output_of(objdump, "-p", binary), re.M)
    if not found:
        sys.exit(f"{binary}: objdump names no image base")
    return int(found.group(1), 16)


def code_sections(objdump, binary):
    """(start, end) of every section holding code, as VMAs."""
    lines = output_of(objdump, "-h", binary).splitlines()
    sections = []
    for header, flags in zip(lines, lines[1:]):
        found = SECTION.match(header)
        if found and "CODE" in flags:
            size, start = int(found.group(2), 16), int(found.group(3), 16)
            sections.append((start, start + size))
    return sections


def functions(nm, binary, sections):
    """{VMA: name} of the functions nm lists; the first name of an address wins."""
    found = {}
    for line in output_of(nm, "--defined-only", binary).splitlines():
        parts = line.split(maxsplit=2)
        if len(parts) != 3 or parts[1] not in "Tt" or parts[2].startswith("."):
            continue
        address = int(parts[0], 16)
        if any(start <= address < end for start, end in sections):
            found.setdefault(address, parts[2])
    return found


def line_rows(objdump, binary):
    """(VMA, path, line) rows in the order objdump prints them; line None ends a sequence.

    objdump names a file in full only where the file changes within a compile
    unit ("path:" above the rows); the rows themselves carry the base name.
    Rows before the first such header are resolved through the headers of the
    whole unit."""
    text = output_of(objdump, "--wide", "--dwarf=decodedline", binary)
    for unit in re.split(r"^CU: ", text, flags=re.M)[1:]:
        lines = unit.splitlines()
        headers = [lines[0][:-1]] + [l[:-1] for l in lines[1:]
                                     if l.endswith(":") and not ROW.match(l)]
        by_name = {}
        for path in headers:
            by_name.setdefault(path.replace("\\", "/").rsplit("/", 1)[-1], path)
        current = None
        for line in lines[1:]:
            row = ROW.match(line)
            if not row:
                if line.endswith(":"):
                    current = line[:-1]
                continue
            name, number, address = row.groups()
            path = current if current and current.replace("\\", "/").endswith("/" + name) \
                else by_name.get(name, name)
            yield int(address, 16), path, None if number == "-" else int(number)


def main():
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    nm, objdump, binary, output = sys.argv[1:]
    base = image_base(objdump, binary)
    sections = code_sections(objdump, binary)
    out = ["rotalis-symbols 1"]
    marks = [(a, "F", n) for a, n in functions(nm, binary, sections).items()]
    marks += [(end, "E", "") for _, end in sections]
    for address, kind, name in sorted(marks):
        out.append(f"{kind} {address - base:x} {name}".rstrip())

    # One row an address, the last printed (the earlier ones cover no code);
    # then only the rows where the file or the line changes. Sequences of code
    # the linker dropped (duplicate inline functions) remain, from address 0.
    rows = {}
    for address, path, number in line_rows(objdump, binary):
        if any(start <= address <= end for start, end in sections):
            rows[address] = (path, number)
    files = {}
    previous = None
    for address in sorted(rows):
        path, number = rows[address]
        if (path, number) == previous:
            continue
        previous = (path, number)
        if number is None:
            out.append(f"L {address - base:x} - -")
            continue
        if path not in files:
            files[path] = len(files)
            out.append(f"S {files[path]} {path}")
        out.append(f"L {address - base:x} {files[path]} {number}")

    with open(output, "w", encoding="utf-8", newline="\n") as table:
        table.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
