"""The Spark data source on a standalone cluster: a master and two workers on the loopback interface. ./dev test spark"""

from __future__ import annotations

import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import threading
import time
from collections.abc import Iterator
from typing import Any

import pyarrow
import pyspark
import pytest
from pyspark.sql import DataFrame, SparkSession
from test_archive import DAYS, archive  # noqa: F401

import torvaapi
import torvaapi.spark
from torvaapi.archive import to_parquet

PATIENCE = 90  # seconds until a process must have started
DEPLOY = "org.apache.spark.deploy"


class Cluster:
    """Processes with logs in a directory, each the leader of a group of its own with what it starts."""

    def __init__(self, directory: pathlib.Path) -> None:
        """Starts nothing."""
        self.directory = directory
        self.processes: list[subprocess.Popen[bytes]] = []
        self.workers: list[subprocess.Popen[bytes]] = []
        self.url = ""

    def run(self, workers: int) -> None:
        directory = self.directory
        local = {"SPARK_LOCAL_IP": "127.0.0.1", "SPARK_LOCAL_DIRS": str(directory), "PYSPARK_PYTHON": sys.executable}
        os.environ.update(local)
        master = self.start("master", f"{DEPLOY}.master.Master", "--host", "127.0.0.1", "--port", "0", "--webui-port", "0")
        self.url = self.wait_for("master", r"Starting Spark master at (spark://\S+)")
        self.workers = [
            self.start(f"worker{number}", f"{DEPLOY}.worker.Worker", "--host", "127.0.0.1", "--cores", "1", "--memory", "1g",
                       "--webui-port", "0", "--work-dir", str(directory / "work"), self.url)
            for number in range(workers)
        ]  # fmt: skip
        for number in range(workers):
            self.wait_for(f"worker{number}", "Successfully registered with master")
        assert master.poll() is None

    def start(self, name: str, *arguments: str) -> subprocess.Popen[bytes]:
        command = [f"{pathlib.Path(pyspark.__file__).parent}/bin/spark-class", *arguments]
        with (self.directory / f"{name}.log").open("wb") as log:
            process = subprocess.Popen(
                command, stdout=log, stderr=log, start_new_session=True,
                env={**os.environ, "SPARK_LOG_LEVEL": "INFO", "SPARK_CONF_DIR": str(self.configuration())},
            )  # fmt: skip
        self.processes.append(process)
        return process

    def configuration(self) -> pathlib.Path:
        directory = self.directory / "conf"
        directory.mkdir(exist_ok=True)
        (directory / "log4j2.properties").write_text(
            "rootLogger.level = info\nrootLogger.appenderRef.stdout.ref = console\nappender.console.type = Console\n"
            "appender.console.name = console\nappender.console.target = SYSTEM_ERR\n"
            "appender.console.layout.type = PatternLayout\nappender.console.layout.pattern = %d %m%n%ex\n"
        )
        return directory

    def wait_for(self, name: str, pattern: str) -> str:
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            log = (self.directory / f"{name}.log").read_text(errors="replace")
            found = re.search(pattern, log)
            if found:
                return found[found.lastindex or 0]
            assert self.processes[-1].poll() is None, log
            time.sleep(0.1)
        raise TimeoutError(log)

    @staticmethod
    def kill(process: subprocess.Popen[bytes]) -> None:
        """The process and its executors."""
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
        process.wait(PATIENCE)


@contextlib.contextmanager
def cluster_of(directory: pathlib.Path, workers: int) -> Iterator[Cluster]:
    cluster = Cluster(directory)
    try:
        cluster.run(workers)
        yield cluster
    finally:
        for process in reversed(cluster.processes):
            cluster.kill(process)


@pytest.fixture(scope="module")
def cluster(tmp_path_factory: pytest.TempPathFactory) -> Iterator[Cluster]:
    with cluster_of(tmp_path_factory.mktemp("cluster"), 2) as made:
        yield made


@pytest.fixture(scope="module")
def spark(cluster: Cluster) -> Iterator[SparkSession]:
    with session_of(cluster) as session:
        yield session


@contextlib.contextmanager
def session_of(cluster: Cluster) -> Iterator[SparkSession]:
    settings = {
        "spark.driver.host": "127.0.0.1", "spark.driver.bindAddress": "127.0.0.1", "spark.ui.enabled": "false", "spark.ui.showConsoleProgress": "false",
        "spark.executor.memory": "512m", "spark.sql.shuffle.partitions": "4",
        "spark.sql.python.filterPushdown.enabled": "true", "spark.network.timeout": "60s",
    }  # fmt: skip
    builder = SparkSession.builder.master(cluster.url)
    for name, value in settings.items():
        builder = builder.config(name, value)
    session = builder.getOrCreate()
    session.sparkContext.setLogLevel("ERROR")
    session.dataSource.register(torvaapi.spark.SymbolFiles)
    yield session
    session.stop()


def load(spark: SparkSession, path: object, **options: object) -> DataFrame:
    return spark.read.format("torva").options(**{key: str(value) for key, value in options.items()}).load(str(path))


def rows(frame: DataFrame | pyarrow.Table) -> list[Any]:
    table = frame if isinstance(frame, pyarrow.Table) else frame.toArrow()
    return sorted(map(tuple, (row.values() for row in table.to_pylist())), key=str)


