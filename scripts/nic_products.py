#!/usr/bin/env python3
"""Turns the product table of the Ethernet adapters into a C++ source.

usage: nic_products.py TABLE.csv SOURCE.cpp

The first row of the table names the columns: four ids ("0x" and four hexadecimal digits), the model, and a part
number for each platform family, which may be empty. Rows of empty cells are ignored. A wrong row stops the
build with its line number, and no source is written. data/README.md describes the format.
"""
from product_table import ADAPTER_COLUMNS, convert, literal


def write(rows, out):
    out.write('#include "nic/vokNICProducts.h"\n\n')
    out.write("extern const vokNICProduct vokNICProducts[] = {\n")
    for row in rows:
        out.write("    {" + ", ".join(map(literal, row)) + "},\n")
    # An array needs at least one element; this one is not counted.
    out.write("    {" + ", ".join(['""'] * len(ADAPTER_COLUMNS)) + "},\n};\n\n")
    out.write(f"extern const std::size_t vokNICProductCount = {len(rows)};\n")


convert(__doc__, write)
