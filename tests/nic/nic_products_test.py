"""The product table's way into a source.

usage: nic_products_test.py NIC_PRODUCTS.py
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest

HEADING = b"VendorID,DeviceID,SubVendorID,SubDeviceID,Model,7711PID02020001,7711PID03020102,7711PID03020101\n"
ROW = b"0x8086,0x1521,0x8086,0x0001,A model,ONE,TWO,THREE\n"
generator = sys.argv.pop()


class Products(unittest.TestCase):
    def generate(self, table):
        with tempfile.TemporaryDirectory() as directory:
            place = pathlib.Path(directory)
            (place / "t.csv").write_bytes(table)
            run = subprocess.run([sys.executable, generator, "t.csv", "t.cpp"], cwd=place, text=True,
                                 capture_output=True, check=False)
            source = place / "t.cpp"
            return run, source.read_text(encoding="ascii") if source.exists() else None

    def rows(self, table):
        run, source = self.generate(table)
        self.assertEqual((run.returncode, run.stderr), (0, ""))
        rows = [line.strip() for line in source.splitlines() if line.startswith("    {")]
        self.assertEqual(rows.pop(), '{"", "", "", "", "", "", "", ""},')
        self.assertIn(f"vokNICProductCount = {len(rows)};", source)
        return rows

    def refused(self, table, reason):
        run, source = self.generate(table)
        self.assertEqual((run.returncode, run.stderr), (1, reason + "\n"))
        self.assertIsNone(source)

    def test_a_row_becomes_a_row_with_its_ids_in_lower_case(self):
        self.assertEqual(self.rows(HEADING + b"0X15B3,0x1015,0x15b3, 0x0004 ,M,,P,\n"),
                         ['{"0x15b3", "0x1015", "0x15b3", "0x0004", "M", "", "P", ""},'])

    def test_a_table_without_rows_is_one(self):
        self.assertEqual(self.rows(HEADING), [])

    def test_what_a_spreadsheet_writes_is_taken(self):
        marked = b"\xef\xbb\xbf" + (HEADING + ROW + b",,,,,,,\n\n").replace(b"\n", b"\r\n")
        self.assertEqual(self.rows(marked),
                         ['{"0x8086", "0x1521", "0x8086", "0x0001", "A model", "ONE", "TWO", "THREE"},'])

    def test_no_text_ends_its_literal(self):
        rows = self.rows(HEADING + '0x8086,0x1521,0x8086,0x0001,"a"" \\ ??/ é",x,,\n'.encode())
        self.assertEqual(
            rows, [r'{"0x8086", "0x1521", "0x8086", "0x0001", "a\042 \134 \077\077/ \303\251", "x", "", ""},'])

    def test_a_wrong_table_is_refused_with_its_line(self):
        heading = "t.csv:1: the columns are " + HEADING.decode().strip()
        for table, reason in [
                (b"", heading),
                (ROW, heading),
                (HEADING + ROW.replace(b"0x1521", b"0x152"), "t.csv:2: an id is not 0x and four hexadecimal digits"),
                (HEADING + ROW.replace(b"0x1521", b"1521"), "t.csv:2: an id is not 0x and four hexadecimal digits"),
                (HEADING + ROW.replace(b"A model", b" "), "t.csv:2: no model"),
                (HEADING + ROW + b"\n" + ROW.upper().replace(b"0X", b"0x"), "t.csv:4: the ids are those of line 2"),
                (HEADING + ROW.replace(b",THREE", b""), "t.csv:2: 7 columns instead of 8"),
                (HEADING + ROW + ROW.replace(b"A model", b'"A model'), "t.csv:3: unexpected end of data")]:
            with self.subTest(reason):
                self.refused(table, reason)

    def test_bytes_that_are_no_text_are_refused(self):
        run, source = self.generate(HEADING + ROW.replace(b"A model", b"\xff"))
        self.assertEqual(run.returncode, 1)
        self.assertTrue(run.stderr.startswith("t.csv: not UTF-8: "), run.stderr)
        self.assertIsNone(source)


unittest.main()
