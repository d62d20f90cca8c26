#!/usr/bin/env python3
"""The Python package beside the C++ load of the same file, and beside other ways to the same data frame.

    python.py BUILD [SYMBOLS...]

Every run is a process of its own, which imports what it needs and reads a small file first; the contestants take turns,
round after round. A figure is the median of the processor time, a ratio the median of the ratios to the C++ load in the same round. Memory
is what the largest resident set grew by. What the other ways read is made beforehand and not counted.
"""
import os
import statistics
import subprocess
import sys
import tempfile

ROUNDS = 5
LOAD = """
import ctypes
library = ctypes.CDLL(BUILD + "/lib/libTorvaTables.so.1")
table = ctypes.c_void_p()
def run(): assert library.tvt_Load(FILE.encode(), None, ctypes.byref(table), None) == 0
"""
CONTESTANTS = (
    ("C++: tvt_Load", LOAD),
    ("torvaapi: symbols()", "import torvaapi\ndef run(): return torvaapi.open(FILE, threads=1).symbols()"),
    ("torvaapi: to_arrow()", "import torvaapi, pyarrow\n"
     "def run(): return torvaapi.open(FILE, threads=1).symbols().to_arrow()"),
    ("torvaapi: to_polars()", "import torvaapi, polars\n"
     "def run(): return torvaapi.open(FILE, threads=1).symbols().to_polars()"),
    ("torvaapi: to_pandas()", "import torvaapi, pyarrow, pandas\n"
     "def run(): return torvaapi.open(FILE, threads=1).symbols().to_pandas()"),
    ("torvaapi: list of rows", "import torvaapi, datetime\n"
     "def run(): return list(torvaapi.open(FILE, threads=1).symbols())"),
    ("Parquet: pyarrow", "import pandas, pyarrow.dataset, pyarrow.parquet\n"
     "def run(): return pyarrow.parquet.read_table(FILE + '.parquet', use_threads=False)"),
    ("Parquet: polars", "import polars\ndef run(): return polars.read_parquet(FILE + '.parquet')"),
    ("CSV: csv", "import csv\ndef run(): return list(csv.reader(open(CSV, newline='', encoding='utf-8')))"),
    ("CSV: polars", "import polars\ndef run(): return polars.read_csv(CSV)"),
    ("CSV: pandas", "import pandas\ndef run(): return pandas.read_csv(CSV)"),
    ("NDJSON: json", "import json\ndef run(): return [json.loads(line) for line in open(FILE + '.ndjson', 'rb')]"),
    ("SQLite: sqlite3", "import sqlite3\n"
     "def run(): return sqlite3.connect(FILE + '.db').execute('SELECT * FROM symbols').fetchall()"),
)
MEASURE = """
import gc, resource, time
gc.disable()
LARGE = FILE, CSV
FILE, CSV = FILE + ".small", CSV.replace("bench.sym", "bench.sym.small")
run()
FILE, CSV = LARGE
before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
start = time.process_time()
result = run()
print(time.process_time() - start, resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before)
"""


def python(code):
    environment = {**os.environ, "POLARS_MAX_THREADS": "1", "OMP_NUM_THREADS": "1"}
    done = subprocess.run([sys.executable, "-c", code], stdout=subprocess.PIPE, check=True, env=environment)
    return done.stdout.decode()


def make_files(build, path, count):
    sys.path.insert(0, os.path.dirname(__file__))
    python(f"import sys; sys.path.insert(0, {os.path.dirname(os.path.abspath(__file__))!r}); import sql\n"
           f"sql.write({path!r}, {count})")
    tool = build + "/bin/tvsym"
    subprocess.run([tool, "export", "--quiet", path, path + ".db"], check=True)
    subprocess.run([tool, "export", "--quiet", path, path + ".csv/"], check=True)
    python(f"import torvaapi; frame = torvaapi.open({path!r}).symbols().to_polars()\n"
           f"frame.write_parquet({path + '.parquet'!r}); frame.write_ndjson({path + '.ndjson'!r})")


def import_time():
    """Processor time of `import torvaapi` in milliseconds, without the interpreter's own start."""
    def cost(code):
        before = os.times()
        subprocess.run([sys.executable, "-c", code], check=True)
        after = os.times()
        return after.children_user + after.children_system - before.children_user - before.children_system
    return statistics.median(cost("import torvaapi") - cost("pass") for _ in range(15)) * 1000


def main():
    build = os.path.abspath(sys.argv[1])
    print(f"import torvaapi: {import_time():.0f} ms")
    for count in [int(it) for it in sys.argv[2:]] or [100000, 1000000]:
        with tempfile.TemporaryDirectory() as directory:
            path = os.path.join(directory, "bench.sym")
            make_files(build, path, count)
            make_files(build, path + ".small", 1000)
            names = f"BUILD, FILE, CSV = {build!r}, {path!r}, {path + '.csv/symbols-wide.csv'!r}\n"
            print(f"{count} symbols with 10 fields: time, ratio to the C++ load, memory")
            times, memory = {name: [] for name, _ in CONTESTANTS}, dict.fromkeys(dict(CONTESTANTS), 0)
            for _ in range(ROUNDS):
                for name, code in CONTESTANTS:
                    taken, grown = python(names + code + MEASURE).split()
                    times[name].append(float(taken))
                    memory[name] = max(memory[name], int(grown))
            base = times[CONTESTANTS[0][0]]
            for name, _ in CONTESTANTS:
                ratio = statistics.median(own / load for own, load in zip(times[name], base))
                print(f"{name:24} {statistics.median(times[name]) * 1000:8.0f} ms {ratio:7.2f}"
                      f" {memory[name] / 1024:8.0f} MiB", flush=True)


if __name__ == "__main__":
    main()
