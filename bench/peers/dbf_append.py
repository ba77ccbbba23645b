#!/usr/bin/python3
"""Appends records to a new FoxPro table with python3-dbf and reports the rate.

Usage: dbf_append.py FOLDER RECORDS [EXTRAPOLATE_TO]

The table has the benchmark's ten fields (one record in ten fills the memo).
Values are fixed (a seeded generator), of the same widths as the engine's
benchmark, not byte-identical to them. The module is slow, so a run is
usually capped well below a million records and the time is scaled up; the
printed line says so.
"""
import datetime
import os
import random
import sys
import time

import dbf

FIELDS = ('NAME C(20); CITY C(30); AMOUNT N(12,2); QTY N(8,0); BORN D; ACTIVE L; '
          'NOTES M; CODE C(10); RATE N(10,3); SINCE D')


def values(count):
    rng = random.Random(12345)
    syllables = ['ka', 'lo', 'mi', 'ne', 'ru', 'sa', 'to', 'vi', 'be', 'da', 'fu', 'go']
    names = [''.join(rng.choice(syllables) for _ in range(3 + i % 4)).capitalize()
             for i in range(256)]
    memos = [' '.join(names[(i * 11 + k) % 256] + ' said hello.' for k in range(2 + i * 3 % 40))
             for i in range(64)]
    base = datetime.date(1950, 1, 1)
    for i in range(count):
        yield (names[rng.randrange(256)][:20],
               ('City of ' + names[rng.randrange(256)])[:30],
               rng.randrange(-9999999, 10000000) / 100.0,
               rng.randrange(10000000),
               base + datetime.timedelta(days=rng.randrange(25000)),
               rng.random() < 0.5,
               memos[rng.randrange(64)] if i % 10 == 3 else '',
               'X%04d' % rng.randrange(10000),
               rng.randrange(1000000) / 1000.0,
               base + datetime.timedelta(days=rng.randrange(25000)))


def main():
    folder, count = sys.argv[1], int(sys.argv[2])
    target = int(sys.argv[3]) if len(sys.argv) > 3 else count
    os.makedirs(folder, exist_ok=True)
    path = os.path.join(folder, 'pyappend.dbf')
    for ext in ('.dbf', '.fpt'):
        if os.path.exists(path[:-4] + ext):
            os.remove(path[:-4] + ext)
    rows = list(values(count))
    start = time.perf_counter()
    cpu_start = time.process_time()
    table = dbf.Table(path, FIELDS, dbf_type='fp')
    table.open(mode=dbf.READ_WRITE)
    for row in rows:
        table.append(row)
    table.close()
    seconds = time.perf_counter() - start
    cpu = time.process_time() - cpu_start
    line = 'python3-dbf append: %d records in %.2f s wall, %.2f s CPU (%.1f us/record wall)' % (
        count, seconds, cpu, seconds / count * 1e6)
    if target != count:
        line += '; extrapolated to %d records: %.1f s wall, %.1f s CPU' % (
            target, seconds / count * target, cpu / count * target)
    print(line)


if __name__ == '__main__':
    main()
