#!/usr/bin/env python3
"""The jobs of tvsym beside other programs on the same data.

    tool.py TVSYM [SYMBOLS [OLD_TVSYM]]

A row is a job: tvsym, then a peer, each on the form of the data that it reads (the symbol file; the file imported into
SQLite; JSON lines; CSV), and an older tvsym where one is named. The contestants of a row take turns, round after round. A
figure is the median of the process's processor time, a ratio the median of the ratios in the same round; memory is the
largest resident set. Conversions that a peer needs first are not counted. Peers that are not installed are left out. The
exit status is 1 where tvsym took more memory than the job is allowed.
"""
import math
import multiprocessing
import os
import shutil
import statistics
import subprocess
import sys
import tempfile

import sql

ROUNDS = 3
JSON_GET = "import json,sys\nfor line in open('flat.ndjson'):\n if json.loads(line)['symbol']=='500000.HK': print(line)"
JSON_SUM = ("import json,collections\nc=collections.Counter(json.loads(l)['currency'] for l in open('flat.ndjson'))\nprint(c)")
CSV_SUM = ("import csv,collections\nprint(collections.Counter(row['currency'] for row in csv.DictReader(open('flat.csv'))))")
CSV_WRITE = ("import json,csv,sys\nw=None\nfor l in open('flat.ndjson'):\n d=json.loads(l)\n"
             " w=w or csv.DictWriter(sys.stdout,d.keys())\n w.writerow(d)")

# Where a peer's way is several commands, a shell runs them; the database is copied first, as tvsym keeps the old file.
SQLITE_EDIT = ("cp a.db changed.db && sqlite3 changed.db \"UPDATE symbols SET lot=600 WHERE lot=500\" && "
               "sqlite3 -csv changed.db 'SELECT * FROM symbols'")
SQLITE_MERGE = ("ATTACH 'b.db' AS b; SELECT * FROM b.symbols UNION ALL SELECT * FROM main.symbols "
                "WHERE symbol NOT IN (SELECT symbol FROM b.symbols) ORDER BY symbol")
CSV_SPLIT = ("import csv\nw={}\nfor d in csv.DictReader(open('flat.csv')):\n k=d['currency']\n if k not in w:\n"
             "  w[k]=csv.DictWriter(open(f'market-{k}.csv','w'),d.keys()); w[k].writeheader()\n w[k].writerow(d)")

# DuckDB's shell is not in Debian; its Python package is among those that the tests of the Python package install.
PYTHON = os.path.abspath("build/python/bin/python")
DUCKDB = [PYTHON, "-c", "import duckdb, sys; duckdb.sql(sys.argv[1])"]

# Job, tvsym's arguments, the peer's name and command; the old tool runs the same arguments where it can.
JOBS = (
    ("get one symbol", "get a.sym 500000.HK", "sqlite3", ["sqlite3", "a.db", "SELECT * FROM symbols WHERE +symbol='500000.HK'"]),
    ("get one symbol", "get a.sym 500000.HK", "jq", ["jq", "-c", 'select(.symbol=="500000.HK")', "flat.ndjson"]),
    ("get one symbol", "get a.sym 500000.HK", "python json", [sys.executable, "-c", JSON_GET]),
    ("get by a condition", "get a.sym --where lot=500 --limit 10 --json", "sqlite3",
     ["sqlite3", "a.db", "SELECT * FROM symbols WHERE lot=500 LIMIT 10"]),
    ("symbols by currency", "stats a.sym --by currency", "sqlite3",
     ["sqlite3", "a.db", "SELECT currency, count(*) FROM symbols GROUP BY 1"]),
    ("symbols by currency", "stats a.sym --by currency", "python csv", [sys.executable, "-c", CSV_SUM]),
    ("symbols by currency", "stats a.sym --by currency", "python json", [sys.executable, "-c", JSON_SUM]),
    ("stats", "stats a.sym", None, None),
    ("check", "check a.sym", None, None),
    ("diff", "diff a.sym b.sym --summary", "sqldiff", ["sqldiff", "--summary", "--table", "symbols", "a.db", "b.db"]),
    ("dump as JSON", "dump a.sym", "sqlite3 -json", ["sqlite3", "-json", "a.db", "SELECT * FROM symbol_fields"]),
    ("dump as JSON lines", "dump a.sym --format ndjson", "sqlite3 -json",
     ["sqlite3", "-json", "a.db", "SELECT * FROM symbol_fields"]),
    ("dump as a table", "dump a.sym --format table", "tvsym ndjson", ["TVSYM", "dump", "a.sym", "--format", "ndjson", "-q"]),
    ("export a CSV table", "export a.sym -", "sqlite3 -csv", ["sqlite3", "-csv", "a.db", "SELECT * FROM symbols"]),
    ("export a CSV table", "export a.sym -", "python", [sys.executable, "-c", CSV_WRITE]),
    ("build from CSV", "build flat.csv new.sym --dictionary a.sym.fields.json", "sqlite3 .import",
     ["sqlite3", ":memory:", ".mode csv", ".import flat.csv symbols"]),
    ("build from JSON lines", "build flat.ndjson new.sym --dictionary a.sym.fields.json", None, None),
    ("edit", "edit a.sym new.sym --where lot=500 --set lot=600", "sqlite3 update, -csv", ["sh", "-c", SQLITE_EDIT]),
    ("edit", "edit a.sym new.sym --where lot=500 --set lot=600", "jq",
     ["jq", "-c", "if .lot==500 then .lot=600 else . end", "flat.ndjson"]),
    ("edit", "edit a.sym new.sym --where lot=500 --set lot=600", "duckdb",
     [*DUCKDB, "COPY (SELECT * REPLACE (CASE WHEN lot=500 THEN 600 ELSE lot END AS lot) FROM 'flat.csv') TO 'new.csv'"]),
    ("extract", "extract a.sym new.sym --where currency='USD'", "sqlite3 -csv",
     ["sqlite3", "-csv", "a.db", "SELECT * FROM symbols WHERE currency='USD'"]),
    ("extract", "extract a.sym new.sym --where currency='USD'", "jq", ["jq", "-c", 'select(.currency=="USD")', "flat.ndjson"]),
    ("merge", "merge a.sym b.sym new.sym --on-duplicate last", "sqlite3 -csv", ["sqlite3", "-csv", "a.db", SQLITE_MERGE]),
    ("sort", "sort a.sym new.sym --order-by name", "sqlite3 -csv",
     ["sqlite3", "-csv", "a.db", "SELECT * FROM symbols ORDER BY name"]),
    ("split", "split a.sym --by currency --output market-{}.sym", "python csv", [sys.executable, "-c", CSV_SPLIT]),
    ("patch", "diff a.sym b.sym --format patch", "sqldiff", ["sqldiff", "--table", "symbols", "a.db", "b.db"]),
    ("apply", "apply a.sym ab.patch new.sym", "sqlite3", ["sh", "-c", "cp a.db changed.db && sqlite3 changed.db <ab.sql"]),
)

