#!/usr/bin/env python3
"""Collects every message of the libraries, the tool, the Python package, the page and the scripts from the sources.

    messages.py          writes docs/messages.md
    messages.py --check  fails if docs/messages.md is not current

A message is what is passed to one of CALLS, or a row of one of TABLES. {} stands for what the program fills in.
"""
import pathlib
import re
import sys

CALLS = {
    ".cpp": r"(?:ToolError|(?<!\w)Error|LoadError|PrintError|Note|Refuse|Fail|FailExpected|errors\.Add|found\.Add|End|Problem)",
    ".py": r"(?:raise \w+|\b\w*Error|\bfail|sys\.exit)",
    ".ts": r"(?:new Error|\bproblem)",
    "": r"\bdie",
}
TABLES = ("format/Results.h", "tables/check/Faults.h")
SOURCES = (".cpp", ".h", ".py", ".ts", ".tsx")
GROUPS = (
    ("Result codes", r"^format/"), ("Findings of `check`", r"^tables/check/Faults"), ("The tool", r"^tools/"),
    ("Tables", r"^(tables(?!/check/Faults)|text)/"), ("Building from JSON", r"^symwrite/"), ("Python", r"^python/(torvaapi|native)/"),
    ("The page", r"^viewer/(src|wasm)/"), ("Scripts", r"^(dev|tests/matrix\.sh)$"),
)
LITERAL = re.compile(r'R"\((.*?)\)"|f?"((?:[^"\\\n]|\\.)*)"', re.DOTALL)


def literals(text):
    """The texts in quotes, those that follow each other joined; others stand for what is filled in."""
    parts, end = [], 0
    for match in LITERAL.finditer(text):
        between = text[end:match.start()].strip()
        part = match.group(1) if match.group(1) is not None else match.group(2)
        if parts and between in ("", "f"):
            parts[-1] += part
        elif parts and re.fullmatch(r"\+.*\+", between, re.DOTALL):
            parts[-1] += "{}" + part
        else:
            parts.append(part)
        end = match.end()
    return [part for part in parts if re.search(r"[A-Za-z]{2,} \S*[A-Za-z]", part)]


def argument(text, start):
    """What is inside the parentheses or braces that open at `start`."""
    depth = 0
    for match in re.compile(r'R"\(.*?\)"|"(?:[^"\\\n]|\\.)*"|[(){}]', re.DOTALL).finditer(text, start):
        depth += {"(": 1, "{": 1, ")": -1, "}": -1}.get(match.group(), 0)
        if depth == 0:
            return text[start + 1:match.start()]
    return ""


def messages(path, text):
    if path in TABLES:
        return [part for row in re.findall(r"\{(?:SYM_|Fault::).*?\}[,}]", text, re.DOTALL) for part in literals(row)]
    suffix = pathlib.Path(path).suffix
    call = CALLS.get({".tsx": ".ts", ".h": ".cpp", ".sh": ""}.get(suffix, suffix))
    if call is None:
        return []
    if call == CALLS[""]:
        return re.findall(call + r' "((?:[^"\\]|\\.)* (?:[^"\\]|\\.)*)"', text)
    code = re.sub(r"^\s*//.*", "", text, flags=re.MULTILINE)
    return [part for match in re.finditer(call + r"\s*(?:\w+)?([({])", code)
            for part in literals(argument(code, match.start(1)))]


def main():
    root = pathlib.Path(__file__).parent.parent
    listed = ["dev", "tests/matrix.sh"]
    for folder in ("format", "tables", "text", "tools", "symwrite", "python/torvaapi", "python/native", "viewer/src", "viewer/wasm"):
        listed += [path.relative_to(root).as_posix() for path in (root / folder).rglob("*") if path.suffix in SOURCES]
    lines = ["# Messages", "", "Every message, collected from the sources by `tests/messages.py`, to be read in a row. `{}`",
             "stands for what the program fills in: a file, a section, an offset, a value."]
    for title, pattern in GROUPS:
        found = {}
        for path in sorted(listed):
            if re.search(pattern, path):
                for message in messages(path, (root / path).read_text(encoding="utf-8")):
                    shown = re.sub(r"\{[^}]*\}|\$\{?\w+\}?|\$\([^)]*\)", "{}", message).replace('\\"', '"').replace("\\n", " ")
                    found.setdefault(re.sub(r"\s+", " ", shown).strip().replace("|", "\\|"), path)
        lines += ["", f"## {title}", ""] + [f"- {message}" for message in sorted(found, key=str.lower)]
    text = "\n".join(lines) + "\n"
    target = root / "docs" / "messages.md"
    if "--check" not in sys.argv:
        target.write_text(text, encoding="utf-8")
    elif not target.is_file() or target.read_text(encoding="utf-8") != text:
        sys.exit("docs/messages.md is not current: run ./dev docs")


main()
