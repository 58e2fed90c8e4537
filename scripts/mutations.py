"""What scripts/mutants can change in a source file: one line at a time, one thing in it."""

import collections
import random
import re

Mutation = collections.namedtuple("Mutation", "number old new kind")  # both lines stripped

# clang-format puts spaces round binary operators and none round those of types and references.
OPERATORS = {
    "<": ["<="], "<=": ["<"], ">": [">="], ">=": [">"], "==": ["!="], "!=": ["=="],
    "+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["/"], "+=": ["-="], "-=": ["+="],
    "*=": ["/="], "<<": [">>"], ">>": ["<<"], "&": ["|"], "|": ["&"], "&&": ["||"], "||": ["&&"],
}
WORDS = {
    "std::min": "std::max", "std::max": "std::min", "true": "false", "false": "true",
    "static_cast<float>": "static_cast<double>", "static_cast<double>": "static_cast<float>",
}
INTEGER = re.compile(r"(?<![\w.])(\d+)(u?)(?![\w.])")
DECIMAL = re.compile(
    r"(?<![\w.])(0x[\da-f]+\.[\da-f]*p[+-]\d+|\d+\.\d*(?:e-?\d+)?|\d+e-?\d+)(f?)(?![\w.])")
UNARY = re.compile(r"(?:(?<=[(\[])|(?<=[=?:,<>*+/&|-] )|(?<=return ))[-!](?=[\w(.])")
NAMED = re.compile(r"(?<![\w:])(?:std::(?:min|max)\b|true\b|false\b|static_cast<\w+>)")
SIZE = re.compile(r"std::array<[^>]*>|\boperator\b.*")
# What is no statement, or a declaration, without which its file seldom compiles.
NO_STATEMENT = re.compile(
    r"(return|using|constexpr|static|case|default|template|extern|namespace|struct|class|enum|const|"
    r"auto|double|float|int|bool|std::\w+(<.*>)?)[*&]?\s|[})]")


def code_of(text):
    """The lines of `text` with comments and what is quoted blanked out, columns kept."""
    def blank(match):
        return re.sub(r"[^\n]", "\x01" if match[0][0] in "\"'" else " ", match[0])
    return re.sub(r"//[^\n]*|/\*.*?\*/|\"(?:\\.|[^\"\\\n])*\"|'(?:\\.|[^'\\\n])*'", blank, text,
                  flags=re.DOTALL).split("\n")


def left_out(lines):
    """Numbers of the lines that are no code to mutate: directives, what the compiler alone checks,
    and tables of constants."""
    out, first = set(), None
    for i, line in enumerate(lines):
        if line.lstrip().startswith("#"):
            out.add(i)
        if first is None and re.search(r"\bstatic_assert\b|\bconst(expr)?\b.*= ?\{", line):
            first = i
        if first is not None and ";" in line:
            statement = " ".join(lines[first:i + 1])
            numbers = len(DECIMAL.findall(statement)) + len(INTEGER.findall(statement))
            if "static_assert" in statement or numbers > 8:
                out.update(range(first, i + 1))
            first = None
    return out


def changed_constants(line):
    """(start, end, replacement, kind) of each constant of a line, in every way."""
    for match in INTEGER.finditer(line):
        value, suffix = int(match[1]), match[2]
        yield match.start(), match.end(), f"{value + 1}{suffix}", "constant"
        if value > 0:
            yield match.start(), match.end(), f"{value - 1}{suffix}", "constant"
    for match in DECIMAL.finditer(line):
        digits, suffix = match[1], match[2]
        is_hex = digits.startswith("0x")
        value = float.fromhex(digits) if is_hex else float(digits)
        other = value * 1.01 if value else 1.0
        text = other.hex() if is_hex else repr(float(f"{other:.12g}"))
        yield match.start(), match.end(), text + suffix, "constant"
        yield match.start(), match.end(), digits + ("" if suffix else "f"), "precision"


def is_statement(lines, i):
    """Whether line i is one whole statement that could be missing."""
    text = lines[i].strip()
    if not text.endswith(";") or text == ";" or not lines[i].startswith("  "):
        return False
    if NO_STATEMENT.match(text) or re.search(r"= (delete|default|0);$", text):
        return False
    if any(text.count(a) != text.count(b) for a, b in ("()", "{}", "[]")):
        return False
    before = [line.strip() for line in lines[:i] if line.strip()]
    return not before or before[-1][-1] in ";{}:" or before[-1].startswith("#")


def mutations_of(text):
    """Every mutation of a source file: a list for each line that has any."""
    lines = code_of(text)
    # Without comments behind the code.
    source = [line[:len(code.rstrip())] for line, code in zip(text.split("\n"), lines)]
    skipped = left_out(lines)
    result = []
    for i, line in enumerate(lines):
        if i in skipped or not line.strip():
            continue
        line = SIZE.sub(lambda match: "\x01" * len(match[0]), line)
        changes = list(changed_constants(line))
        for match in re.finditer(r"(?<= )[-+*/%<>=!&|]+(?= )", line):
            for other in OPERATORS.get(match[0], []):
                changes.append((match.start(), match.end(), other, "operator"))
        for match in NAMED.finditer(line):
            if match[0] in WORDS:
                kind = "precision" if "cast" in match[0] else "operator"
                changes.append((match.start(), match.end(), WORDS[match[0]], kind))
        for match in UNARY.finditer(line):
            changes.append((match.start(), match.end(), "", "operator"))
        if not line.lstrip().startswith("for "):  # a loop that turns back only hangs
            for match in re.finditer(r"\+\+|--", line):
                other = "--" if match[0] == "++" else "++"
                changes.append((match.start(), match.end(), other, "operator"))
        found = []
        for start, end, other, kind in changes:
            new = source[i][:start] + other + source[i][end:]
            found.append(Mutation(i, source[i].strip(), new.strip(), kind))
        if is_statement(lines, i):
            found.append(Mutation(i, source[i].strip(), ";", "statement"))
        if found:
            result.append(found)
    return result


def in_order(text, seed):
    """The mutations of a file in an order that the seed gives: one of each line first, of a kind
    drawn before the mutation is, then another of each line, and so on."""
    draw = random.Random(seed)
    rest = [list(found) for found in mutations_of(text)]
    while rest:
        draw.shuffle(rest)
        for found in rest:
            kind = draw.choice(sorted({mutation.kind for mutation in found}))
            mutation = draw.choice([m for m in found if m.kind == kind])
            found.remove(mutation)
            yield mutation
        rest = [found for found in rest if found]


def shares(weights, total):
    """Splits `total` among the names in proportion to their weights, by largest remainders."""
    exact = {name: total * weight / sum(weights.values()) for name, weight in weights.items()}
    share = {name: int(value) for name, value in exact.items()}
    by_remainder = sorted(exact, key=lambda name: (share[name] - exact[name], name))
    for name in by_remainder[:total - sum(share.values())]:
        share[name] += 1
    return share


def apply(text, mutation):
    """`text` with the one line changed."""
    lines = text.split("\n")
    old = lines[mutation.number]
    lines[mutation.number] = old[:len(old) - len(old.lstrip())] + mutation.new
    return "\n".join(lines)
