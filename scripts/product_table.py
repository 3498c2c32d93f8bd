"""Reads the CSV tables of the product teams. A wrong row ends the program with its file and line."""
import csv
import io
import sys


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
