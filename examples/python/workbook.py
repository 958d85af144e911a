"""workbook.py FILE: the worksheets of an old workbook as data frames."""

import re
import sys

import nvimport

path = sys.argv[1]
choices = nvimport.info(path).choices
# "Runs (9 x 5)" is offered for the worksheet "Runs". A workbook of one worksheet offers none.
sheets = [re.sub(r" \(\d+ x \d+\)$", "", entry) for c in choices for entry in c.entries]
for number, name in enumerate(sheets or [path], start=1):
    sheet = nvimport.read(path, sheet=number if sheets else None)
    frame = sheet.to_pandas(header=True)
    print(f"{name}: {len(frame)} rows")
    print(frame.describe().loc[["count", "mean", "max"]].round(2))
    for note in sheet.notes:
        print("note:", note)
