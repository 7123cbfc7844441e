#!/usr/bin/env python3
"""Writes the number corpus of the benchmarks: telephone numbers as people dial, type and
receive them on a phone in Munich (country 49, national prefix 0, area 89, access code 0,
international prefix 00) and on a phone in New York (country 1, area 212, access code 9,
international prefix 011), each in national, international, access-code and local form,
with the spacing and punctuation people use.

The output is deterministic (fixed seed) and committed as numbers.tsv, so the benchmarks
need nothing but the file:  python3 bench/corpus/make_corpus.py > bench/corpus/numbers.tsv
Columns: region (DE or US), form (national, international, access, local), number."""

import random

PER_FORM = 160

rng = random.Random(20261122)

# German area codes (without the national prefix) with the subscriber lengths used there,
# and mobile prefixes; the own area 89 appears more often, as it does on a Munich phone.
DE_AREAS = [("89", (7, 8))] * 4 + [
    ("30", (7, 8)), ("40", (7, 8)), ("69", (7, 8)), ("221", (6, 7)), ("211", (6, 7)),
    ("711", (6, 7)), ("911", (6, 7)), ("351", (6, 7)), ("341", (6, 7)), ("511", (6, 7)),
    ("6221", (5, 7)), ("7531", (5, 6)), ("8131", (5, 6)), ("8821", (5, 6)), ("35204", (4, 5)),
]
DE_MOBILE = ["151", "152", "157", "160", "162", "163", "170", "171", "172", "173", "175", "176", "177", "179"]

# Foreign numbers as country code and national significant number groups.
FOREIGN = [
    ("44", ["20", "4d", "4d"]), ("44", ["161", "3d", "4d"]), ("33", ["1", "2d", "2d", "2d", "2d"]),
    ("43", ["1", "7d"]), ("41", ["44", "3d", "4d"]), ("39", ["06", "8d"]), ("34", ["91", "3d", "4d"]),
    ("31", ["20", "3d", "4d"]), ("48", ["22", "3d", "4d"]), ("81", ["3", "4d", "4d"]),
    ("86", ["10", "4d", "4d"]), ("61", ["2", "4d", "4d"]), ("1", ["212", "3d", "4d"]),
    ("1", ["415", "3d", "4d"]), ("49", ["30", "8d"]), ("49", ["89", "7d"]),
]

US_AREAS = ["212"] * 4 + ["646", "718", "917", "347", "201", "973", "415", "312", "617", "202",
                          "305", "213", "404", "713", "206", "512"]
US_TOLL_FREE = ["800", "888", "877", "866"]
VANITY = ["FLOWERS", "GOFEDEX", "CALLATT", "NEWCARS", "TAXICAB", "PIZZANY"]


def digits(count, first="123456789"):
    return rng.choice(first) + "".join(rng.choice("0123456789") for _ in range(count - 1))


def expand(groups):
    return [g if not g.endswith("d") else digits(int(g[:-1]), "0123456789" if g != groups[0] else "123456789")
            for g in groups]


def de_subscriber():
    area, (low, high) = rng.choice(DE_AREAS)
    return area, digits(rng.randint(low, high), "2345679")


def de_mobile():
    return rng.choice(DE_MOBILE), digits(rng.choice((7, 8)), "0123456789")


def split_pairs(number):
    """Subscriber numbers written in pairs from the right, as often in Germany: 123 45 67."""
    head = 3 if len(number) % 2 else 2
    return " ".join([number[:head]] + [number[i:i + 2] for i in range(head, len(number), 2)])


def de_national():
    area, subscriber = de_mobile() if rng.random() < 0.25 else de_subscriber()
    style = rng.randrange(6)
    return ["0{} {}", "0{}/{}", "(0{}) {}", "0{}-{}", "0{}{}", "0{} {}"][style].format(
        area, split_pairs(subscriber) if style == 5 else subscriber)


def foreign_international(own):
    country, groups = rng.choice([entry for entry in FOREIGN if entry[0] != own])
    return country, expand(groups)


def de_international():
    if rng.random() < 0.5:
        area, subscriber = de_mobile() if rng.random() < 0.2 else de_subscriber()
        style = rng.randrange(5)
        return ["+49 {} {}", "+49 (0){} {}", "+49 ({}) {}", "0049 {} {}", "+49{}{}"][style].format(area, subscriber)
    country, groups = foreign_international("49")
    style = rng.randrange(3)
    return ["+{} {}", "00{} {}", "+{}-{}"][style].format(country, (" " if style != 2 else "-").join(groups))


def de_access():
    kind = rng.randrange(4)
    if kind == 0:
        area, subscriber = de_subscriber()
        return rng.choice(["0 0{} {}", "0-0{}-{}", "00{} {}"]).format(area, subscriber)
    if kind == 1:
        area, subscriber = de_mobile()
        return rng.choice(["0 0{} {}", "00{}{}"]).format(area, subscriber)
    if kind == 2:
        country, groups = foreign_international("49")
        return rng.choice(["0 00{} {}", "000{} {}"]).format(country, " ".join(groups))
    area, subscriber = de_subscriber()
    return "0 0049 {} {}".format(area, subscriber)


def de_local():
    subscriber = digits(rng.choice((5, 6, 7, 7, 8, 8)), "2345679")
    return rng.choice([subscriber, subscriber, split_pairs(subscriber)])


def us_line():
    return digits(3, "23456789"), digits(4, "0123456789")


def us_national():
    exchange, line = us_line()
    if rng.random() < 0.12:
        prefix = rng.choice(US_TOLL_FREE)
        if rng.random() < 0.4:
            return "1-{}-{}".format(prefix, rng.choice(VANITY))
        return "1-{}-{}-{}".format(prefix, exchange, line)
    area = rng.choice(US_AREAS)
    style = rng.randrange(6)
    return ["({}) {}-{}", "{}-{}-{}", "{}.{}.{}", "1 {} {} {}", "1 ({}) {}-{}", "{}{}{}"][style].format(
        area, exchange, line)


def us_international():
    if rng.random() < 0.5:
        area = rng.choice(US_AREAS)
        exchange, line = us_line()
        return rng.choice(["+1 {} {} {}", "+1 ({}) {}-{}", "+1-{}-{}-{}", "+1{}{}{}"]).format(area, exchange, line)
    country, groups = foreign_international("1")
    return rng.choice(["+{} {}", "011 {} {}", "011{}{}"]).format(country, " ".join(groups))


def us_access():
    kind = rng.randrange(4)
    exchange, line = us_line()
    if kind == 0:
        return rng.choice(["9 {} {} {}", "9-{}-{}-{}"]).format(rng.choice(US_AREAS), exchange, line)
    if kind == 1:
        return rng.choice(["9 1 {} {} {}", "9-1-{}-{}-{}"]).format(rng.choice(US_AREAS + US_TOLL_FREE), exchange, line)
    if kind == 2:
        return "9 {}-{}".format(exchange, line)
    country, groups = foreign_international("1")
    return "9 011 {} {}".format(country, " ".join(groups))


def us_local():
    exchange, line = us_line()
    return rng.choice(["{}-{}", "{} {}", "{}{}", "{}.{}"]).format(exchange, line)


FORMS = [
    ("DE", "national", de_national), ("DE", "international", de_international),
    ("DE", "access", de_access), ("DE", "local", de_local),
    ("US", "national", us_national), ("US", "international", us_international),
    ("US", "access", us_access), ("US", "local", us_local),
]

for region, form, make in FORMS:
    for _ in range(PER_FORM):
        print("{}\t{}\t{}".format(region, form, make()))
