"""The index benchmarks of bench_index.cpp, run by SQLite on the same rows.

Reads the CSV that `vgx dump --csv PEOPLE.DBF` writes, loads it into a fresh
database (not timed), then times:
  build   CREATE INDEX on upper(name), amount and the date as YYYYMMDD;
  seek    random lookups `WHERE upper(name) = ?` through that index, one
          statement execution each from Python (the figure includes the
          Python call, about a microsecond; the same loop on `SELECT 1` is
          printed as `call_us` for reference);
  skip    every row in upper(name) order, counted inside SQLite;
  append  a new table with the three indexes, then 100,000 inserted rows in
          one transaction.
Usage: /usr/bin/python3 sqlite_index.py PEOPLE.CSV WORKDIR [SEEKS]
"""
import csv
import os
import random
import sqlite3
import sys
import time


def main():
    source, work = sys.argv[1], sys.argv[2]
    seeks = int(sys.argv[3]) if len(sys.argv) > 3 else 100000
    path = os.path.join(work, "people.db")
    if os.path.exists(path):
        os.remove(path)
    db = sqlite3.connect(path)
    db.execute("PRAGMA journal_mode=OFF")
    db.execute("PRAGMA synchronous=OFF")
    with open(source, newline="", encoding="latin-1") as f:
        reader = csv.reader(f)
        next(reader)
        rows = [(r[0], float(r[1]), r[2]) for r in reader]
    db.execute("CREATE TABLE people(name TEXT, amount REAL, birth TEXT)")
    db.executemany("INSERT INTO people VALUES (?, ?, ?)", rows)
    db.commit()

    indexes = [
        "CREATE INDEX {0}_name ON {0}(upper(name))",
        "CREATE INDEX {0}_amount ON {0}(amount)",
        "CREATE INDEX {0}_birth ON {0}(replace(birth, '-', ''))",
    ]
    t0 = time.perf_counter()
    for sql in indexes:
        db.execute(sql.format("people"))
    db.commit()
    build_s = time.perf_counter() - t0

    rng = random.Random(12345)
    keys = [rows[rng.randrange(len(rows))][0].upper() for _ in range(seeks)]
    lookup = "SELECT rowid FROM people WHERE upper(name) = ? LIMIT 1"
    plan = " ".join(str(r[-1]) for r in db.execute("EXPLAIN QUERY PLAN " + lookup, ("X",)))
    found = 0
    t0 = time.perf_counter()
    for k in keys:
        found += db.execute(lookup, (k,)).fetchone() is not None
    seek_us = (time.perf_counter() - t0) / seeks * 1e6
    t0 = time.perf_counter()
    for k in keys:
        db.execute("SELECT 1").fetchone()
    call_us = (time.perf_counter() - t0) / seeks * 1e6

    walk = "SELECT count(*) FROM (SELECT rowid FROM people ORDER BY upper(name) LIMIT -1)"
    walk_plan = " ".join(str(r[-1]) for r in db.execute("EXPLAIN QUERY PLAN " + walk))
    t0 = time.perf_counter()
    walked = db.execute(walk).fetchone()[0]
    skip_s = time.perf_counter() - t0

    t0 = time.perf_counter()
    db.execute("CREATE TABLE appended(name TEXT, amount REAL, birth TEXT)")
    for sql in indexes:
        db.execute(sql.format("appended"))
    db.executemany("INSERT INTO appended VALUES (?, ?, ?)", rows[:100000])
    db.commit()
    append_s = time.perf_counter() - t0

    print(f"sqlite {sqlite3.sqlite_version}: records={len(rows)} build_s={build_s:.3f} "
          f"seeks={seeks} found={found} seek_us={seek_us:.2f} call_us={call_us:.2f} "
          f"walked={walked} skip_s={skip_s:.3f} append_100k_s={append_s:.3f}")
    print(f"  lookup plan: {plan}")
    print(f"  walk plan: {walk_plan}")


if __name__ == "__main__":
    main()
