#!/usr/bin/python3
"""Reads every record of a table with dbfread (memos included) and prints the count."""
import sys

import dbfread


def main():
    count = 0
    touched = 0
    for record in dbfread.DBF(sys.argv[1]):
        for value in record.values():
            touched += value is not None
        count += 1
    print('dbfread: %d records, %d values' % (count, touched))


if __name__ == '__main__':
    main()
