# In what two packages, or two archives, differ: the files, and in programs and libraries the sections. It is for the
# one who reads of a failed test on a machine that is out of reach, so it is short and leaves nothing to be looked up.
# Not a test. The protocol between the library and the Gateway is written down in docs/protocol.md.
import difflib
import itertools
import os
import re
import stat

from commands import emptied, run

MOST_LINES = 8  # of one text
MOST_BYTES = 24  # of one section


def unpack(archive, folder):
    if archive.suffix == ".deb":
        run("dpkg-deb", "--raw-extract", archive, emptied(folder))
    else:
        run("tar", "--extract", "--preserve-permissions", "--file", archive, "--directory", emptied(folder))
    return folder


def of_archives(first, second, folder):
    """Lines that tell in what two archives differ; none if they do not."""
    if first.read_bytes() == second.read_bytes():
        return []
    roots = [unpack(archive, folder / side) for archive, side in [(first, "first"), (second, "second")]]
    return of_trees(*roots) or ["the same files, packed otherwise", *of_containers(first, second)]


def of_containers(first, second):
    listed = [run("tar" if archive.suffix == ".gz" else "ar", "tv", *("f",) * (archive.suffix == ".gz"), archive)
              for archive in (first, second)]
    return of_texts(*listed)


ATTRIBUTES = {
    "mode": lambda path: stat.filemode(path.lstat().st_mode),
    "time": lambda path: int(path.lstat().st_mtime),
    "link to": lambda path: os.readlink(path) if path.is_symlink() else None,
}


def of_trees(first, second, pattern="*", attributes=ATTRIBUTES):
    names = sorted({path.relative_to(root) for root in (first, second) for path in root.rglob(pattern)})
    return [f"{name}: {line}" for name in names for line in of_paths(first / name, second / name, attributes)]


def of_paths(first, second, attributes):
    if not os.path.lexists(first) or not os.path.lexists(second):
        yield "only in the " + ("first" if os.path.lexists(first) else "second")
        return
    for what, look in attributes.items():
        if look(first) != look(second):
            yield f"{what} {look(first)} and {look(second)}"
    if all(path.is_file() and not path.is_symlink() for path in (first, second)):
        yield from of_contents(first.read_bytes(), second.read_bytes(), first, second)


def of_contents(first, second, *files):
    if first == second:
        return []
    if first.startswith(b"\x7fELF") and second.startswith(b"\x7fELF"):
        return of_programs(first, second, *files)
    if b"\0" in first + second:
        return [of_bytes(first, second)]
    return of_texts(*(content.decode(errors="backslashreplace") for content in (first, second)))


def of_texts(*texts):
    return shortened(list(difflib.unified_diff(*(text.splitlines() for text in texts), lineterm="", n=0))[2:])


def shortened(lines, most=MOST_LINES):
    return lines[:most] + [f"... and {len(lines) - most} lines more"] * (len(lines) > most)


def of_bytes(first, second):
    """Sizes, and what stands at the first byte that is not the same."""
    place = next((place for place, (one, other) in enumerate(itertools.zip_longest(first, second)) if one != other))
    parts = [content[place:place + MOST_BYTES] for content in (first, second)]
    return f"{len(first)} and {len(second)} bytes, from byte {place} on {parts[0]} and {parts[1]}"


def sections(content, file):
    """{name of a section: its bytes}; those without bytes of their own, and the table of sections itself, stay out."""
    row = r"\] (\S+) +(?!NOBITS|NULL)\S+ +[0-9a-f]+ ([0-9a-f]+) ([0-9a-f]+) "
    found = re.findall(row, run("readelf", "--section-headers", "--wide", file))
    return {name: content[int(offset, 16):int(offset, 16) + int(size, 16)] for name, offset, size in found}


def of_programs(first, second, *files):
    here, there = (sections(content, file) for content, file in zip((first, second), files))
    lines = [f"section {name} only in one" for name in sorted({*here} ^ {*there})]
    lines += [f"section {name}: {of_bytes(content, there[name])}" for name, content in here.items()
              if content != there.get(name, content)]
    return lines or ["the same sections, laid out otherwise: " + of_bytes(first, second)]
