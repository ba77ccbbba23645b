#!/usr/bin/python3
"""Dumps xBase tables as independent readers see them, for the engine's sample tests.

Usage: dbfread_dump.py SAMPLES_DIR [--dbf PATH]... [--bytes PATH]...
       dbfread_dump.py --read dbfread|dbf [--dbf-type TYPE] TABLE...

Every .dbf/.dbc below SAMPLES_DIR, in sorted order, as dbfread reads it; the tables named
with --dbf (paths relative to SAMPLES_DIR) as python3-dbf reads them instead, and those
named with --bytes straight from their bytes: the caller names the tables where dbfread
is known to be wrong, and says why. With --read, the tables named, by the reader named;
--dbf-type tells python3-dbf the kind of table ("clp": Clipper's, whose wide character
fields it does not find in a table marked 0x03 otherwise).

Output, tab-separated, one table after another:
  T  <path relative to SAMPLES_DIR, or as given with --read>
  E  <why dbfread cannot read the table>
  S  dbfread | dbf | bytes | none <why>    where the lines below come from
  H  <code page>                           dbfread: the code page mark as a number;
                                           python3-dbf: the name of the code page it uses
  F  <name hex> <type> <length> <decimals> one per field, file order
  R  L|D <field>...                        one per record: L live, D deleted
A field is "<raw hex>|<value>": the raw bytes exactly as stored, then the value the reader
decodes, compared with the engine's typed getters:
  n<float repr>  nnull   numbers (N F I B Y and the dBASE 7 binary numbers); nnull: blank
  lT lF l?               logicals; l?: not set
  d<CCYYMMDD>  d         dates; d alone: empty
  t<CCYYMMDDhh:mm:ss>  t date-times, cut to whole seconds; t alone: empty
  m<hex>  mnull          memo contents (text and binary alike, as bytes); mnull: no memo
  !<reason>              the reader refused this value
  0                      null (python3-dbf only: dbfread knows no nulls)
  -                      no value check (text fields: their raw bytes say everything)
Texts decode as latin-1, which maps every byte to one character and back, so text and
memo values stay byte-exact whatever code page the table declares.
"""
import argparse
import contextlib
import datetime
import io
import os
import struct
import sys

from dbfread import DBF, FieldParser
from dbfread.ifiles import ifind
from dbfread.memo import MemoFile, VFPMemoFile

ENCODING = 'latin-1'


def u16(b, at):
    return struct.unpack_from('<H', b, at)[0]


def u32(b, at):
    return struct.unpack_from('<I', b, at)[0]


class Invalid:
    def __init__(self, reason):
        self.reason = reason.replace('\t', ' ').replace('\n', ' ')


class Damaged(Exception):
    pass


def memo_from_bytes(memo, block, layout):
    """A memo as the format reference lays it out. 'dbt3': 512-byte blocks, the value runs
    to 0x1A. 'dbt4': the block size at header bytes 20-21; a value starting FF FF 08 00
    has a length word counting those 8 bytes (one without that header runs to 0x1A).
    'fpt': u16be block size at header byte 6, each value u32be type and length first."""
    if layout == 'fpt':
        size = struct.unpack_from('>H', memo, 6)[0] if len(memo) >= 8 else 64
    elif layout == 'dbt4' and len(memo) >= 22 and u16(memo, 20):
        size = u16(memo, 20)
    else:
        size = 512
    at = block * size
    if at < (512 if layout == 'fpt' else size):
        raise Damaged('memo block %d lies inside the memo header' % block)
    if at >= len(memo):
        raise Damaged('memo block %d lies past the end of the memo file' % block)
    if layout == 'fpt':
        return memo[at + 8:at + 8 + struct.unpack_from('>I', memo, at + 4)[0]]
    if layout == 'dbt4' and memo[at:at + 4] == b'\xff\xff\x08\x00':
        return memo[at + 8:at + u32(memo, at + 4)]
    end = memo.find(b'\x1a', at)
    return memo[at:end if end >= 0 else len(memo)]


