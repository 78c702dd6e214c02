# Reads the public header into records: conventions, constants, return codes, types, and the calls with their comments.
# Makes no document itself: man_pages.py and doxygen_filter.py do, from these records.
# What the calls do on the wire is written down in docs/protocol.md.
"""The header's comments have one form, which is all the grammar there is:

    effect, in sentences
      name  what the argument is
    Returns a code, or
      CODE, CODE   when
    what else holds then

What stands between two blank lines belongs together: a comment and the declarations under it, each of which may have
a comment of its own.
"""
import re
from dataclasses import dataclass, field


class HeaderError(Exception):
    """The header is not in the form that its readers rely on; tells where and what."""


@dataclass
class Comment:
    effect: str = ""
    arguments: list = field(default_factory=list)  # (name, text)
    returns: str = ""
    codes: list = field(default_factory=list)  # ([name, ...], text, which may be empty)
    afterword: str = ""


@dataclass
class Call:
    name: str
    prototype: str
    parameters: list
    effect: str  # its own, beside that of the group


@dataclass
class CallGroup:
    comment: Comment
    calls: list


@dataclass
class Section:
    title: str
    groups: list


@dataclass
class Constants:
    text: str
    values: list  # (name, value)


@dataclass
class Type:
    name: str
    text: str
    fields: list  # (declaration, text); none for an incomplete type


@dataclass
class Header:
    title: str = ""
    introduction: str = ""
    conventions: list = field(default_factory=list)  # (name, text)
    constants: list = field(default_factory=list)
    codes_text: str = ""
    codes: list = field(default_factory=list)  # (name, number, text)
    types: list = field(default_factory=list)
    sections: list = field(default_factory=list)

    @property
    def groups(self):
        return [group for section in self.sections for group in section.groups]

    @property
    def calls(self):
        return [call for group in self.groups for call in group.calls]


COMMENT = re.compile(r"/\*(.*?)\*/\n?", re.S)
SECTION = re.compile(r"/\* -{4} (.*?) -+ \*/\n*")
PROTOTYPE = re.compile(r"^int (\w+)\((.*?)\);", re.M | re.S)
CONSTANT = re.compile(r"^#define (ZOLSTATS_\w+) (-?\d+)$", re.M)
CODE = re.compile(r'CODE\((\w+), (-?\d+), "([^"]*)"\)')
TYPE = re.compile(r"^typedef struct (\w+) (?:\{\n(.*?)\} )?\1;", re.M | re.S)
FIELD = re.compile(r"^ +(.*;) +/\* (.*) \*/$", re.M)
CONVENTION = re.compile(r"([A-Z][\w ]*)\. {2,}(.*)")


def lines_of(comment):
    """The lines of a comment's inside, without the stars before them."""
    return [re.sub(r"^ \* ?", "", line).rstrip() for line in comment.strip("*\n ").split("\n")]


def joined(*parts):
    return " ".join(part for part in parts if part)


def append(items, line):
    """Goes on with the last item: its words are the last member of a tuple."""
    *head, words = items[-1]
    items[-1] = (*head, joined(words, line))


class CommentReader:
    """Takes the lines of a comment one after the other."""

    def __init__(self):
        self.comment = Comment()

    def take(self, line):
        depth = len(line) - len(line.lstrip(" "))
        if depth == 0:
            self.take_sentence(line)
        elif depth == 2:
            self.take_item(*re.split(r" {2,}", line.strip(), maxsplit=1))
        else:
            append(self.comment.codes or self.comment.arguments, line.strip())

    def take_sentence(self, line):
        comment = self.comment
        if comment.codes:
            comment.afterword = joined(comment.afterword, line)
        elif comment.returns or re.match(r"Returns? ", line):
            comment.returns = joined(comment.returns, line)
        else:
            comment.effect = joined(comment.effect, line)

    def take_item(self, name, text=""):
        if self.comment.returns:
            self.comment.codes.append((name.split(", "), text))
        else:
            self.comment.arguments.append((name, text))


def read_comment(text):
    reader = CommentReader()
    for line in lines_of(text):
        reader.take(line)
    return reader.comment


def plain(comment):
    return joined(*(line.strip() for line in lines_of(comment)))