def test_values(spark: SparkSession, archive: pathlib.Path, tmp_path: pathlib.Path) -> None:  # noqa: F811
    paths = [str(archive / str(day) / "world.sym") for day in DAYS]
    expected = sorted(
        ((*row, path) for path in paths for row in torvaapi.open(path).symbols(dictionaries=False)), key=str
    )
    frame = load(spark, f"{archive}/*/*.sym")
    assert frame.rdd.getNumPartitions() == 1 and rows(frame) == expected
    cut = load(spark, f"{archive}/*/*.sym", partitionBytes=40000)
    assert cut.rdd.getNumPartitions() == 20 and rows(cut) == expected
    for pruned in (
        load(spark, f"{archive}/*/*.sym", columns="currency"),
        spark.read.format("torva").schema("symbol string, currency string, file string").load(f"{archive}/*/*.sym"),
    ):
        plan = pruned._jdf.queryExecution().executedPlan().toString()
        assert "currency" in plan and "description" not in plan
        assert rows(pruned) == sorted(((row[0], row[4], row[-1]) for row in expected), key=str)
    to_parquet([f"{archive}/**/*.sym"], tmp_path / "out")
    dataset = spark.read.parquet(str(tmp_path / "out/symbols"))
    assert rows(dataset.select("symbol", "row", "date")) == sorted(((r[0], r[8], DAYS[paths.index(r[-1])]) for r in expected), key=str)


def test_filters(spark: SparkSession, archive: pathlib.Path) -> None:  # noqa: F811
    everything = load(spark, f"{archive}/*/*.sym").toArrow().to_pylist()
    symbols = load(spark, f"{archive}/*/*.sym", symbols="ZURN.CH-CHF, 0005.HK-HKD")
    assert symbols.count() == 9
    once = load(spark, f"{archive}/*/*.sym")  # filters of one query must not reach the other
    both = once.filter("currency = 'CHF'").union(once.filter("currency = 'EUR'"))
    assert both.count() == sum(row["currency"] in ("CHF", "EUR") for row in everything)
    for condition, test, left in (
        ("symbol = 'ZURN.CH-CHF'", lambda row: row["symbol"] == "ZURN.CH-CHF", ""),
        ("file like '%2026-03-03%' and symbol in ('NONE', 'ZURN.CH-CHF')", lambda row: row["symbol"] == "ZURN.CH-CHF" and "03-03" in row["file"], ""),
        ("symbol like 'A%' and first_tick > date'2016-01-01' and row <= 500 and venue is not null",
         lambda row: row["symbol"][0] == "A" and str(row["first_tick"]) > "2016-01-01" and row["row"] <= 500 and row["venue"] is not None, ""),
        ("currency = 'CHF' and kind <> 1", lambda row: row["currency"] == "CHF" and row["kind"] != 1, "Filter NOT (kind"),
    ):  # fmt: skip
        frame = load(spark, f"{archive}/*/*.sym", pushFilters=True).filter(condition)
        plan = frame._jdf.queryExecution().executedPlan().toString()
        assert (") Filter " in plan) == bool(left) and left in plan, plan
        assert rows(frame) == sorted((tuple(row.values()) for row in everything if test(row)), key=str), condition


def test_damaged_files(spark: SparkSession, archive: pathlib.Path, sample: pathlib.Path, tmp_path: pathlib.Path) -> None:  # noqa: F811
    shutil.copy(archive / "2026-03-02/world.sym", tmp_path / "a.sym")
    (tmp_path / "b.sym").write_bytes(sample.read_bytes()[:50000])
    (tmp_path / "c.sym").write_bytes(b"nothing")
    fields = f"{sample}.fields.json"
    whole = torvaapi.open(tmp_path / "a.sym").symbols()
    with pytest.raises(torvaapi.DamagedError) as damaged:
        torvaapi.open(tmp_path / "b.sym").symbols()
    for mode, count in (("DROPMALFORMED", len(whole)), ("PERMISSIVE", len(whole) + len(damaged.value.table))):
        frame = load(spark, tmp_path / "*.sym", mode=mode, dictionary=fields, partitionBytes=1000)
        frame = frame.select("symbol", "file")
        assert frame.count() == count
    for options in ({}, {"partitionBytes": 10000}):
        with pytest.raises(Exception, match="b.sym: section 2, offset"):
            load(spark, tmp_path / "[ab].sym", dictionary=fields, **options).count()
    with pytest.raises(Exception, match="no such file"):
        load(spark, tmp_path / "none*.sym")


def test_a_worker_is_killed(spark: SparkSession, cluster: Cluster, archive: pathlib.Path) -> None:  # noqa: F811
    def slowly(batches: Iterator[pyarrow.RecordBatch]) -> Iterator[pyarrow.RecordBatch]:
        for batch in batches:
            time.sleep(0.4)
            yield batch

    frame = load(spark, f"{archive}/*/*.sym", partitionBytes=20000)
    expected = rows(frame)
    slow = frame.mapInArrow(slowly, frame.schema)
    found: list[Any] = []
    work = threading.Thread(target=lambda: found.extend(rows(slow)))
    tracker = spark.sparkContext.statusTracker()
    work.start()
    deadline = time.monotonic() + PATIENCE
    done = 0
    while done < 4 and time.monotonic() < deadline:
        stages = [tracker.getStageInfo(stage) for stage in tracker.getActiveStageIds()]
        done = max((stage.numCompletedTasks for stage in stages if stage is not None), default=0)
        time.sleep(0.05)
    assert done >= 4 and work.is_alive()
    cluster.kill(cluster.workers[0])
    work.join(2 * PATIENCE)
    assert not work.is_alive() and found == expected
