#!/usr/bin/env python3
"""Counts turns of phrase that read as if translated, in comments, messages and documents.

    words.py [--list] [COMMIT]

Of the work tree, or of COMMIT. With --list prints the places, for someone to judge: most patterns have right uses, too.
"""
import re
import subprocess
import sys

# What to look for, and what is usually meant.
PATTERNS = [
    (r"\bbehind\b", "after"),
    (r"\bahead of\b", "before"),
    (r"\b(gives?|given|gave|giving) (back|a|an|the|what|its|no|one|null|true|false|up to)\b", "returns, frees"),
    (r"\b(tells?|told|telling)\b", "reports, says, is recorded in"),
    (r"\bbut for\b|\ball but\b|\bnothing but\b", "except, only"),
    (r"\bdo(es)? not do\b|\bwould do\b|\bdo for\b", "invalid argument; is enough"),
    (r"\b(stands?|stood|standing) (in|at|for itself|there|here|beside|alone|as|a further)\b", "is in"),
    (r"\b(is|are|be) (no|none|nothing|nobody)\b", "is not a"),
    (r"\bas long as there is\b", "while, until"),
    (r"\bat hand\b", "available"),
    (r"\bwhat (is|are|was|were) (wanted|asked|meant|there|left|given|known|to be)\b", "a noun"),
    (r"\bcame of\b|\bcomes of\b|\bcome of\b", "the result"),
    (r"\b(lies?|lay|lying) (in|at|before|after|there|whole|within|on)\b", "is in"),
    (r"\bannounces?\b|\bannounced\b", "says"),
    (r"\bmakes? good\b|\bof no use\b|\bnobody\b|\bnonsense\b", ""),
    (r"\bgo(es)? on\b|\bwent on\b|\bgoing on\b", "continues"),
    (r"\bhand(s|ed)? (over|out)\b", "delivers, passes"),
    (r"\bof its own\b|\bof their own\b", "own"),
    (r"\bin front of\b", "before"),
    (r"\bmeanwhile\b", "in between"),
    (r"\bpasses the\b", "exceeds"),
    (r"\bahead\b(?! of)", "in advance, first"),
    (r"\bas (it|they) (lies?|lie) in\b", "as stored in"),
    (r"\bthe one (that|which|of|for)\b", "that"),
    (r"\bfinds? out\b|\bfound out\b", "detects, determines"),
    (r"\bsees? to (it|that)\b", "ensures"),
    (r"\bfrom .{1,30} on\b", "from"),
    (r"\bwith which\b|\bby which\b|\bof which\b|\bto which\b", "a shorter sentence"),
]

CODE = r"\.(c|h|cpp|hpp|inc|py|ts|tsx|sh|js|cmake)$|(^|/)(dev|run|CMakeLists\.txt)$"
PROSE = r"\.(md)$"
SKIP = r"^(docs/python/|docs/viewer/|viewer/package|LICENSE|tests/words\.py$)|\.(svg|json|lock|txt)$(?<!CMakeLists\.txt)"
# A comment, or a text in quotes of two words and more.
WORDS = re.compile(r'//.*|/\*.*|^\s*\*.*|(?:^|\s)#(?!include|if|endif|define|else|ifdef|ifndef|pragma).*|"""?[^"]* [^"]*"')


def files(commit):
    command = ["git", "ls-tree", "-r", "--name-only", commit] if commit else ["git", "ls-files"]
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.split()


def content(commit, path):
    if not commit:
        with open(path, encoding="utf-8", errors="replace") as file:
            return file.read()
    shown = subprocess.run(["git", "show", f"{commit}:{path}"], check=True, capture_output=True)
    return shown.stdout.decode("utf-8", "replace")


def main():
    words = [word for word in sys.argv[1:] if word != "--list"]
    commit = words[0] if words else None
    compiled = [re.compile(pattern, re.IGNORECASE) for pattern, _ in PATTERNS]
    counts = [0] * len(PATTERNS)
    lines = concerned = 0
    for path in files(commit):
        if re.search(SKIP, path) or not re.search(CODE + "|" + PROSE, path):
            continue
        prose = re.search(PROSE, path)
        for number, line in enumerate(content(commit, path).splitlines(), 1):
            text = line if prose else " ".join(WORDS.findall(line))
            if not text.strip():
                continue
            lines += 1
            found = False
            for at, pattern in enumerate(compiled):
                hits = len(pattern.findall(text))
                counts[at] += hits
                found = found or hits > 0
                if hits and "--list" in sys.argv:
                    print(f"{path}:{number}: [{PATTERNS[at][1]}] {text.strip()}")
            concerned += found
    if "--list" in sys.argv:
        return
    for count, (pattern, instead) in sorted(zip(counts, PATTERNS), key=lambda pair: -pair[0]):
        print(f"{count:6d}  {pattern}" + (f"  ({instead})" if instead else ""))
    print(f"{concerned} of {lines} lines of comments, messages and documents: {100 * concerned / lines:.1f} %")


main()
