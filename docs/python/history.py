# %% [markdown]
# # Ten days of a market
#
# From daily symbol files to a Parquet dataset, and to what changed when. The cells run in Jupyter and in editors that know
# `# %%`, in a directory with `instruments.sym` and `instruments.sym.fields.json`; `./dev demo` makes the file from `samples/`.

# %%
import datetime
import pathlib

import duckdb
import matplotlib.pyplot as plt
import polars as pl

import torvaapi
from torvaapi.archive import to_parquet

# %% [markdown]
# ## An archive
#
# Real archives grow by a file a day. Here ten days are made from the sample: each day a symbol is listed and another one is
# delisted, and some names change.

# %%
today = torvaapi.open("instruments.sym")
symbols = today.symbols().to_polars().with_columns(pl.col("currency", "venue").cast(pl.String)).with_row_index("n")
days = [datetime.date(2026, 3, day) for day in (2, 3, 4, 5, 6, 9, 10, 11, 12, 13)]
for at, day in enumerate(days):
    listed = (pl.col("n") >= 10) | (pl.col("n") <= at)
    delisted = (pl.col("n") >= 10) & (pl.col("n") - 10 < at)
    renamed = pl.col("n").cast(pl.Int64) ** 2 % 401 < at**2
    name = pl.when(renamed).then(pl.lit("New ") + pl.col("name")).otherwise("name")
    path = pathlib.Path(f"archive/{day}/market.sym")
    path.parent.mkdir(parents=True)
    torvaapi.write(path, symbols.with_columns(name=name).filter(listed & ~delisted).drop("n"), sections=today)

to_parquet(["archive/*/*.sym"], "out", dictionary="instruments.sym.fields.json")

# %% [markdown]
# ## When symbols came and went
#
# `history` reads the rows of some symbols on all days, from the symbol files or, as here, from the dataset.

# %%
some = symbols["symbol"].head(20)
rows = pl.from_arrow(torvaapi.history("out", some.to_list(), ["name"]))
lives = rows.group_by("symbol").agg(first=pl.col("date").min(), last=pl.col("date").max()).sort("first", "last", "symbol")
figure, axes = plt.subplots(figsize=(6.4, 4.2))
length = lives["last"] - lives["first"] + datetime.timedelta(days=1)
axes.barh(lives["symbol"], length, left=lives["first"], height=0.6, color="tab:blue")
axes.set(title="First and last day of twenty symbols")
axes.tick_params(labelsize=7)
figure.autofmt_xdate()
figure.savefig("lives.svg")

# %% [markdown]
# ## When a field changed
#
# `changes=True` keeps the days on which a column differs from the day before. For all symbols, SQL over the dataset does it.

# %%
one = symbols.filter(pl.col("n") == 401)["symbol"][0]
print(pl.from_arrow(torvaapi.history("out", one, ["name"], changes=True)))
renamings = duckdb.sql("""
    SELECT date, count(*) AS renamed FROM (
        SELECT date, name, lag(name) OVER (PARTITION BY symbol ORDER BY date) AS before
        FROM read_parquet('out/symbols/**/*.parquet', hive_partitioning = true))
    WHERE name <> before GROUP BY date ORDER BY date
""").pl()
figure, axes = plt.subplots(figsize=(6.4, 2.4))
axes.bar(renamings["date"], renamings["renamed"], color="tab:blue")
axes.set(title="Names that changed, by day")
axes.tick_params(labelsize=7)
figure.autofmt_xdate()
figure.savefig("renamings.svg")
