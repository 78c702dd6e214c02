# Shows the public header, and the documents' links, to Doxygen in Doxygen's own terms; without it both stay readable.
# Not the reader of the header (header.py). A call without a comment stays without one, for Doxygen to warn of.
# What the calls do on the wire is written down in docs/protocol.md.
import re
import sys

import header as reader


def escaped(text):
    return re.sub(r"[\\@<>%#]", r"\\\g<0>", text)


def linked(text):
    """Constants become links; Doxygen finds calls and types by itself."""
    return re.sub(r"\bZOLSTATS_\w*[A-Z]\b", r"#\g<0>", escaped(text))


def sentence(text):
    return text[:1].upper() + text[1:]


def comment(*paragraphs):
    """Nothing where there is nothing to say."""
    kept = [paragraph for paragraph in paragraphs if paragraph]
    return "/**\n" + "\n\n".join(kept) + "\n*/\n" if kept else ""


def parameter(name, text):
    """The header says `out:` where the call writes, and `in: ...; out: ...` where it also reads."""
    directions = [word for word in ("in", "out") if re.search(rf"(^|; ){word}: ", text)]
    mark = f"[{','.join(directions)}]" if directions else ""
    return f"@param{mark} {name} {linked(re.sub('^out: ', '', text))}"


def parameters(group, call):
    told = [(name, reader.argument_text(group, name)) for name in call.parameters]
    return "\n".join(parameter(name, text) for name, text in told if text)


def return_values(header, group):
    return "\n".join(f"@retval {name} {linked(text)}"
                     for names, text in reader.code_texts(header, group) for name in names)


def returned(group):
    words = re.sub(r"^Returns? |(?<= )or$", "", group.comment.returns)
    words += "or one of the codes below" if words.endswith(" ") else ""
    return f"@return {linked(words)}" if words else ""


def call_text(header, group, call):
    group_comment = group.comment
    return comment(linked(call.effect), linked(group_comment.effect), parameters(group, call), returned(group),
                   return_values(header, group), group_comment.afterword and f"@note {linked(group_comment.afterword)}"
                   ) + call.prototype + "\n"


def section_text(header, section):
    name = re.sub(r"\W+", "_", section.title.lower())
    calls = "\n".join(call_text(header, group, call) for group in section.groups for call in group.calls)
    return f"/** @defgroup {name} {section.title}\n@{{ */\n\n{calls}\n/** @}} */\n"


def constants_text(group):
    """Several constants share one comment."""
    defines = [comment(linked(group.text)) + f"#define {name} {value}\n" for name, value in group.values]
    return "".join(defines)


def type_text(record):
    fields = "".join(f"    {declaration} /**< {linked(text)} */\n" for declaration, text in record.fields)
    body = f" {{\n{fields}}}" if fields else ""
    return comment(linked(record.text)) + f"typedef struct {record.name}{body} {record.name};\n"


def codes_text(header):
    values = "".join(f"    {name} = {number}, /**< {linked(text)} */\n" for name, number, text in header.codes)
    return (comment("The return codes.") + f"enum {{\n{values}}};\n"
            + comment(linked(header.codes_text), "@param CODE what is to be made of each: CODE(name, number, text)")
            + "#define ZOLSTATS_RETURN_CODES(CODE)\n") if values else ""


def file_text(header):
    conventions = "\n\n".join(f"**{name}.** {linked(text)}" for name, text in header.conventions)
    return comment("@file", linked(sentence(header.title)) + ".", linked(header.introduction),
                   "## Conventions, valid for every call" if conventions else "", conventions)


def filtered(header):
    return "\n".join([file_text(header), *map(constants_text, header.constants), codes_text(header),
                      *map(type_text, header.types), *(section_text(header, part) for part in header.sections)])


# ---- Documents

def document_link(match):
    """Pages are found by Doxygen itself; a header becomes a link to its page, any other file of the project a name."""
    text, target = match.groups()
    if re.match(r"https?:|#", target) or target.split("#")[0].endswith(".md"):
        return match.group(0)
    return f"[{text}](@ref {target.rpartition('/')[2]})" if "include/zolstats/" in target else text


def filtered_document(text):
    return re.sub(r"\[([^]\n]*)\]\(([^)\s]*)\)", document_link, text)


def main(path):
    if path.endswith(".md"):
        with open(path, encoding="utf-8") as file:
            return filtered_document(file.read())
    return filtered(reader.read_file(path))


if __name__ == "__main__":
    sys.stdout.write(main(sys.argv[1]))
