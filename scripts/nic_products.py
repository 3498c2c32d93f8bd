#!/usr/bin/env python3
"""Turns the product table of the Ethernet adapters into a C++ source.

usage: nic_products.py TABLE.csv SOURCE.cpp

The first row of the table names the columns: four ids ("0x" and four hexadecimal digits), the model, and a part
number for each platform family, which may be empty. A row of empty cells does not count. A wrong row ends the
build with its line number.
"""
import csv
import re
import sys

COLUMNS = ["VendorID", "DeviceID", "SubVendorID", "SubDeviceID", "Model",
           "7711PID02020001", "7711PID03020102", "7711PID03020101"]


def literal(text):
    escaped = "".join(c if c.isascii() and c.isprintable() and c not in '"\\?' else "".join(f"\\{b:03o}" for b in c.encode())
                      for c in text)
    return f'"{escaped}"'


def rows_of(path):
    with open(path, newline="", encoding="utf-8-sig") as table:  # spreadsheets write the mark
        reader = csv.reader(table, strict=True)
        try:
            rows = [(reader.line_num, [value.strip() for value in row]) for row in reader]
        except csv.Error as reason:
            sys.exit(f"{path}:{reader.line_num}: {reason}")
        except UnicodeDecodeError as reason:
            sys.exit(f"{path}: not UTF-8: {reason}")
        if not rows or rows[0][1] != COLUMNS:
            sys.exit(f"{path}:1: the columns are {','.join(COLUMNS)}")
        seen = {}
        for number, row in rows[1:]:
            place = f"{path}:{number}"
            if not any(row):
                continue
            if len(row) != len(COLUMNS):
                sys.exit(f"{place}: {len(row)} columns instead of {len(COLUMNS)}")
            ids = [value.lower() for value in row[:4]]
            if not all(re.fullmatch("0x[0-9a-f]{4}", value) for value in ids):
                sys.exit(f"{place}: an id is not 0x and four hexadecimal digits")
            if not row[4]:
                sys.exit(f"{place}: no model")
            if tuple(ids) in seen:
                sys.exit(f"{place}: the ids are those of line {seen[tuple(ids)]}")
            seen[tuple(ids)] = number
            yield ids + row[4:]


def main():
    table, source = sys.argv[1:]
    rows = list(rows_of(table))
    with open(source, "w", encoding="ascii") as out:
        out.write('#include "nic/vokNICProducts.h"\n\n')
        out.write("extern const vokNICProduct vokNICProducts[] = {\n")
        for row in rows:
            out.write("    {" + ", ".join(map(literal, row)) + "},\n")
        # An array has at least one element; this one is not counted.
        out.write("    {" + ", ".join(['""'] * len(COLUMNS)) + "},\n};\n\n")
        out.write(f"extern const std::size_t vokNICProductCount = {len(rows)};\n")


main()
