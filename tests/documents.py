"""The documents are true: links lead somewhere, the sessions of README.md are what tvsym prints, and the examples of
docs/json.md can be built.

    documents.py TVSYM SOURCE_DIR
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

tvsym, root = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
failures = []
documents = [*root.glob("*.md"), *root.glob("docs/*.md"), *root.glob("samples/*.md")]


def anchors(text):
    """As they are made of headings: lower case, without punctuation, a hyphen for each blank."""
    titles = re.findall(r"^#+ (.*)$", text, re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-") for title in titles}


for document in documents:
    text = document.read_text(encoding="utf-8")
    for target in re.findall(r"\]\(([^)\s]+)\)", re.sub(r"```.*?```", "", text, flags=re.DOTALL)):
        if "://" in target:
            continue
        name, _, anchor = target.partition("#")
        file = document.parent / name if name else document
        if not file.exists():
            failures.append(f"{document.name}: {target}: no such file")
        elif anchor and anchor not in anchors(file.read_text(encoding="utf-8")):
            failures.append(f"{document.name}: {target}: no such heading")

with tempfile.TemporaryDirectory() as directory:
    os.symlink(root / "samples", f"{directory}/samples")
    os.symlink(tvsym, f"{directory}/tvsym")
    environment = {**os.environ, "PATH": f"{directory}:{os.environ['PATH']}"}
    sessions = re.findall(r"```console\n(.*?)```", (root / "README.md").read_text(encoding="utf-8"), re.DOTALL)
    for session in sessions:
        for command, expected in re.findall(r"^\$ (.*)\n((?:(?!\$ ).*\n)*)", session, re.MULTILINE):
            run = subprocess.run(command, shell=True, cwd=directory, env=environment, capture_output=True, text=True)
            if run.stdout != expected:
                failures.append(f"README.md: {command}\n{run.stdout}{run.stderr}expected:\n{expected}")
    if not sessions:
        failures.append("README.md: no sessions")
    examples = re.findall(r"```json\n(.*?)```", (root / "docs/json.md").read_text(encoding="utf-8"), re.DOTALL)
    for example in examples:
        run = subprocess.run([tvsym, "build", "-q", "-", f"{directory}/example.sym"], input=example, capture_output=True, text=True)
        if run.returncode != 0:
            failures.append(f"docs/json.md: {example}{run.stderr}")
    if len(examples) < 2:
        failures.append("docs/json.md: where are the examples?")

print("\n".join(failures) or f"{len(documents)} documents")
sys.exit(1 if failures else 0)
