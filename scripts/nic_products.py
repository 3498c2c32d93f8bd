#!/usr/bin/env python3
"""Turns the product table of the Ethernet adapters into a C++ source.

usage: nic_products.py TABLE.csv SOURCE.cpp

The first row of the table names the columns: four ids ("0x" and four hexadecimal digits), the model, and a part
number for each platform family, which may be empty. Rows of empty cells are ignored. A wrong row stops the
build with its line number, and no source is written. data/README.md describes the format.
"""
import re
import sys

from product_table import literal, rows_with

COLUMNS = ["VendorID", "DeviceID", "SubVendorID", "SubDeviceID", "Model",
           "7711PID02020001", "7711PID03020102", "7711PID03020101"]


def rows_of(path):
    seen = {}
    for number, row in rows_with(COLUMNS, path):
        location = f"{path}:{number}"
        ids = tuple(value.lower() for value in row[:4])
        if not all(re.fullmatch("0x[0-9a-f]{4}", value) for value in ids):
            sys.exit(f"{location}: an id is not 0x and four hexadecimal digits")
        if not row[4]:
            sys.exit(f"{location}: no model")
        if not all(value.isprintable() for value in row[4:]):
            sys.exit(f"{location}: a line break or another character that can't be printed")
        if ids in seen:
            sys.exit(f"{location}: the ids are those of line {seen[ids]}")
        seen[ids] = number
        yield [*ids, *row[4:]]


def main():
    if sys.argv[1:] in (["-h"], ["--help"]):
        print(__doc__.strip())
        return
    if len(sys.argv) != 3:
        print("usage: nic_products.py TABLE.csv SOURCE.cpp", file=sys.stderr)
        sys.exit(2)
    table, source = sys.argv[1:]
    rows = list(rows_of(table))
    with open(source, "w", encoding="ascii") as out:
        out.write('#include "nic/vokNICProducts.h"\n\n')
        out.write("extern const vokNICProduct vokNICProducts[] = {\n")
        for row in rows:
            out.write("    {" + ", ".join(map(literal, row)) + "},\n")
        # An array needs at least one element; this one is not counted.
        out.write("    {" + ", ".join(['""'] * len(COLUMNS)) + "},\n};\n\n")
        out.write(f"extern const std::size_t vokNICProductCount = {len(rows)};\n")


main()