class Dbt4Memo(MemoFile):
    """dbfread's own dBASE IV memo reader takes the length word for the data length
    although it counts the 8-byte block header (every value gains 8 bytes of what follows
    it), assumes 512-byte blocks and cuts values at 0x1F; python3-dbf does not read these
    tables at all. So dBASE IV memos come from the bytes."""

    def _init(self):
        with open(self.filename, 'rb') as fh:
            self.memo = fh.read()

    def __getitem__(self, index):
        if index <= 0:
            return None
        return memo_from_bytes(self.memo, index, 'dbt4')


class MemoFileMissing(Exception):
    pass


def missing_memo(index):
    if index > 0:
        raise MemoFileMissing('the memo file is missing')
    return None


class TolerantParser(FieldParser):
    """dbfread's own parser; a value it refuses is reported instead of ending the table,
    and so is a memo reference into a memo file that is missing (dbfread answers None)."""

    def __init__(self, table, memofile=None):
        FieldParser.__init__(self, table, memofile)
        if table.memofilename is None:
            self.get_memo = missing_memo

    def parse(self, field, data):
        try:
            return FieldParser.parse(self, field, data)
        except Exception as e:  # dbfread raises ValueError, IOError, struct.error
            return Invalid('%s: %s' % (type(e).__name__, e))

    # dbfread has no parsers for the later FoxPro blob and varbinary types: a blob is a
    # memo reference like M; varbinary bytes are kept as they are.
    parseW = FieldParser.parseM

    def parseQ(self, field, data):
        return bytes(data)


class Table(DBF):
    """dbfread with two gaps filled: a database container keeps its memos in a .DCT file
    of the FPT layout, which dbfread does not look for; and dBASE IV memos (Dbt4Memo)."""

    def _get_memofilename(self):
        if self.filename.lower().endswith('.dbc'):
            return ifind(self.filename, ext='.dct')
        return DBF._get_memofilename(self)

    def _open_memofile(self):
        name = self.memofilename
        if name and not self.raw:
            if name.lower().endswith('.dct'):
                return VFPMemoFile(name)
            if name.lower().endswith('.dbt') and self.header.dbversion != 0x83:
                return Dbt4Memo(name)
        return DBF._open_memofile(self)


def number(v):
    return 'nnull' if v is None else 'n' + repr(float(v))


def memo_token(v, encoding=ENCODING):
    if v is None:
        return 'mnull'
    if isinstance(v, str):
        v = v.encode(encoding)
    return 'm' + bytes(v).hex()


def value_token(ftype, v):
    if isinstance(v, Invalid):
        return '!' + v.reason
    if ftype in 'NFIYO+' or (ftype == 'B' and isinstance(v, (int, float))):
        return number(v)
    if ftype == 'L':
        return 'l' + ('?' if v is None else 'T' if v else 'F')
    if ftype == 'D':
        return 'd' + ('' if v is None else v.strftime('%Y%m%d'))
    if ftype in 'T@':
        return 't' + ('' if v is None else v.strftime('%Y%m%d%H:%M:%S'))
    if ftype in 'MGPWB':
        return memo_token(v)
    return '-'


def field_line(name, ftype, length, dec):
    return 'F\t%s\t%s\t%d\t%d' % (name.hex(), ftype, length, dec)


