#!/usr/bin/env python3
"""Makes instruments.json and fields.json from the tables in data/. The build does not need it: both are committed.

    python3 samples/make_samples.py
"""
import json
import pathlib

HERE = pathlib.Path(__file__).parent

# id: name, type, tag
FIELDS = {
    1: ("name", "text", 7),
    2: ("description", "text", 7),
    3: ("venue", "text", 7),
    4: ("currency", "text", 7),
    5: ("first_tick", "date", 5),
    6: ("country", "unsigned", 4),
    7: ("currency_number", "unsigned", 4),
    8: ("row", "unsigned", 9),
    9: ("kind", "unsigned", 1),
}

# What a symbol has when its record says nothing.
DEFAULTS = {"currency": "USD", "first_tick": "2000-01-01", "currency_number": 840}

# Suffixes that are not countries: id in section 16, what they mean, kind. Kind 1 is a listing in a country, 5 is
# a symbol without suffix: a pair of currencies, metals or coins.
OTHER_VENUES = {"CMD": (1001, "commodities", 2), "FN": (1002, "funds", 3), "IDX": (1003, "indices", 4)}


def table(name):
    lines = (HERE / "data" / name).read_text(encoding="utf-8").splitlines()
    head = lines[0].split("\t")
    return [dict(zip(head, line.split("\t"))) for line in lines[1:]]


def symbol(row, number, countries, currencies):
    venue, currency = row["venue"], row["currency"]
    fields = {"name": row["name"], "description": row["description"]}
    kind = 5
    if venue:
        fields["venue"] = venue
        kind = OTHER_VENUES[venue][2] if venue in OTHER_VENUES else 1
    if venue in countries:
        fields["country"] = int(countries[venue]["numeric"])
    if currency != DEFAULTS["currency"]:
        fields["currency"] = currency
        # Not all are in ISO 4217 (CNH, GBX, USX): no number then, and not the default one either.
        fields["currency_number"] = int(currencies[currency]["numeric"]) if currency in currencies else None
    if row["first_tick"] != DEFAULTS["first_tick"]:
        fields["first_tick"] = row["first_tick"]
    fields["row"] = number
    fields["kind"] = kind
    return {"symbol": row["code"], "fields": fields}


def venues(rows, countries):
    found = sorted({row["venue"] for row in rows if row["venue"]})
    elements = []
    for venue in found:
        if venue in OTHER_VENUES:
            elements.append({"id": OTHER_VENUES[venue][0], "text1": venue, "text2": OTHER_VENUES[venue][1]})
        else:
            elements.append({"id": int(countries[venue]["numeric"]), "text1": venue, "text2": countries[venue]["name"]})
    return elements


def show_record(text, size):
    return text.ljust(size, ".").encode("ascii").hex()


def show_names(text, count):
    return [{"id": i, "name": f"Show {text} {i}"} for i in range(1, count + 1)]


def show_sections():
    """Sections for which no facts are available. Their texts say so."""
    return {
        "jump-prices": [
            {"id": g, "records": [show_record(f"Show jump price {g}.{r}", 24) for r in range(1, 4)]} for g in (1, 2)],
        "broker-info": [show_record(f"Show broker {i}", 30) for i in range(1, 6)],
        "eidr-quick-groups": [
            {"name": f"Show quick group {g}", "fields": {"name": f"Show entry {g}", "row": g}} for g in (1, 2, 3)],
        "level2-sections": [
            {"id": g, "items": [
                {"lead": i, "text1": f"Show item {g}.{i}", "text2": f"Show detail {g}.{i}"} for i in range(1, 4)]}
            for g in (1, 2)],
        "fund-companies": show_names("fund company", 3),
        "section-groups": [{"id": 1, "members": [1, 2]}, {"id": 2, "members": [3]}, {"id": 3, "members": []}],
        "issue-companies": show_names("issue company", 3),
        "objects": [
            {"type": t, "sources": [
                {"source": f"Show source {t}.{s}", "symbols": [
                    {"byte": 1, "symbol": f"Show symbol {t}.{s}.1", "data": [
                        {"byte": 1, "data": "Show data a"}, {"byte": 2, "data": "Show data b"}]}]}
                for s in (1, 2)]}
            for t in (1, 2)],
        "foreign-trade": [
            {"id": h, "name": f"Show head {h}", "items": [
                {"tag": 1, "names": [f"Show name {h}.1", f"Show name {h}.2"]}, {"tag": 2, "names": []}]}
            for h in (1, 2)],
        "global-related": [
            {"id": h, "lists": [{"items": [
                {"tag": 1, "name": f"Show related {h}.1"}, {"tag": 2, "name": f"Show related {h}.2"}]}]}
            for h in (1, 2)],
        "real-delay": [{"first": 1, "second": 101}, {"first": 2, "second": 102}],
        "level2-eod-items": [
            {"ids": [1], "first": [1, 2], "second": [3], "third": []},
            {"ids": [2], "first": [4], "second": [], "third": [5, 6]}],
        "futures-sections": show_names("futures section", 3),
        "exchange-support": [{"ids": [1], "items": [1, 2]}, {"ids": [2], "items": [1, 2, 3]}],
        "futures-class-types": show_names("futures class type", 3),
    }


def lines(name, elements):
    body = ",\n".join("  " + json.dumps(e, ensure_ascii=False, separators=(",", ":")) for e in elements)
    return f'{json.dumps(name)}: [\n{body}\n]'


def main():
    instruments = table("instruments.tsv")
    countries = {row["alpha_2"]: row for row in table("countries.tsv")}
    currencies = {row["alpha_3"]: row for row in table("currencies.tsv")}

    dictionary = {str(i): {"name": n, "type": t, "tag": tag} for i, (n, t, tag) in FIELDS.items()}
    entries = ",\n".join(f"  {json.dumps(i)}: {json.dumps(d)}" for i, d in dictionary.items())
    (HERE / "fields.json").write_text("{\n" + entries + "\n}\n", encoding="utf-8")

    sections = {
        "symbols": [symbol(row, i, countries, currencies) for i, row in enumerate(instruments, 1)],
        "eidr-sections": [
            {"id": int(row["numeric"]), "text1": row["alpha_3"], "text2": row["name"]} for row in currencies.values()],
        "eidr-countries": [{"id": int(row["numeric"]), "name": row["name"]} for row in countries.values()],
        "exchanges": venues(instruments, countries),
        "fund-main-names": [
            {"id": i, "name": row["description"]} for i, row in enumerate(instruments, 1) if row["venue"] == "FN"],
        **show_sections(),
    }
    parts = ['"_comment": "Made by make_samples.py; README.md tells where the facts come from. Texts that begin '
             'with Show are made up."',
             '"dictionary": {\n' + entries + "\n}",
             f'"default-fields": {json.dumps(DEFAULTS)}']
    parts += [lines(name, elements) for name, elements in sections.items()]
    (HERE / "instruments.json").write_text("{\n" + ",\n".join(parts) + "\n}\n", encoding="utf-8")


if __name__ == "__main__":
    main()
