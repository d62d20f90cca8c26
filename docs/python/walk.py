# %% [markdown]
# # A walk through the sample
#
# From a symbol file to pictures, and to the next day's file. The cells run in Jupyter and in editors that know `# %%`,
# in a directory with `instruments.sym` and `instruments.sym.fields.json`; `./dev demo` makes the file from `samples/`.

# %%
import datetime

import matplotlib.pyplot as plt
import polars as pl

import torvaapi

file = torvaapi.open("instruments.sym")
file

# %% [markdown]
# ## What is in the file
#
# The section directory is a table like any other. Nearly all of this file is symbols.

# %%
sections = file.sections.to_polars().sort("size")
figure, axes = plt.subplots(figsize=(6.4, 4.2))
axes.barh(sections["title"], sections["size"], color="tab:blue")
axes.set(xscale="log", title="Bytes of each section")
axes.tick_params(axis="y", labelsize=7)
figure.savefig("sections.svg")

# %% [markdown]
# ## The symbols as a data frame

# %%
symbols = file.symbols().to_polars()
symbols.head()

# %% [markdown]
# Venues are codes; their names are in another section. A join needs no preparation. Symbols without a venue are left out.

# %%
exchanges = file.table("exchanges").to_polars().select(venue="text1", exchange="text2")
venues = (
    symbols.with_columns(pl.col("venue").cast(pl.String))
    .join(exchanges, on="venue")
    .group_by("exchange")
    .len()
    .sort("len", "exchange", descending=[True, False])
)
figure, axes = plt.subplots()
top = venues.head(10).reverse()
axes.bar_label(axes.barh(top["exchange"], top["len"], color="tab:blue"), padding=3)
axes.set(title="Symbols by venue, the first ten")
figure.savefig("venues.svg")

# %% [markdown]
# The first day with data of the symbols that have one of their own: the others take the default of the file, 2000-01-01.
# `own=True` adds a column for each field that tells both apart.

# %%
days = file.symbols(["first_tick"], own=True).to_polars().filter("first_tick.own")
years = days.group_by(pl.col("first_tick").dt.year().alias("year")).len().sort("year")
figure, axes = plt.subplots()
axes.bar(years["year"], years["len"], color="tab:blue")
axes.set(title=f"First day with data, {len(days):,} of {len(symbols):,} symbols")
figure.savefig("first-days.svg")

# %% [markdown]
# ## The next day
#
# One symbol is removed, ten get another currency, one is new. `write` copies the default fields and all other sections
# from the old file; `diff` finds the changes.

# %%
tomorrow = (
    symbols.filter(pl.col("symbol") != "ZURN.CH-CHF")
    .with_columns(pl.col("currency").cast(pl.String))
    .with_columns(
        pl.when(pl.int_range(pl.len()) < 10).then(pl.lit("CNY")).otherwise("currency").alias("currency")
    )
)
new = tomorrow.tail(1).with_columns(symbol=pl.lit("NEW.US-USD"), first_tick=pl.lit(datetime.date(2026, 3, 2)))
torvaapi.write("tomorrow.sym", pl.concat([tomorrow, new], how="diagonal_relaxed"), sections=file)

changes = torvaapi.diff(file, "tomorrow.sym").to_polars()
per_record = changes.unique(["change", "key"]).group_by("change").len().sort("change")
print(per_record)
figure, axes = plt.subplots(figsize=(6.4, 2))
axes.bar_label(axes.barh(per_record["change"], per_record["len"], color="tab:blue"), padding=3)
axes.set(title="Symbols from one day to the next")
figure.savefig("changes.svg")
