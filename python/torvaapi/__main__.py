"""python -m torvaapi to-parquet FILE... OUT"""

from __future__ import annotations

import argparse
import sys

from ._errors import Error
from ._paths import DATE_PATTERN
from .archive import _NAMES, DAMAGED, Outcome, to_parquet


def main(arguments: list[str] | None = None) -> int:
    """Returns 0; 1 where a file could not be converted; 2 for wrong arguments."""
    options = _parser().parse_args(arguments)
    shown = sys.stderr.isatty() and not options.quiet

    def progress(done: int, total: int, outcome: Outcome) -> None:
        if shown:
            width = 30 * done // total
            print(f"\r\x1b[K[{'#' * width:30}] {done}/{total} {outcome.source.name[:30]}", end="", file=sys.stderr)
        if outcome.problem:
            print("\r\x1b[K" * shown + f"torvaapi: {outcome.problem}", file=sys.stderr)

    sections = _NAMES if options.sections == "all" else options.sections.split(",")
    try:
        outcomes = to_parquet(
            options.files, options.out, sections=sections,
            columns=options.columns.split(",") if options.columns else None, dictionary=options.dictionary,
            encoding=options.encoding, date_pattern=options.date_pattern, date_from=options.date_from,
            damaged=options.damaged, jobs=options.jobs, progress=progress,
        )  # fmt: skip
    except Error as error:
        print(f"torvaapi: {error.message}", file=sys.stderr)
        return 2 if isinstance(error, ValueError) else 1
    except KeyboardInterrupt:
        print("torvaapi: interrupted; the next run goes on", file=sys.stderr)
        return 130
    failed = sum(outcome.failed for outcome in outcomes)
    if not options.quiet:
        written, rows = sum(it.written for it in outcomes), sum(it.rows for it in outcomes)
        line = f"{len(outcomes):,} files: {written:,} partitions written, {rows:,} rows, {failed:,} failed"
        print("\r\x1b[K" * shown + line, file=sys.stderr)
    return 1 if failed else 0


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser("python -m torvaapi")
    command = parser.add_subparsers(required=True).add_parser(
        "to-parquet",
        help="symbol files as a Hive-partitioned Parquet dataset",
        description="Writes OUT/SECTION/date=YYYY-MM-DD/file=NAME/part-0.parquet for each file and section. A run that was "
        "stopped goes on where it was: partitions whose source has not changed are left as they are. "
        "Exit status: 0; 1 where a file could not be converted, the others are; 2 for wrong arguments.",
    )
    command.add_argument("files", nargs="+", metavar="FILE", help="paths, quoted globs (** too) or URLs of fsspec")
    command.add_argument("out", metavar="OUT", help="directory, or URL of fsspec")
    command.add_argument("--sections", default="symbols", help="names with commas, or all; default: symbols")
    command.add_argument("--columns", help="fields of the symbols, with commas; default: all")
    command.add_argument("--dictionary", help="names and types of the fields; default: FILE.fields.json")
    command.add_argument("--encoding", default="utf-8", help="character set of the texts; default: utf-8")
    command.add_argument("--date-pattern", default=DATE_PATTERN, help="regular expression with groups year, month, day")
    command.add_argument("--date-from", choices=("name", "modified"), default="name", help="default: name, with directories")
    command.add_argument(
        "--damaged", choices=DAMAGED, default="fail", help="what a damaged file is: an error, left out, or kept in part"
    )
    command.add_argument("--jobs", type=int, default=1, metavar="N", help="processes; default: 1")
    command.add_argument("--quiet", action="store_true", help="messages alone, no progress and no summary")
    return parser


if __name__ == "__main__":
    sys.exit(main())
