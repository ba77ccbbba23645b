#!/usr/bin/env python3
"""Generates framework/oem_ansi_tables.cpp: the byte tables of the OEM (code
page 437) and ANSI (code page 1252) conversions.

Each byte is read as its Unicode character in the source code page and written
in the target code page:
  1. the exact character when the target has it;
  2. otherwise the best fit: the explicit look-alike below when there is one
     (symbols, Greek letters, box drawing, shades and blocks), else the base
     letter of the character's canonical decomposition (or of a superscript
     form), else "?".
OEM bytes 0x00-0x1F and 0x7F are the control characters, as in the code page's
plain mapping, not the glyphs a screen shows for them.

Run:  python3 framework/tools/gen_oem_ansi_tables.py > framework/oem_ansi_tables.cpp
"""
import unicodedata

# Best fits into code page 1252, for the characters of code page 437 it lacks.
TO_ANSI = {
    0x20A7: ord('P'),   # peseta sign
    0x2310: 0xAC,       # reversed not sign -> not sign
    0x2591: 0xA6, 0x2592: 0xA6, 0x2593: 0xA6,  # shades -> broken bar
    0x2588: 0xA6, 0x258C: 0xA6, 0x2590: 0xA6,  # full, left and right half blocks
    0x2584: ord('_'),   # lower half block
    0x2580: 0xAF,       # upper half block -> macron
    0x25A0: 0xA6,       # black square
    # Vertical lines, alone or with a branch to one side: broken bar.
    0x2502: 0xA6, 0x2524: 0xA6, 0x2561: 0xA6, 0x2562: 0xA6, 0x2563: 0xA6,
    0x2551: 0xA6, 0x255E: 0xA6, 0x255F: 0xA6, 0x2560: 0xA6,
    # Horizontal lines, alone or with a branch up or down: hyphen.
    0x2500: ord('-'), 0x2550: ord('-'), 0x252C: ord('-'), 0x2534: ord('-'),
    0x2564: ord('-'), 0x2565: ord('-'), 0x2566: ord('-'), 0x2567: ord('-'),
    0x2568: ord('-'), 0x2569: ord('-'),
    # Corners, crossings and left tees: plus.
    0x250C: ord('+'), 0x2510: ord('+'), 0x2514: ord('+'), 0x2518: ord('+'),
    0x251C: ord('+'), 0x253C: ord('+'), 0x2552: ord('+'), 0x2553: ord('+'),
    0x2554: ord('+'), 0x2555: ord('+'), 0x2556: ord('+'), 0x2557: ord('+'),
    0x2558: ord('+'), 0x2559: ord('+'), 0x255A: ord('+'), 0x255B: ord('+'),
    0x255C: ord('+'), 0x255D: ord('+'), 0x256A: ord('+'), 0x256B: ord('+'),
    0x256C: ord('+'),
    # Greek letters and mathematical signs: the Latin look-alike.
    0x03B1: ord('a'), 0x0393: ord('G'), 0x03C0: ord('p'), 0x03A3: ord('S'),
    0x03C3: ord('s'), 0x03C4: ord('t'), 0x03A6: ord('F'), 0x0398: ord('T'),
    0x03A9: ord('O'), 0x03B4: ord('d'), 0x03C6: ord('f'), 0x03B5: ord('e'),
    0x221E: ord('8'), 0x2229: ord('n'), 0x2261: ord('='), 0x2264: ord('='),
    0x2265: ord('='), 0x2320: ord('('), 0x2321: ord(')'),
    0x2248: 0x98,       # almost equal to -> small tilde
    0x2219: 0xB7,       # bullet operator -> middle dot
    0x221A: ord('v'),   # square root
}

# Best fits into code page 437, for the characters of code page 1252 it lacks
# and that have no base letter. Symbols that code page 437 shows in its
# control range (section, pilcrow, bullet, sun-like currency sign) go there.
TO_OEM = {
    0x20AC: ord('E'),   # euro sign
    0x201A: ord(','), 0x201E: ord('"'), 0x2026: ord('.'),
    0x2020: ord('+'), 0x2021: ord('+'), 0x02C6: ord('^'), 0x2030: ord('%'),
    0x2039: ord('<'), 0x203A: ord('>'), 0x0152: ord('O'), 0x0153: ord('o'),
    0x2018: ord("'"), 0x2019: ord("'"), 0x201C: ord('"'), 0x201D: ord('"'),
    0x2022: 0x07,       # bullet
    0x2013: ord('-'), 0x2014: ord('-'), 0x02DC: ord('~'), 0x2122: ord('T'),
    0x00A4: 0x0F,       # currency sign
    0x00A6: ord('|'),   # broken bar
    0x00A7: 0x15,       # section sign
    0x00B6: 0x14,       # pilcrow sign
    0x00A8: ord('"'), 0x00A9: ord('c'), 0x00AD: ord('-'), 0x00AE: ord('r'),
    0x00AF: ord('-'), 0x00B4: ord("'"), 0x00B8: ord(','), 0x00D7: ord('x'),
    0x00D0: ord('D'), 0x00F0: ord('d'), 0x00D8: ord('O'), 0x00F8: ord('o'),
}


def decode(byte, codepage):
    try:
        return ord(bytes([byte]).decode(codepage))
    except UnicodeDecodeError:
        return byte  # undefined bytes stand for the C1 control of the same number


def encode(char, codepage):
    try:
        return chr(char).encode(codepage)[0]
    except UnicodeEncodeError:
        return None


def base_letter(char, codepage):
    decomposition = unicodedata.decomposition(chr(char)).split()
    if not decomposition:
        return None
    if decomposition[0].startswith('<'):
        if decomposition[0] not in ('<super>', '<sub>') or len(decomposition) != 2:
            return None
        decomposition = decomposition[1:]
    base = int(decomposition[0], 16)
    return encode(base, codepage) or base_letter(base, codepage)


def table(source, target, best_fit):
    rows = []
    for byte in range(256):
        char = decode(byte, source)
        out = encode(char, target)
        how = 'exact'
        if out is None:
            if char in best_fit:
                out, how = best_fit[char], 'look-alike'
            else:
                out = base_letter(char, target)
                how = 'base letter'
                if out is None:
                    out, how = ord('?'), 'none'
        rows.append((byte, out, char, how))
    return rows


def emit(name, rows):
    print(f'const unsigned char {name}[256] = {{')
    for byte, out, char, how in rows:
        label = unicodedata.name(chr(char), '').lower() or f'U+{char:04X}'
        note = '' if how == 'exact' else f' ({how})'
        print(f'    0x{out:02X},  // 0x{byte:02X} {label}{note}')
    print('};')


def main():
    print('// Generated by framework/tools/gen_oem_ansi_tables.py; edit the script, not this file.')
    print('#include "framework/oem_ansi_tables.h"')
    print()
    print('namespace vg::oem_ansi {')
    print()
    emit('kOemToAnsi', table('cp437', 'cp1252', TO_ANSI))
    print()
    emit('kAnsiToOem', table('cp1252', 'cp437', TO_OEM))
    print()
    print('}  // namespace vg::oem_ansi')


if __name__ == '__main__':
    main()
