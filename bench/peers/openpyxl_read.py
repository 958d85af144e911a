"""openpyxl_read.py FILE: reads a workbook with openpyxl, in its mode that keeps no cells, and touches each."""

import sys

import openpyxl

cells = texts = total = 0
book = openpyxl.load_workbook(sys.argv[1], read_only=True)
for sheet in book.worksheets:
    for row in sheet.iter_rows(values_only=True):
        for value in row:
            if value is None:
                continue
            cells += 1
            if isinstance(value, (int, float)):
                total += value
            else:
                texts += 1
print("cells", cells, "texts", texts, "sum", total)
