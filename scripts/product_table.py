"""Reads the CSV tables of the product teams. A wrong row ends the program with its file and line."""
import csv
import io
import re
import sys

# Of an adapter: its PCI ids, its model, and a part number for each platform family, which may be empty.
ADAPTER_COLUMNS = ["VendorID", "DeviceID", "SubVendorID", "SubDeviceID", "Model",
                   "7711PID02020001", "7711PID03020102", "7711PID03020101"]


def literal(text):
    escaped = "".join(c if c.isascii() and c.isprintable() and c not in '"\\?' else "".join(f"\\{b:03o}" for b in c.encode())
                      for c in text)
    return f'"{escaped}"'


def text_of(path):
    try:
        with open(path, "rb") as table:
            data = table.read()
        return data.decode("utf-8-sig")  # spreadsheets write a byte order mark
    except OSError as error:
        sys.exit(f"{path}: {error.strerror}")
    except UnicodeDecodeError as error:
        line = data[:error.start].count(b"\n") + 1
        sys.exit(f"{path}:{line}: not UTF-8")


def lines_of(path):
    """Line number and values of each row that is not empty, without the blanks around the values."""
    reader = csv.reader(io.StringIO(text_of(path), newline=""), strict=True)
    while True:
        try:
            row = next(reader, None)
        except csv.Error as error:
            sys.exit(f"{path}:{reader.line_num}: {error}")
        if row is None:
            return
        row = [value.strip() for value in row]
        if any(row):
            yield reader.line_num, row


def rows_with(columns, path):
    """Line number and values of each row below the first, which has to name these columns."""
    lines = lines_of(path)
    number, found = next(lines, (1, None))
    if found != columns:
        sys.exit(f"{path}:{number}: the columns are {','.join(columns)}")
    for number, row in lines:
        if len(row) != len(columns):
            sys.exit(f"{path}:{number}: {len(row)} columns instead of {len(columns)}")
        yield number, row


def adapters_of(path):
    """The values of each row of ADAPTER_COLUMNS, with the ids in lower case."""
    seen = {}
    for number, row in rows_with(ADAPTER_COLUMNS, path):
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


def convert(usage, write):
    """The program of a table: reads the command line, and calls write(rows, source)."""
    if sys.argv[1:] in (["-h"], ["--help"]):
        print(usage.strip())
        return
    if len(sys.argv) != 3:
        print(usage.strip().splitlines()[2], file=sys.stderr)
        sys.exit(2)
    table, source = sys.argv[1:]
    rows = list(adapters_of(table))
    with open(source, "w", encoding="ascii") as out:
        write(rows, out)
