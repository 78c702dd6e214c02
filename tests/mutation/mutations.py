# Small changes of C++ sources, each of which a good test suite notices: what can be changed, and how it looks then.
# It knows tokens and blocks only, no types: a change may not compile. Nothing is built or run here, see mutate.py.
# What is left alone: comments, texts, directives, static_assert, declarations.
import random
import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<space>\s+)
      | (?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<directive>^[ \t]*\#(?:[^\n\\]|\\.)*)
      | (?P<text>(?:u8|[LuU])?(?:R"(?P<fence>[^()\\\s]*)\(.*?\)(?P=fence)"|"(?:[^"\\\n]|\\.)*"|'(?:[^'\\\n]|\\.)+'))
      | (?P<number>\.?\d(?:[eEpP][-+]|'?[\w.])*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<operator><=>|<<=|>>=|\.\.\.|->|::|\+\+|--|&&|\|\||[-+*/%&|^=!<>]=|<<|>>|.)""",
    re.VERBOSE | re.DOTALL | re.MULTILINE)

REPLACEMENTS = {
    "<": "<=", "<=": "<", ">": ">=", ">=": ">", "==": "!=", "!=": "==", "&&": "||", "||": "&&",
    "+": "-", "-": "+", "+=": "-=", "-=": "+=", "++": "--", "--": "++", "!": "", "true": "false", "false": "true",
}
INTEGER = re.compile(r"(0[xX][\da-fA-F]+|\d+)([uUlL]*)")
BEFORE_CODE = {")", "else", "do", "const", "noexcept", ";", "{", "}", ":"}
SCOPES = {"namespace", "struct", "class", "enum", "union", "extern"}
DECLARATION = re.compile(r"(?:[\w:]+(?:<[^;()]*>)?[\s*&]+)+\w+\s*[=;{\[(]")
NO_EXPRESSION = {"return", "while", "static_assert", "using"}
JUMPS = {"break", "continue"}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Change:
    kind: str
    start: int
    end: int
    replacement: str


@dataclass(frozen=True)
class Statement:
    first_word: str
    start: int
    end: int


@dataclass(frozen=True)
class Mutant:
    """A changed source file. Its old and new lines, without indentation, are what it is known by."""
    file: str
    kind: str
    line: int
    content: str
    old: tuple
    new: tuple

    def key(self):
        return self.file, self.old, self.new

    def __str__(self):
        lines = [f"- {line}" for line in self.old] + [f"+ {line}" for line in self.new]
        return "\n".join([f"{self.file}:{self.line}: {self.kind}", *lines])


def tokens_of(source):
    """The tokens that count, outside of static_assert."""
    found = [Token(match.lastgroup if match.lastgroup != "fence" else "text", match.group(), match.start(), match.end())
             for match in TOKEN.finditer(source)]
    found = [token for token in found if token.kind not in ("space", "comment", "directive")]
    return list(without_assertions(found))


def without_assertions(tokens):
    depth = None
    for token in tokens:
        if token.text == "static_assert":
            depth = 0
        if depth is None:
            yield token
        elif token.text == ";" and depth == 0:
            depth = None
        else:
            depth += (token.text == "(") - (token.text == ")")


def matching_end(tokens, opening):
    """The position of the parenthesis that closes the one at opening."""
    depth = 0
    for position in range(opening, len(tokens)):
        depth += (tokens[position].text == "(") - (tokens[position].text == ")")
        if depth == 0:
            return position
    raise ValueError("a parenthesis is not closed")


# ---- Changes of one token

def is_binary(tokens, position):
    before = tokens[position - 1] if position else None
    return before is not None and before.text != "return" and (
        before.kind in ("word", "number") or before.text in (")", "]"))


def stands_free(source, token):
    """Whether there is room around it, which brackets of templates have not."""
    return source[token.start - 1:token.start].isspace() and source[token.end:token.end + 1].isspace()


def operator_change(source, tokens, position):
    token = tokens[position]
    if token.text not in REPLACEMENTS:
        return None
    if token.text in ("<", ">") and not stands_free(source, token):
        return None
    if token.text in ("+", "-", "&&") and not (is_binary(tokens, position) and stands_free(source, token)):
        return None
    return Change("operator", token.start, token.end, REPLACEMENTS[token.text])


def constant_change(token):
    integer = INTEGER.fullmatch(token.text.replace("'", ""))
    if token.kind != "number" or not integer:
        return None
    digits, suffix = integer.groups()
    if digits[:2].lower() == "0x":
        changed = f"0x{int(digits, 16) + 1:X}"
    else:
        changed = str(int(digits) + 1)
    return Change("constant", token.start, token.end, changed + suffix)


def token_changes(source, tokens):
    for position, token in enumerate(tokens):
        change = operator_change(source, tokens, position) or constant_change(token)
        if change:
            yield change


# ---- Changes of conditions

def is_one_equation(tokens):
    """Whether the negation is what changing the operator gives as well."""
    texts = [token.text for token in tokens]
    return sum(text in ("==", "!=", "!") for text in texts) == 1 and not {"&&", "||", "<", ">", "<=", ">=", "?"} & set(texts)


def condition_changes(source, tokens):
    for position, token in enumerate(tokens):
        if token.text not in ("if", "while"):
            continue
        opening = position + 2 if tokens[position + 1].text == "constexpr" else position + 1
        closing = matching_end(tokens, opening)
        behind = [at for at in range(opening, closing) if tokens[at].text in ("(", ";")
                  and (at == opening or tokens[at].text == ";")][-1]
        start, end = tokens[behind + 1].start, tokens[closing - 1].end
        if not is_one_equation(tokens[behind + 1:closing]):
            yield Change("condition", start, end, f"!({source[start:end]})")


# ---- Changes of statements

def block_kind(tokens, begin, position):
    """What the brace at position opens, in a statement that begins at begin."""
    if tokens[position - 1].text in BEFORE_CODE:
        return "code"
    words = {token.text for token in tokens[begin:position]}
    return "scope" if words & SCOPES else "values"


def statement_runs(source, tokens):
    """Lists of simple statements that follow each other directly."""
    blocks, begin, depth, run = ["scope"], 0, 0, []
    for position, token in enumerate(tokens):
        ends_run = False
        if token.text in "([":
            depth += 1
        elif token.text in ")]":
            depth -= 1
        elif token.text == "{":
            blocks.append("values" if depth else block_kind(tokens, begin, position))
            depth += blocks[-1] == "values"
            ends_run = blocks[-1] != "values"
        elif token.text == "}":
            kind = blocks.pop()
            depth -= kind == "values"
            ends_run = kind != "values"
        elif token.text == ":" and depth == 0 and tokens[begin].text in ("case", "default"):
            ends_run = True
        elif token.text == ";" and depth == 0:
            if blocks[-1] == "code" and position > begin:
                run.append(Statement(tokens[begin].text, tokens[begin].start, token.end))
            begin = position + 1
        if ends_run:
            yield run
            run, begin = [], position + 1


def is_expression(source, statement):
    return statement.first_word not in NO_EXPRESSION and not DECLARATION.match(source, statement.start, statement.end)


def target_of(text):
    """What an assignment sets, by its last name; none for other statements."""
    assignment = re.match(r"([\w.*\[\]]|->|\s)*?(\w+)(\[\w+\])?\s*[-+|]?=[^=]", text)
    return assignment and assignment[2]


def sets_only_a_variable(text):
    """Whether a statement changes nothing but one variable, from others; the name of it."""
    simple = re.fullmatch(r"(\w+)\s*[-+]?=([\w\s+-]+);|(?:\+\+|--)(\w+);", text)
    return simple and "errno" not in text and (simple[1] or simple[3])


def are_independent(source, first, second):
    """Whether they set different things of which the other makes no use, so that their order does not matter."""
    texts = [source[each.start:each.end] for each in (first, second)]

    def is_used(target, text):
        return re.search(rf"\b{target}\b", text) is not None

    variables = [sets_only_a_variable(text) for text in texts]
    targets = [target_of(text) for text in texts]
    return (any(name and not is_used(name, other) for name, other in zip(variables, reversed(texts)))
            or all(targets) and not any(is_used(name, other) for name, other in zip(targets, reversed(texts))))


def may_swap(source, first, second):
    both = (first, second)
    return (all(is_expression(source, each) and each.first_word not in JUMPS for each in both)
            and not are_independent(source, first, second))


def swapped(source, first, second):
    between = source[first.end:second.start]
    text = source[second.start:second.end] + between + source[first.start:first.end]
    return Change("swap", first.start, second.end, text)


def statement_changes(source, tokens):
    for run in statement_runs(source, tokens):
        for statement in run:
            if is_expression(source, statement):
                yield Change("statement", statement.start, statement.end, ";")
        for first, second in zip(run, run[1:]):
            if may_swap(source, first, second):
                yield swapped(source, first, second)


# ---- All of them

def lines_around(text, start, end):
    """The whole lines that a part of the text touches, without indentation."""
    from_line = text.rfind("\n", 0, start) + 1
    to_line = text.find("\n", end)
    lines = text[from_line:to_line if to_line >= 0 else len(text)].split("\n")
    return tuple(line.strip() for line in lines)


def mutant_of(file, source, change):
    content = source[:change.start] + change.replacement + source[change.end:]
    return Mutant(file, change.kind, source.count("\n", 0, change.start) + 1, content,
                  lines_around(source, change.start, change.end),
                  lines_around(content, change.start, change.start + len(change.replacement)))


def mutants_of(file, source):
    """All mutants of a source file, in the order of the text."""
    tokens = tokens_of(source)
    changes = [*token_changes(source, tokens), *condition_changes(source, tokens), *statement_changes(source, tokens)]
    changes.sort(key=lambda each: (each.start, each.end, each.kind))
    return [mutant_of(file, source, change) for change in changes if source[change.start:change.end] != change.replacement]


def chosen(mutants, size, seed):
    """A sample, the same for the same seed."""
    return random.Random(seed).sample(mutants, min(size, len(mutants)))