def dump_dbfread(path, out):
    # Records as lists: a table may name two fields alike.
    as_list = lambda items: [v for _, v in items]
    raw = Table(path, encoding=ENCODING, raw=True, parserclass=TolerantParser,
                ignore_missing_memofile=True, recfactory=as_list)
    parsed = Table(path, encoding=ENCODING, parserclass=TolerantParser,
                   ignore_missing_memofile=True, recfactory=as_list)
    out.append('S\tdbfread')
    out.append('H\t%d' % raw.header.language_driver)
    for f in raw.fields:
        out.append(field_line(f.name.encode(ENCODING), f.type, f.length, f.decimal_count))
    for flag, raws, values in (('L', raw.records, parsed.records),
                               ('D', raw.deleted, parsed.deleted)):
        for r, p in zip(raws, values):
            tokens = ['%s|%s' % (bytes(r[i]).hex(), value_token(f.type, p[i]))
                      for i, f in enumerate(raw.fields)]
            out.append('R\t%s\t%s' % (flag, '\t'.join(tokens)))


# ---- python3-dbf ---------------------------------------------------------------

def dump_dbf(path, out, dbf_type=None):
    import dbf
    # This python3-dbf prints diagnostics on standard output while it reads null flags.
    with contextlib.redirect_stdout(io.StringIO()):
        table = dbf.Table(path, dbf_type=dbf_type) if dbf_type else dbf.Table(path)
        table.open(dbf.READ_ONLY)
        try:
            meta = table._meta
            encoding = table.codepage.name
            lines = ['S\tdbf', 'H\t' + encoding]
            # Its field layouts: type, start, length, end, decimals, ...
            for name in meta.fields:
                d = meta[name]
                lines.append(field_line(name.encode(ENCODING), chr(d[0]), d[2], d[4]))
            for record in table:
                tokens = []
                for name in meta.fields:
                    d = meta[name]
                    raw = bytes(record._data[d[1]:d[3]])
                    ftype = chr(d[0])
                    if name not in meta.user_fields:
                        value = '-'
                    else:
                        try:
                            v = record[name]
                            if isinstance(v, type(dbf.Null)):
                                value = '0'
                            elif ftype in 'MGPW' or (ftype == 'B' and isinstance(v, (str, bytes))):
                                value = memo_token(v, encoding)
                            else:
                                value = value_token(ftype, v)
                        except Exception as e:
                            value = value_token(ftype, Invalid('%s: %s' % (type(e).__name__, e)))
                    tokens.append('%s|%s' % (raw.hex(), value))
                flag = 'D' if dbf.is_deleted(record) else 'L'
                lines.append('R\t%s\t%s' % (flag, '\t'.join(tokens)))
        finally:
            table.close()
    out.extend(lines)


# ---- from the bytes --------------------------------------------------------------
# Level-5 and level-7 headers as the format reference lays them out; records by the
# header's count, cut to the whole records present; any deletion byte but '*' is live.
# Memo files by the version byte: .FPT for FoxPro, .DBT otherwise.

def level7_value(ftype, data):
    if ftype in 'I+':
        return number(struct.unpack('>i', struct.pack('>I', struct.unpack('>I', data)[0]
                                                      ^ 0x80000000))[0])
    if ftype == 'O':
        u = struct.unpack('>Q', data)[0]
        u = u & 0x7FFFFFFFFFFFFFFF if u & 0x8000000000000000 else ~u & 0xFFFFFFFFFFFFFFFF
        return number(struct.unpack('>d', struct.pack('>Q', u))[0] if data.strip(b'\0') else 0)
    if ftype == '@':
        ms = struct.unpack('>d', data)[0]
        if ms <= 0:
            return 't'
        day, rest = divmod(int(ms), 86400000)
        when = datetime.datetime.fromordinal(day) + datetime.timedelta(milliseconds=rest)
        return 't' + when.strftime('%Y%m%d%H:%M:%S')
    return None


