# Makes the manual page zolstats(3) from the public header, and for each call a page that leads to it.
# Not the reader of the header (header.py), and not the pages of the programs: those are written by hand in docs/man/.
# What the calls do on the wire is written down in docs/protocol.md.
import argparse
import pathlib
import re
import sys
import textwrap

import header as reader

PROTOTYPE_WIDTH = 72  # the page's margin goes before it: 80 columns in all

DESCRIPTION = (
    "An application opens a connection to a Gateway, asks it for statistics or for ids, and walks the answer in place. "
    "The following holds for every call.")

CODES = "Every return code that reaches an application, with its number and its meaning. ZOLSTATS_OK is 0."

NOTES = (
    "C++ programs may include <zolstats/zolstats.hpp> instead, a header-only face on these calls: connections that "
    "close themselves, answers as ranges, failures as exceptions.")

SEE_ALSO = ".BR zolstat (1),\n.BR zol\\-gateway\\-sim (1)\n"


# ---- Text as the formatter takes it

def escaped(text):
    return text.replace("\\", "\\e").replace("--", "\\-\\-")


def guarded(line):
    """A line that begins with a dot or an apostrophe would be taken for a request."""
    return re.sub(r"^(?=[.'])", r"\\&", line)


def with_fonts(text, parameters):
    """Names of calls and constants in bold, those of parameters in italics, a minus before each negative number."""
    text = re.sub(r"\b(ZOLSTATS_(?:\w*\w)?|\w+(?=\(\)))", r"\\fB\1\\fR", text)
    text = re.sub(r"(?<![\w\\])-(?=\d)", r"\\-", text)
    if parameters:
        text = re.sub(rf"\b({'|'.join(parameters)})\b(?!\()", r"\\fI\1\\fR", text)
    return text


def prose(text, parameters=()):
    filled = textwrap.wrap(with_fonts(escaped(text), parameters), 100, break_on_hyphens=False)
    return "".join(guarded(line) + "\n" for line in filled)


def paragraph(text, parameters=()):
    return ".PP\n" + prose(text, parameters) if text else ""


def tagged(tag, text, parameters=()):
    return f".TP\n{tag}\n{prose(text, parameters)}"


def heading(title):
    return f'.SH "{title.upper()}"\n'


def literal(text):
    lines = text.replace("\\", "\\e").replace("-", "\\-").split("\n")
    return ".EX\n" + "\n".join(guarded(line) for line in lines) + "\n.EE\n"


# ---- Calls

def prototype_lines(call):
    """As many parameters a line as fit; the further lines stand below the first parameter."""
    start, inside = call.prototype.removesuffix(");").split("(", 1)
    indent = " " * (len(start) + 1)
    lines = [start + "("]
    for parameter in (inside + ");").split(", "):
        if len(lines[-1]) + len(parameter) > PROTOTYPE_WIDTH and "," in lines[-1]:
            lines.append(indent)
        lines[-1] += parameter + ("" if parameter.endswith(";") else ", ")
    return [line.rstrip() if line.endswith(", ") else line for line in lines]


def prototype(call):
    names = "|".join(call.parameters)
    lines = [re.sub(rf"\b({names})\b(?=[,)])", r"\\fI\1\\fB", line) if names else line
             for line in prototype_lines(call)]
    return "".join(f"\\fB{line}\\fR\n" for line in lines)


def code_tag(names):
    return ", ".join(f"\\fB{name}\\fR" for name in names)


def call_page(call, parameters):
    own = ".RS 4\n" + prose(call.effect, parameters) + ".RE\n" if call.effect else ""
    return f'.SS "{call.name}()"\n.nf\n' + prototype(call) + ".fi\n" + own


def common_title(group):
    """What the words about several calls stand under; those about a single one follow it directly."""
    names = ", ".join(call.name + "()" for call in group.calls)
    return f'.SS "What {names} share"\n' if len(group.calls) > 1 else ""


