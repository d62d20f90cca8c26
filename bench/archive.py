#!/usr/bin/env python3
"""An archive of symbol files as Parquet, and read by Spark.

    archive.py [FILES [SYMBOLS [SMALL_FILES]]]

FILES daily files of SYMBOLS symbols with 10 fields, copies of one file. Converts them on one and on two processes, kills a
conversion in the middle and resumes it, reads the dataset back by pyarrow, polars, DuckDB and Spark, and reads the
files themselves by Spark on one and two workers. Then the same of SMALL_FILES files of 100 symbols. Times are wall times.
"""
import datetime
import gzip
import hashlib
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time

ROOT = pathlib.Path(__file__).resolve().parents[1]
sys.path += [str(ROOT / "bench"), str(ROOT / "python/tests")]

import duckdb
import polars
import pyarrow.compute as pc
import sql

from torvaapi._history import dataset

SUMS = "count(*), sum(lot), sum(volume), min(listed), max(symbol)"


def timed(work):
    start = time.perf_counter()
    result = work()
    return result, time.perf_counter() - start


def make(directory, files, symbols):
    """`files` days of the same file, with its dictionary. Returns the pattern of their paths."""
    first = directory / "first.sym"
    sql.write(str(first), symbols)
    for number in range(files):
        day = datetime.date(2016, 1, 1) + datetime.timedelta(number)
        to = directory / "archive" / str(day.year) / f"world-{day}.sym"
        to.parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(first, to)
    fields = f"{first}.fields.json"
    print(f"{files:,} files of {symbols:,} symbols: {files * first.stat().st_size / 1e6:,.0f} MB, "
          f"by gzip {files * len(gzip.compress(first.read_bytes(), 6)) / 1e6:,.0f} MB", flush=True)
    return f"{directory}/archive/*/*.sym", fields


# Prints the largest resident set of a command's processes in KiB. In a small process between, since the memory of a
# child counts from what its parent holds.
PEAK = """import resource, subprocess, sys
subprocess.run(sys.argv[1:], check=True)
print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)"""


def conversion(pattern, fields, out, jobs):
    return [sys.executable, "-m", "torvaapi", "to-parquet", pattern, str(out), "--dictionary", fields, "--quiet", "--jobs", str(jobs)]


def measured(*arguments):
    command = [sys.executable, "-c", PEAK, *conversion(*arguments)]
    done, seconds = timed(lambda: subprocess.run(command, check=True, capture_output=True, text=True))
    return int(done.stdout) * 1024, seconds


def parquet_files(out):
    return sorted(path for path in out.rglob("*") if path.is_file())


def digest(out):
    return [(path.relative_to(out), hashlib.sha256(path.read_bytes()).digest()) for path in parquet_files(out)]


def conversions(pattern, fields, directory, files):
    for jobs in (1, 2):
        out = directory / f"out{jobs}"
        peak, seconds = measured(pattern, fields, out, jobs)
        size = sum(path.stat().st_size for path in parquet_files(out))
        print(f"to Parquet, {jobs} processes: {seconds:.1f} s, {files / seconds:.1f} files/s, {size / 1e6:,.1f} MB, "
              f"largest process {peak / 2**20:,.0f} MiB", flush=True)
    killed = directory / "killed"
    process = subprocess.Popen(conversion(pattern, fields, killed, 1))
    while len(list(killed.rglob("part-0.parquet"))) < files // 2:
        time.sleep(0.05)
    process.send_signal(signal.SIGKILL)
    process.wait()
    there = len(list(killed.rglob("part-0.parquet")))
    _, seconds = measured(pattern, fields, killed, 1)
    same = digest(killed) == digest(directory / "out1") == digest(directory / "out2")
    print(f"killed with {there} partitions, resumed in {seconds:.1f} s: {'the same' if same else 'ANOTHER'} dataset")
    _, seconds = measured(pattern, fields, killed, 1)
    print(f"nothing to do: {seconds:.1f} s", flush=True)


def by_pyarrow(out):
    table = dataset(str(out)).to_table(["symbol", "lot", "volume", "listed"])
    return (table.num_rows, pc.sum(table["lot"]).as_py(), pc.sum(table["volume"]).as_py(), pc.min(table["listed"]).as_py(),
            pc.max(table["symbol"]).as_py())


def by_polars(out):
    frame = polars.scan_parquet(f"{out}/symbols/**/*.parquet", hive_partitioning=True)
    column = polars.col
    return frame.select(polars.len().alias("n"), column("lot").sum(), column("volume").sum(), column("listed").min(),
                        column("symbol").max()).collect().row(0)


def by_duckdb(out):
    return duckdb.sql(f"SELECT {SUMS} FROM read_parquet('{out}/symbols/**/*.parquet')").fetchall()[0]


def read_back(spark, out):
    results = {}
    ways = {"pyarrow": by_pyarrow, "polars": by_polars, "DuckDB": by_duckdb,
            "Spark": lambda it: tuple(spark.read.parquet(f"{it}/symbols").selectExpr(*sums()).first())}
    for name, way in ways.items():
        results[name], seconds = timed(lambda way=way: way(out))
        print(f"sums of the dataset by {name}: {seconds:.2f} s", flush=True)
    assert len(set(results.values())) == 1, results
    return next(iter(results.values()))


def sums():
    return [it.strip() for it in SUMS.split(",")]


def read_alone(pattern, fields):
    """What the tasks of Spark do, without Spark: in this process, one after the other."""
    from pyspark.sql.datasource import CaseInsensitiveDict

    from torvaapi.spark import SymbolFiles

    source = SymbolFiles(CaseInsensitiveDict({"path": pattern, "dictionary": fields, "columns": "lot,volume,listed"}))
    reader = source.reader(source.schema())
    partitions = reader.partitions()
    return len(partitions), sum(batch.num_rows for partition in partitions for batch in reader.read(partition))


def by_spark(pattern, fields, out, directory):
    import spark_cluster

    expected = None
    (partitions, rows), alone = timed(lambda: read_alone(pattern, fields))
    print(f"the files in one process, without Spark: {alone:.1f} s, {rows:,} rows, {partitions} partitions", flush=True)
    for workers in (1, 2):
        logs = directory / f"cluster{workers}"
        logs.mkdir()
        with spark_cluster.cluster_of(logs, workers) as cluster, spark_cluster.session_of(cluster) as spark:
            def load():
                frame = spark_cluster.load(spark, pattern, dictionary=fields, columns="lot,volume,listed")
                return tuple(frame.selectExpr(*sums()).first())
            load()  # starts the executors' Python
            found, seconds = timed(load)
            share = alone / (seconds * workers)
            print(f"sums of the files by Spark, {workers} workers of one core: {seconds:.1f} s; reading is {share:.0%}", flush=True)
            expected = expected or read_back(spark, out)
            assert found == expected, (found, expected)


def main():
    files, symbols, small = [int(it) for it in sys.argv[1:]] + [64, 100000, 10000][len(sys.argv) - 1:]
    for count, size in ((files, symbols), (small, 100)):
        with tempfile.TemporaryDirectory() as name:
            directory = pathlib.Path(name)
            pattern, fields = make(directory, count, size)
            conversions(pattern, fields, directory, count)
            by_spark(pattern, fields, directory / "out1", directory)


if __name__ == "__main__":
    main()