def dump_bytes(path, out):
    with open(path, 'rb') as fh:
        data = fh.read()
    level7 = data[0] & 0x07 == 4
    header_len, record_len, count = u16(data, 8), u16(data, 10), u32(data, 4)
    first, slot = (68, 48) if level7 else (32, 32)
    fields, at, pos = [], 1, first
    while pos + slot <= header_len and data[pos] not in (0x0D, 0):
        d = data[pos:pos + slot]
        if level7:
            name, ftype, length, dec = d[:32].split(b'\0')[0], chr(d[32]), d[33], d[34]
        else:
            name, ftype, length, dec = d[:11].split(b'\0')[0], chr(d[11]), d[16], d[17]
        fields.append((name, ftype, length, dec, at))
        at += length
        pos += slot
    later_fox = data[0] in (0x30, 0x31, 0x32)
    memo, layout = None, 'fpt' if later_fox or data[0] == 0xF5 else 'dbt3' if data[0] == 0x83 else 'dbt4'
    memo_path = ifind(path, ext='.fpt' if layout == 'fpt' else '.dbt')
    if memo_path:
        with open(memo_path, 'rb') as fh:
            memo = fh.read()
    # A record holds its fields, whatever a damaged header says its length is.
    record_len = max(record_len, at)
    lines = ['S\tbytes']
    lines += [field_line(name, ftype, length, dec) for name, ftype, length, dec, _ in fields]
    present = max(0, (len(data) - header_len) // record_len)
    for i in range(min(count, present)):
        rec = data[header_len + i * record_len:header_len + (i + 1) * record_len]
        tokens = []
        for name, ftype, length, dec, at in fields:
            raw = rec[at:at + length]
            value = level7_value(ftype, raw) if level7 else None
            is_memo = ftype in 'MGPW' or (ftype == 'B' and not later_fox)
            if value is None and is_memo:
                if later_fox:
                    block = u32(raw, 0)
                else:
                    digits = raw.strip(b' \0')
                    block = int(digits) if digits else 0
                try:
                    if block and memo is None:
                        raise Damaged('the memo file is missing')
                    value = memo_token(memo_from_bytes(memo, block, layout) if block else None)
                except Damaged as e:
                    value = '!' + str(e)
            tokens.append('%s|%s' % (raw.hex(), value or '-'))
        lines.append('\t'.join(['R', 'D' if rec[:1] == b'*' else 'L'] + tokens))
    out.extend(lines)


def dump_all(root, use_dbf, use_bytes):
    paths = []
    for folder, _, names in os.walk(root):
        paths += [os.path.join(folder, n) for n in names
                  if n.lower().endswith(('.dbf', '.dbc'))]
    out = []
    for path in sorted(paths):
        rel = os.path.relpath(path, root)
        out.append('T\t' + rel)
        table = []
        try:
            dump_dbfread(path, table)
        except Exception as e:
            out.append('E\t%s: %s' % (type(e).__name__, str(e).replace('\t', ' ')))
            table = ['S\tnone']
        other = dump_dbf if rel in use_dbf else dump_bytes if rel in use_bytes else None
        if other:
            table = []
            dump_guarded(other, path, table)
        out.extend(table)
    return out


def dump_guarded(dump, path, out):
    try:
        dump(path, out)
    except Exception as e:
        out[:] = ['S\tnone\t%s: %s' % (type(e).__name__, str(e).replace('\t', ' '))]


def dump_tables(reader, paths, dbf_type):
    out = []
    for path in paths:
        out.append('T\t' + path)
        table = []
        if reader == 'dbfread':
            dump_guarded(dump_dbfread, path, table)
        else:
            dump_guarded(lambda p, o: dump_dbf(p, o, dbf_type), path, table)
        out.extend(table)
    return out


def main():
    args = argparse.ArgumentParser()
    args.add_argument('root', nargs='*')
    args.add_argument('--read', choices=('dbfread', 'dbf'))
    args.add_argument('--dbf-type')
    args.add_argument('--dbf', action='append', default=[])
    args.add_argument('--bytes', action='append', default=[])
    opts = args.parse_args()
    if opts.read:
        out = dump_tables(opts.read, opts.root, opts.dbf_type)
    else:
        out = dump_all(opts.root[0], opts.dbf, opts.bytes)
    sys.stdout.write('\n'.join(out) + '\n')


if __name__ == '__main__':
    main()