def group_page(header, group):
    parameters = sorted({name for call in group.calls for name in call.parameters})
    page = "".join(call_page(call, parameters) for call in group.calls)
    page += common_title(group) + paragraph(group.comment.effect, parameters)
    for name, text in group.comment.arguments:
        page += tagged(f"\\fI{name}\\fR", text, parameters)
    page += paragraph(group.comment.returns, parameters)
    for codes, text in reader.code_texts(header, group):
        page += tagged(code_tag(codes), text, parameters)
    return page + paragraph(group.comment.afterword, parameters)


# ---- The page

def synopsis(header):
    sections = ["".join(prototype(call) for group in section.groups for call in group.calls)
                for section in header.sections]
    return (heading("Synopsis") + ".nf\n.B #include <zolstats/zolstats.h>\n.PP\n" + ".PP\n".join(sections)
            + ".PP\ncc \\fIprogram\\fR.c $(pkg\\-config \\-\\-cflags \\-\\-libs zolstats)\n.fi\n")


def conventions(header):
    return heading("Description") + prose(DESCRIPTION) + "".join(
        tagged(f".B {name}", text) for name, text in header.conventions)


def call_sections(header):
    return "".join(heading(section.title) + "".join(group_page(header, group) for group in section.groups)
                   for section in header.sections)


def type_page(record):
    fields = "".join(tagged(f".B {declaration}", text) for declaration, text in record.fields)
    return f'.SS "{record.name}"\n' + prose(record.text) + fields


def constants(header):
    page = heading("Constants")
    for group in header.constants:
        tags = [f".BR {name} \" ({value})\"" for name, value in group.values]
        page += ".TP\n" + "\n.TQ\n".join(tags) + "\n" + prose(group.text)
    return page


def return_codes(header):
    return heading("Return codes") + prose(CODES) + "".join(
        tagged(f'.BR {name} " ({number})"'.replace("-", "\\-"), text) for name, number, text in header.codes)


def page(header, version, example):
    return "".join([
        f'.\\" Made from zolstats.h; changes belong there.\n.TH ZOLSTATS 3 "" "zolstats {version}"\n.nh\n.ad l\n',
        heading("Name"), f"zolstats \\- {escaped(header.title)}\n",
        heading("Library"), "zolstats client library (\\fIlibzolstats\\fR, \\fI\\-lzolstats\\fR)\n",
        synopsis(header), conventions(header), call_sections(header),
        heading("Types"), *(type_page(record) for record in header.types),
        constants(header), return_codes(header),
        heading("Notes"), prose(NOTES),
        heading("Examples"), literal(example.rstrip("\n")),
        heading("See also"), SEE_ALSO])


def link_page():
    return ".so man3/zolstats.3\n"


def write(folder, header, version, example):
    """Leaves no page of a call that is no more."""
    folder.mkdir(parents=True, exist_ok=True)
    for old in folder.glob("*.3"):
        old.unlink()
    for call in header.calls:
        (folder / f"{call.name}.3").write_text(link_page(), encoding="utf-8")
    (folder / "zolstats.3").write_text(page(header, version, example), encoding="utf-8")


def main():
    parser = argparse.ArgumentParser(description="Makes zolstats(3) and its link pages from the public header.")
    parser.add_argument("header", type=pathlib.Path)
    parser.add_argument("example", type=pathlib.Path, help="the program to show under EXAMPLES")
    parser.add_argument("version")
    parser.add_argument("folder", type=pathlib.Path, help="where the pages go")
    arguments = parser.parse_args()
    header = reader.read_file(arguments.header)
    problems = reader.problems(header)
    if problems:
        print(*(f"{arguments.header}: {problem}" for problem in problems), sep="\n", file=sys.stderr)
        return 1
    write(arguments.folder, header, arguments.version, arguments.example.read_text(encoding="utf-8"))
    return 0


if __name__ == "__main__":
    sys.exit(main())
