#!/usr/bin/env python3
"""tvsym sql beside the same queries on the same data imported into SQLite.

    sql.py TVSYM [SYMBOLS]

The contestants of a row take turns, round after round. A figure is the median of the process's processor time, a
ratio the median of the ratios in the same round; memory is the largest resident set. The import is not counted.
"""
import json
import multiprocessing
import os
import random
import statistics
import struct
import subprocess
import sys
import tempfile

ROUNDS = 5
QUERIES = (
    ("sum of one column", "SELECT sum(lot) FROM symbols"),
    ("largest of a text", "SELECT max(name) FROM symbols"),
    ("group by", "SELECT currency, count(*) FROM symbols GROUP BY 1"),
    ("condition on two columns", "SELECT count(*) FROM symbols WHERE country = 17 AND lot > 200"),
    ("one symbol, no index", "SELECT name FROM symbols WHERE +symbol = '500000.HK'"),
    ("all columns", "SELECT sum(length(symbol) + length(name) + length(isin) + length(currency) + lot + length(listed) + "
                    "country + price + volume + kind + weight) FROM symbols"),
    ("join with itself", "SELECT count(*) FROM symbols a JOIN symbols b ON a.symbol = b.symbol WHERE a.lot <> b.lot"),
)
FIELDS = {1: ("name", "text", 7), 2: ("isin", "text", 7), 3: ("currency", "text", 7), 4: ("lot", "unsigned", 3),
          5: ("listed", "date", 5), 6: ("country", "unsigned", 4), 7: ("price", "float", 6),
          8: ("volume", "unsigned", 5), 9: ("kind", "unsigned", 1), 10: ("weight", "float", 8)}


def field(number, payload):
    return struct.pack("<HB", number, FIELDS[number][2]) + payload


def write(path, count):
    """A file of `count` symbols with 10 fields; one in ten has the default of field 4."""
    chosen = random.Random(1)
    default = field(4, struct.pack("<I", 100))
    section1 = struct.pack("<HI", 1, len(default)) + default
    records = bytearray(struct.pack("<H", 2))
    for number in range(count):
        record = (b"%06d.HK\0" % number + field(1, b"Company number %d Ltd\0" % number)
                  + field(2, b"ISIN%08d\0" % (number * 7))
                  + field(3, chosen.choice((b"HKD\0", b"USD\0", b"EUR\0", b"JPY\0"))))
        if number % 10:
            record += field(4, struct.pack("<I", chosen.choice((100, 200, 500, 1000))))
        record += (field(5, struct.pack("<I", 20000101 + number % 28))
                   + field(6, struct.pack("<H", chosen.randrange(250))) + field(7, struct.pack("<d", number * 0.1))
                   + field(8, struct.pack("<I", number)) + field(9, bytes((number % 7,)))
                   + field(10, struct.pack("<f", number * 0.01)))
        records += struct.pack("<I", len(record)) + record
    with open(path, "wb") as out:
        out.write(struct.pack("<HHIIHII", 2, 1, 22, len(section1), 2, 22 + len(section1), len(records)))
        out.write(section1)
        out.write(records)
    with open(path + ".fields.json", "w", encoding="ascii") as out:
        json.dump({number: dict(zip(("name", "type", "tag"), known)) for number, known in FIELDS.items()}, out)


def run(command):
    """Processor time in milliseconds, memory in KiB, and the last line of the output."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE)
    answer = process.stdout.read().decode().splitlines()[-1]
    _, status, usage = os.wait4(process.pid, 0)
    if status:
        sys.exit(f"sql.py: {command} failed")
    return (usage.ru_utime + usage.ru_stime) * 1000, usage.ru_maxrss, answer


def same(ours, theirs):
    """A whole REAL has a point in SQLite's output alone; sums of floats differ in their last digits."""
    try:
        return abs(float(ours) - float(theirs)) <= 1e-9 * abs(float(theirs))
    except ValueError:
        return ours.strip('"') == theirs.strip('"')


def main():
    tool = sys.argv[1]
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 1000000
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "bench.sym")
        database = os.path.join(directory, "bench.db")
        # In a process of its own: a child's memory counts from what its parent holds.
        writer = multiprocessing.Process(target=write, args=(path, count))
        writer.start()
        writer.join()
        subprocess.run([tool, "export", "--quiet", path, database], check=True)
        print(f"{count} symbols with 10 fields; tvsym sql, SQLite on the import, ratio, memory of both")
        for name, query in QUERIES:
            commands = ([tool, "sql", path, query, "--format", "csv"], ["sqlite3", "-csv", database, query])
            times, memory, answers = ([], []), [0, 0], ["", ""]
            for _ in range(ROUNDS):
                for at, command in enumerate(commands):
                    time, resident, answers[at] = run(command)
                    times[at].append(time)
                    memory[at] = max(memory[at], resident)
            if not same(*answers):
                sys.exit(f"sql.py: {query}: {answers[0]} and {answers[1]}")
            ratio = statistics.median(ours / theirs for ours, theirs in zip(*times))
            print(f"{name:26} {statistics.median(times[0]):8.0f} ms {statistics.median(times[1]):8.0f} ms  {ratio:5.2f}"
                  f"  {memory[0] / 1024:5.1f} MiB {memory[1] / 1024:5.1f} MiB", flush=True)


if __name__ == "__main__":
    main()
