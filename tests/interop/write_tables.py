#!/usr/bin/python3
"""Writes tables with python3-dbf for the engine to read, then dumps them as python3-dbf
reads them back (the dump of dbfread_dump.py, one "T <file name>" per table).

Usage: write_tables.py DIR

  db3.dbf    dBASE III with a .DBT memo file
  fox.dbf    FoxPro 2 with a .FPT memo file and a General field
  fox30.dbf  the later FoxPro table: memo, General, I, B, Y, T and two nullable fields

The nullable fields come first: this python3-dbf numbers null bits by field position, which
agrees with the format (bits counted over the nullable fields only) exactly then.
"""
import datetime
import os
import sys

import dbf

sys.dont_write_bytecode = True  # no cache files in the source tree
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import dbfread_dump  # noqa: E402


def text(n):
    """n bytes of printable text with line breaks (a dBASE III memo cannot hold 0x1A)."""
    line = 'The quick brown fox jumps over the lazy dog. 0123456789\r\n'
    return (line * (n // len(line) + 1))[:n]


def binary(n):
    return bytes((i * 37 + 11) % 256 for i in range(n))


D = datetime.date
TABLES = [
    ('db3.dbf', 'db3', 'NAME C(20); AMOUNT N(10,2); COUNT N(6,0); BORN D; OK L; NOTES M', [
        ('Alpha', 12.35, -42, D(2024, 3, 15), True, 'Hello, memo'),
        None,
        ('Caf\u00e9', -0.5, 0, D(1999, 12, 31), False, text(510)),
        ('Gamma', 99999.99, 999999, D(1900, 1, 1), True, text(512)),
        ('Delta', -9999.99, -99999, D(2000, 2, 29), False, text(100 * 1024)),
    ]),
    ('fox.dbf', 'fp',
     'NAME C(20); AMOUNT N(10,2); RATIO F(12,4); BORN D; OK L; NOTES M; PIC G', [
         ('Alpha', 12.35, 3.1416, D(2024, 3, 15), True, 'Hello, memo', binary(10)),
         None,
         ('Beta', -0.5, -1234.5678, D(1999, 12, 31), False, text(56), binary(120)),
         ('Gamma', 0, 0.0001, D(1900, 1, 1), True, text(300), b''),
         ('Delta', 1, -0.0001, D(2000, 2, 29), False, text(100 * 1024), binary(5000)),
     ]),
    ('fox30.dbf', 'vfp',
     'NAME C(20) null; AMOUNT N(10,2) null; RATIO F(12,4); BORN D; OK L; NOTES M; PIC G; '
     'CNT I; DBL B; MONEY Y; STAMP T', [
         ('Alpha', 12.35, 3.1416, D(2024, 3, 15), True, 'Hello, memo', binary(10), 7, 2.5,
          1234.5, datetime.datetime(2024, 3, 15, 13, 45, 30)),
         None,
         (dbf.Null, dbf.Null, -1234.5678, D(1999, 12, 31), False, text(120), binary(56),
          -2147483647, -1e300, -0.25, datetime.datetime(1900, 1, 1, 0, 0, 1)),
         ('Gamma', dbf.Null, 0.0001, D(2000, 2, 29), True, text(100 * 1024), binary(3000),
          2147483646, 0.1, 0, datetime.datetime(2000, 1, 1)),
     ]),
]


def main():
    folder = sys.argv[1]
    out = []
    for name, kind, fields, rows in TABLES:
        path = os.path.join(folder, name)
        table = dbf.Table(path, fields, dbf_type=kind, codepage='cp1252')
        table.open(dbf.READ_WRITE)
        for row in rows:
            table.append(row) if row else table.append()
        # The last record deleted: the engine must see its mark.
        dbf.delete(table[-1])
        table.close()
        lines = []
        dbfread_dump.dump_guarded(dbfread_dump.dump_dbf, path, lines)
        out += ['T\t' + name] + lines
    sys.stdout.write('\n'.join(out) + '\n')


if __name__ == '__main__':
    main()
