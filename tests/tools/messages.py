#!/usr/bin/env python3
"""Holds docs/troubleshooting.md against the messages in the program's source.

    messages.py SOURCE_FOLDER           fails where one of the two lacks a message of the other
    messages.py SOURCE_FOLDER --list    prints the messages of the source

A message is what a call of one of the functions below says. Its text is that of the string literals
in the call, with an ellipsis for whatever is put between them. The page has it, between backticks, in
the first column of a table.
"""
import re
import sys
from pathlib import Path

# Who says something to the user. A call without a literal of two words passes on what another said.
SPEAKERS = ("FileError", "ValidationError", "RequiredError", "runtime_error", "invalid_argument",
            "refuse", "fail", "push_back", "add", "emplace", "warn", "note", "note_of", "err", "log")
CALL = re.compile(r"\b(?:(?:%s)(?:\s*\{|\s*\(| (?=<<))|cause (?=\+?=))" % "|".join(SPEAKERS))
LITERAL = re.compile(r'"((?:[^"\\]|\\.)*)"')

# Of these files nothing is for a user of quel.
OTHERS = {"quel_report.cpp": "a program for developers", "coder.cpp": "quelo, whose texts are fixed"}
# Literals of two words that are no messages to a user, and why.
NONE = {
    "a coded unit of the wrong size": "a fault of the program itself",
    "is not 1 to…ms": "the options' own check comes first",
    "coded units for…samples": "a fault of the program itself",
    "a unit that was not sent, which nobody expects": "a fault of the program itself",
}


def without_comments(text):
    return re.sub(r'("(?:[^"\\]|\\.)*")|//[^\n]*', lambda m: m.group(1) or "", text)


def end_of_call(text, start, streamed):
    """Where the call that begins at `start` ends: its bracket, or a stream's semicolon."""
    depth = 0 if streamed else 1
    at = start
    while at < len(text):
        if text[at] == '"':
            at = LITERAL.match(text, at).end()
            continue
        if text[at] == "'":
            at = re.compile(r"'(?:[^'\\]|\\.)+'").match(text, at).end()
            continue
        if streamed and depth == 0 and text[at] == ";":
            return at
        depth += text[at] in "({"
        depth -= text[at] in ")}"
        if not streamed and depth == 0:
            return at
        at += 1
    return at


def message_of(call):
    """The text of a call's literals; what stands between them becomes an ellipsis."""
    pieces, last = [], None
    for literal in LITERAL.finditer(call):
        between = call[last:literal.start()] if last is not None else ""
        if last is not None and between.strip():
            pieces.append("…")
        text = literal.group(1).encode().decode("unicode_escape")
        pieces.append(text)
        last = literal.end()
    text = "".join(pieces)
    text = re.sub(r"^quel: ", "", text.strip())
    return text


def plain(text):
    """As the page and the source are compared: one space, no ellipsis or colon at the ends."""
    text = re.sub(r"\s+", " ", text.replace("\n", " "))
    text = re.sub(r"\s*…[\s…]*", "…", text)
    return text.strip(" :;,…")


def messages(source):
    """Texts of messages, each with a file that says it, and those of NONE that were met."""
    found, unheard = {}, set()
    for path in sorted((source / "tools").rglob("*")):
        if path.suffix not in (".cpp", ".h") or path.name in OTHERS:
            continue
        text = without_comments(path.read_text())
        for call in CALL.finditer(text):
            streamed = call.group(0).endswith(" ")
            body = text[call.end():end_of_call(text, call.end(), streamed)]
            said = plain(message_of(body))
            if said in NONE:
                unheard.add(said)
            elif re.search(r"[A-Za-z]{2,} [-A-Za-z'(]", said):
                found.setdefault(said, path.name)
    return found, unheard


def explained(page):
    """What the first columns of the page's tables have between backticks, as messages() has it."""
    rows = [line for line in page.read_text().splitlines() if line.startswith("| `")]
    return {plain(cell) for row in rows for cell in re.findall(r"`([^`]*)`", row.split(" | ")[0])}


def main():
    source = Path(sys.argv[1])
    said, unheard = messages(source)
    if sys.argv[2:] == ["--list"]:
        for text, name in said.items():
            print(f"{name}: {text}")
        return 0
    page = explained(source / "docs/troubleshooting.md")
    for text in sorted(set(said) - page):
        print(f"docs/troubleshooting.md lacks `{text}` of {said[text]}")
    for text in sorted(page - set(said)):
        print(f"docs/troubleshooting.md explains `{text}`, which nothing says")
    for text in sorted(set(NONE) - unheard):
        print(f"messages.py leaves out `{text}`, which nothing says")
    if len(said) < 90:
        print(f"only {len(said)} messages were found in the source")
        return 1
    return 0 if page == set(said) and unheard == set(NONE) else 1


if __name__ == "__main__":
    sys.exit(main())