# MiB, by the first word of the arguments.
LIMITS = {"edit": 64, "extract": 64, "merge": 64}


def run(command):
    """Processor time in milliseconds and memory in MiB; none where the command fails."""
    # A child's largest resident set starts from that of the process that started it; time(1) is small, this one is not.
    command = ["/usr/bin/time", "--quiet", "--output=memory", "--format=%M", *command]
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = status
    if os.waitstatus_to_exitcode(status) not in (0, 1):
        return None
    with open("memory", encoding="ascii") as file:
        return (usage.ru_utime + usage.ru_stime) * 1000, int(file.read()) / 1024


def write(count):
    sql.write("a.sym", count)
    # One symbol of a thousand has another lot size.
    with open("a.sym", "rb") as file:
        data = bytearray(file.read())
    place = 0
    for _ in range(count // 1000):
        place = data.find(b"\x04\x00\x03", place + 50000)
        if place < 0:
            break
        data[place + 3] ^= 1
    with open("b.sym", "wb") as file:
        file.write(data)


def prepare(tool, count):
    # In a process of its own: a child's memory counts from what its parent holds.
    writer = multiprocessing.Process(target=write, args=(count,))
    writer.start()
    writer.join()
    shutil.copy("a.sym.fields.json", "b.sym.fields.json")
    for target in ("a.db", "flat.csv", "flat.ndjson"):
        subprocess.run([tool, "export", "--quiet", "a.sym", target], check=True)
    subprocess.run([tool, "export", "--quiet", "b.sym", "b.db"], check=True)
    with open("ab.patch", "wb") as patch:
        subprocess.run([tool, "diff", "--quiet", "a.sym", "b.sym", "--format", "patch"], stdout=patch, check=False)
    if shutil.which("sqldiff"):
        with open("ab.sql", "wb") as patch:
            subprocess.run(["sqldiff", "--table", "symbols", "a.db", "b.db"], stdout=patch, check=True)


def figures(results):
    times = [time for time, _ in results]
    return f"{statistics.median(times):8.0f} ms {max(memory for _, memory in results):7.1f} MiB"


def main():
    tool = os.path.abspath(sys.argv[1])
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 1000000
    old = os.path.abspath(sys.argv[3]) if len(sys.argv) > 3 else None
    with tempfile.TemporaryDirectory() as directory:
        os.chdir(directory)
        prepare(tool, count)
        print(f"{count} symbols with 10 fields; job, tvsym, peer and ratio, older tvsym and ratio")
        above, shown = [], None
        for job, arguments, name, peer in JOBS:
            if peer and peer[0] != "TVSYM" and not shutil.which(peer[0]):
                print(f"{job:22} {name}: not installed")
                if job == shown:
                    continue
                peer = None
            shown = job
            words = arguments.split() + ([] if arguments.startswith(("stats a.sym --by", "apply")) else ["--quiet"])
            commands = {"tvsym": [tool, *words]}
            if peer:
                commands[name] = [tool if word == "TVSYM" else word for word in peer]
            if old:
                commands["older"] = [old, *words]
            results = {contestant: [] for contestant in commands}
            for _ in range(ROUNDS):
                for contestant, command in commands.items():
                    result = run(command)
                    if result:
                        results[contestant].append(result)
            if len(results["tvsym"]) < ROUNDS:
                sys.exit(f"tvsym {arguments}: failed")
            line = f"{job:22} {figures(results['tvsym'])}"
            limit = LIMITS.get(words[0], math.inf)
            if max(memory for _, memory in results["tvsym"]) > limit:
                line += f" OVER {limit}"
                above.append(job)
            for contestant in list(commands)[1:]:
                if len(results[contestant]) < ROUNDS:
                    line += f"   {contestant}: cannot"
                    continue
                ratio = statistics.median(ours[0] / theirs[0] for ours, theirs in zip(results["tvsym"], results[contestant]))
                line += f"   {contestant} {figures(results[contestant])} {ratio:5.2f}"
            print(line, flush=True)
    if above:
        sys.exit(f"more memory than allowed: {', '.join(above)}")


if __name__ == "__main__":
    main()
