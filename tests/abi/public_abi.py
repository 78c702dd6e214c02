"""Writes down what applications see of a shared library in binary form: the calls of its public node, and their types.

    python3 tests/abi/public_abi.py build/release/lib/libzolstats.so >tests/abi/libzolstats.abi

Not a comparison; abi_test.py makes that. What the library shows to debuggers only is left out, and so are paths and
line numbers: the text changes when applications would notice, and at no other time.
"""
import pathlib
import subprocess
import sys
import xml.etree.ElementTree as xml

HEADERS = pathlib.Path(__file__).parents[2] / "include"
PUBLIC_NODE = "@@ZOLSTATS_1."

OPTIONS = ["--drop-private-types", "--no-show-locs", "--no-corpus-path", "--no-comp-dir-path", "--no-architecture",
           "--no-elf-needed", "--no-parameter-names", "--exported-interfaces-only", "--type-id-style", "hash"]


def dump(library, headers):
    done = subprocess.run(["abidw", *OPTIONS, "--headers-dir", headers, library], capture_output=True, check=True)
    return xml.fromstring(done.stdout)


def keep(parent, wanted):
    for child in list(parent):
        if not wanted(child):
            parent.remove(child)


def is_public_symbol(symbol):
    return f"@@{symbol.get('version')}".startswith(PUBLIC_NODE)


def is_public_call(declaration):
    return PUBLIC_NODE in declaration.get("elf-symbol-id", "")


def types_in(element):
    return {part.get("type-id") for part in element.iter() if part.get("type-id")}


def needed_types(units):
    """The ids of all types that public calls lead to."""
    definitions = {part.get("id"): part for unit in units for part in unit if part.get("id")}
    needed, found = set(), set().union(*(types_in(part) for unit in units for part in unit if is_public_call(part)))
    while found:
        needed |= found
        found = set().union(*(types_in(definitions[name]) for name in found if name in definitions)) - needed
    return needed


def public_abi(library, headers=HEADERS):
    corpus = dump(library, headers)
    for table in corpus.findall("elf-function-symbols") + corpus.findall("elf-variable-symbols"):
        keep(table, is_public_symbol)
    units = corpus.findall("abi-instr")
    needed = needed_types(units)
    for unit in units:
        keep(unit, lambda part: is_public_call(part) or part.get("id") in needed)
        unit.set("path", pathlib.Path(unit.get("path")).name)
    keep(corpus, len)
    xml.indent(corpus)
    return xml.tostring(corpus, encoding="unicode") + "\n"


if __name__ == "__main__":
    sys.stdout.write(public_abi(sys.argv[1]))
