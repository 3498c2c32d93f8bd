#!/usr/bin/env python3
"""Turns the product table of the Fibre Channel adapters into a C++ source.

usage: fc_products.py TABLE.csv SOURCE.cpp

The table has the form of that of the Ethernet adapters (nic_products.py). A wrong row stops the build with its line
number, and no source is written. data/README.md describes the format.
"""
from product_table import convert, literal


def write(rows, out):
    out.write('#include "fc/vokFCProducts.h"\n\n')
    out.write("const std::map<std::vector<int>, DEV_LIST> fcPciIdsModelNameMap = {\n")
    for row in rows:
        out.write("    {{" + ", ".join(row[:4]) + "}, {" + ", ".join(map(literal, row[4:])) + "}},\n")
    out.write("};\n")


convert(__doc__, write)
