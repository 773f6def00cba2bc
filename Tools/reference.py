#!/usr/bin/env python3
"""Makes Docs/reference.md from the declarations, which the host program prints, and the texts of Docs/members.txt.

    Tools/reference.py [--check] [COMMAND...]

COMMAND runs the host program (build/vynhost). --check writes nothing and fails when the page is stale. It also fails
when a member has no text, or a text has no member.

Docs/members.txt: the text before the first "@" opens the page. Then entries follow, each with one or more lines
"@ Class.Member" and their text. Members of one name differ in the types of their parameters:
"@ Class.Member(string, Integer)". A line "Raises: ..." or the like becomes a list item.
"""
import collections
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
WORDS, PAGE = ROOT / "Docs/members.txt", ROOT / "Docs/reference.md"
LABEL = re.compile(r"^(Values|Result|Raises|Lasterror|Use): ", re.MULTILINE)

Member = collections.namedtuple("Member", "owner section name types declaration")


def describe(command):
    """The registered members, as the host program prints them."""
    try:
        return subprocess.run([*command, "--describe"], check=True, capture_output=True, text=True).stdout
    except (OSError, subprocess.CalledProcessError) as error:
        sys.exit(f"reference: {error}")


def read_declarations(text):
    """The owners in order ("Class X"), and every member. The indentation tells the kind of a line."""
    owners, members, owner, section = [], [], None, None
    for line in filter(None, text.splitlines()):
        depth, content = len(line) - len(line.lstrip()), line.strip()
        if depth == 0:
            owner = content.split()[1]
            owners.append(content)
        elif depth == 2:
            section = content
        else:
            members.append(Member(owner, section, re.match(r"\w+", content)[0], types_of(content), content))
    return owners, members


def types_of(declaration):
    """The types of the parameters, as "(string, Integer)"; empty without a list of parameters."""
    parameters = re.match(r"\w+\((.*)\)", declaration)
    if parameters is None:
        return ""
    types = [re.search(r" as (\w+)", parameter, re.IGNORECASE)[1] for parameter in parameters[1].split(",")]
    return f"({', '.join(types)})"


def keys_of(members):
    """The key of each member in the texts: with its types where the name is ambiguous."""
    names = collections.Counter((member.owner, member.name) for member in members)
    return {member: f"{member.owner}.{member.name}" + (member.types if names[member.owner, member.name] > 1 else "")
            for member in members}


def read_words(text):
    """The opening of the page, the texts by key, and the faults in their form."""
    text = re.sub(r"^# .*\n", "", text, flags=re.MULTILINE)
    opening, *entries = re.split(r"\n\n(?=@ )", text)
    words, faults = {}, []
    for entry in entries:
        heads, body = re.match(r"((?:@ [^\n]*(?:\n|$))+)(.*)", entry, re.DOTALL).groups()
        if not body.strip():
            faults.append(f"{heads.splitlines()[0]}: has no words")
        for key in (head[2:].strip() for head in heads.splitlines()):
            if key in words:
                faults.append(f"@ {key}: has words twice")
            words[key] = body.strip()
    return opening.strip(), words, faults


def anchor(heading):
    return re.sub(r"[^\w-]", "", heading.lower())


def write_member(members, keys, words):
    """One name with its declarations; those with the same text are together."""
    yield f"### {members[0].owner}.{members[0].name}\n"
    texts = list(dict.fromkeys(words[keys[member]] for member in members))
    for text in texts:
        declarations = [member.declaration for member in members if words[keys[member]] == text]
        yield "```\n" + "\n".join(declarations) + "\n```\n"
        yield LABEL.sub(r"- **\1**: ", LABEL.sub(r"\n\g<0>", text, count=1)) + "\n"


def write_page(owners, members, opening, words):
    keys = keys_of(members)
    yield "<!-- Made by Tools/reference.py from the registered records and Docs/members.txt. -->\n"
    yield f"# Reference\n\n{opening}\n"
    for title in owners:
        owner = title.split()[1]
        yield f"## {title}\n"
        yield words[owner] + "\n"
        named = collections.defaultdict(list)  # by section and name, in the order of registration
        for member in members:
            if member.owner == owner:
                named[member.section, member.name].append(member)
        for section in dict.fromkeys(section for section, _ in named):
            links = [f"[{name}](#{anchor(owner + name)})" for in_section, name in named if in_section == section]
            yield f"{section}: {', '.join(links)}\n"
        for group in named.values():
            yield from write_member(group, keys, words)


def main(arguments):
    check = arguments[:1] == ["--check"]
    command = arguments[check:] or [str(ROOT / "build/vynhost")]
    owners, members = read_declarations(describe(command))
    opening, words, faults = read_words(WORDS.read_text(encoding="utf-8"))

    wanted = [title.split()[1] for title in owners] + list(keys_of(members).values())
    faults += [f"@ {key}: a member without words" for key in wanted if key not in words]
    faults += [f"@ {key}: words without a member" for key in words if key not in wanted]
    if faults:
        sys.exit("\n".join(f"Docs/members.txt: {fault}" for fault in faults))

    page = "\n".join(write_page(owners, members, opening, words))
    if not check:
        PAGE.write_text(page, encoding="utf-8")
    elif not PAGE.is_file() or PAGE.read_text(encoding="utf-8") != page:
        sys.exit("Docs/reference.md is stale: run Tools/reference.py")


if __name__ == "__main__":
    main(sys.argv[1:])
