#!/usr/bin/env python3
"""Turns the product tables of the storage controllers and disks into a C++ source.

usage: storage_products.py CONTROLLERS.csv DRIVES.csv SOURCE.cpp

The first row of each table names its columns. Rows of empty cells are ignored. The number of rows is that of the
agent's tables, as is the greatest length of a text. A wrong row stops the build with its line number, and no source
is written. data/README.md describes the format.
"""
import re
import sys

from product_table import literal, rows_with

CONTROLLERS = ["ChipsetID", "BoardID", "PartNumber", "Family", "Model"]
CONTROLLER_ROWS = 13
DRIVES = ["Model", "OtherModel", "7711PID02020001", "7711PID0302010x"]
DRIVE_ROWS = 83
LONGEST_DRIVE_MODEL = 40
LONGEST_PART_NUMBER = 32
ANY_BOARD = 0


def refuse_unprintable(location, texts):
    if not all(text.isprintable() and text.isascii() for text in texts):
        sys.exit(f"{location}: a character that is not printable ASCII")


def refuse_other_count(path, rows, expected):
    if len(rows) != expected:
        sys.exit(f"{path}: {len(rows)} rows instead of {expected}")


def id_of(location, text):
    if not re.fullmatch("0x[0-9a-fA-F]{8}", text):
        sys.exit(f"{location}: an id is not 0x and eight hexadecimal digits")
    return int(text, 16)


def controllers_of(path):
    rows, lines = [], {}
    for number, (chipset, board, part_number, family, model) in rows_with(CONTROLLERS, path):
        location = f"{path}:{number}"
        ids = (id_of(location, chipset), id_of(location, board))
        if family not in ("1", "2", "4"):
            sys.exit(f"{location}: the family is not 1, 2 or 4")
        if not model:
            sys.exit(f"{location}: no model")
        refuse_unprintable(location, (part_number, model))
        # The first row that matches is taken.
        for other in (ids, (ids[0], ANY_BOARD)):
            if other in lines:
                sys.exit(f"{location}: the row is never reached, since line {lines[other]} matches before it")
        lines[ids] = number
        rows.append(f"{{0x{ids[0]:08x}, 0x{ids[1]:08x}, {literal(part_number)}, {family}, {literal(model)}}}")
    refuse_other_count(path, rows, CONTROLLER_ROWS)
    return rows


def drives_of(path):
    rows, lines = [], {}
    for number, row in rows_with(DRIVES, path):
        location = f"{path}:{number}"
        models, part_numbers = row[:2], row[2:]
        if not models[0]:
            sys.exit(f"{location}: no model")
        refuse_unprintable(location, row)
        if any(len(text) > LONGEST_DRIVE_MODEL for text in models):
            sys.exit(f"{location}: a model is longer than {LONGEST_DRIVE_MODEL} characters")
        if any(len(text) > LONGEST_PART_NUMBER for text in part_numbers):
            sys.exit(f"{location}: a part number is longer than {LONGEST_PART_NUMBER} characters")
        for model in filter(None, models):
            if lines.setdefault(model, number) != number:
                sys.exit(f"{location}: the model {model} is that of line {lines[model]}")
        rows.append("{" + ", ".join(map(literal, row)) + "}")
    refuse_other_count(path, rows, DRIVE_ROWS)
    return rows


def main():
    if sys.argv[1:] in (["-h"], ["--help"]):
        print(__doc__.strip())
        return
    if len(sys.argv) != 4:
        print("usage: storage_products.py CONTROLLERS.csv DRIVES.csv SOURCE.cpp", file=sys.stderr)
        sys.exit(2)
    controllers, drives = controllers_of(sys.argv[1]), drives_of(sys.argv[2])
    with open(sys.argv[3], "w", encoding="ascii") as out:
        out.write('#include "storage/vokStorageProducts.h"\n\n')
        for declaration, rows in (("vokStorageHba gStorageHbaList[MAX_STORAGE_HBA_LIST]", controllers),
                                  ("vokStorageDrive gStorageDriveList[MAX_STORAGE_DRIVE_LIST]", drives)):
            out.write(f"extern const {declaration} = {{\n")
            for row in rows:
                out.write(f"    {row},\n")
            out.write("};\n")


main()