def chunks(text):
    """Pieces between blank lines; each as (its first comment, the rest)."""
    for chunk in re.split(r"\n{2,}", text):
        first = COMMENT.match(chunk)
        yield (first.group(1), chunk[first.end():]) if first else ("", chunk)


def read_call(match, text):
    """The words of a comment right before the prototype are the call's own."""
    own = re.search(r"/\*((?:(?!\*/).)*)\*/\n\Z", text[:match.start()], re.S)
    parameters = [re.search(r"(\w+)$", part).group(1) for part in match.group(2).split(",") if part != "void"]
    return Call(match.group(1), joined(*match.group(0).split()), parameters, plain(own.group(1)) if own else "")


def read_group(comment, declarations):
    calls = [read_call(match, declarations) for match in PROTOTYPE.finditer(declarations)]
    return CallGroup(read_comment(comment), calls) if calls else None


def read_sections(text):
    titled = SECTION.split(text)[1:]
    return [Section(title, [group for group in (read_group(*chunk) for chunk in chunks(body)) if group])
            for title, body in zip(titled[::2], titled[1::2])]


def read_conventions(lines):
    conventions = []
    for line in lines:
        start = CONVENTION.match(line)
        if start:
            conventions.append(start.groups())
        else:
            append(conventions, line.strip())
    return conventions


def read_introduction(header, comment):
    head, _, conventions = "\n".join(lines_of(comment)).partition("CONVENTIONS, valid for every call below\n\n")
    sentences = head.split("\n")
    header.title = sentences[0].partition(": ")[2].rstrip(".")
    header.introduction = joined(*sentences[1:])
    header.conventions = read_conventions(conventions.split("\n")) if conventions else []


def read_type(match, comment):
    return Type(match.group(1), plain(comment), FIELD.findall(match.group(2) or ""))


def read_definitions(header, text):
    for comment, rest in chunks(text):
        if CODE.search(rest):
            header.codes_text = plain(comment)
        if CONSTANT.search(rest):
            header.constants.append(Constants(plain(comment), CONSTANT.findall(rest)))
        for match in TYPE.finditer(rest):
            header.types.append(read_type(match, comment))


def read(text):
    header = Header(codes=CODE.findall(text), sections=read_sections(text))
    introduction = COMMENT.match(text)
    if not introduction:
        raise HeaderError("the header does not begin with a comment")
    read_introduction(header, introduction.group(1))
    read_definitions(header, SECTION.split(text)[0][introduction.end():])
    return header


def read_file(path):
    with open(path, encoding="utf-8") as file:
        return read(file.read())


# ---- What a call's comment says


def argument_text(group, parameter):
    """What the comment says about a parameter; one line may stand for all `others`."""
    arguments = dict(group.comment.arguments)
    return arguments.get(parameter, arguments.get("others", ""))


def code_texts(header, group):
    """(names, text) for each line of codes; codes without words of their own mean what the list of codes says."""
    meanings = {name: text for name, _, text in header.codes}
    for names, text in group.comment.codes:
        if text:
            yield names, text
        else:
            yield from (([name], meanings.get(name, "")) for name in names)


# ---- What a header must not lack


def missing_words(group, call):
    if not (group.comment.effect or call.effect):
        yield f"{call.name} has no comment"
    elif not group.comment.returns:
        yield f"{call.name}: the comment does not tell what it returns"
    else:
        for parameter in call.parameters:
            if not argument_text(group, parameter):
                yield f"{call.name}: the comment does not tell what {parameter} is"


def unknown_names(header, group):
    known = {name for name, _, _ in header.codes}
    parameters = {parameter for call in group.calls for parameter in call.parameters} | {"others"}
    for name, _ in group.comment.arguments:
        if name not in parameters:
            yield f"{group.calls[0].name}: there is no argument {name}"
    for name in (name for names, _ in group.comment.codes for name in names):
        if name not in known:
            yield f"{group.calls[0].name}: there is no return code {name}"


def problems(header):
    """Everything that a reader of the reference would miss, in words."""
    found = [f"{name}: {kind} without words"
             for kind, texts in [("constants", [(c.values[0][0], c.text) for c in header.constants]),
                                 ("a type", [(t.name, t.text) for t in header.types]),
                                 ("a convention", header.conventions)]
             for name, text in texts if not text]
    for group in header.groups:
        found += unknown_names(header, group)
        for call in group.calls:
            found += missing_words(group, call)
    return found
