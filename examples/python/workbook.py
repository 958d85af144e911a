"""workbook.py FILE: the worksheets of an old workbook as data frames."""

import sys

import nvimport

for name, sheet in nvimport.read(sys.argv[1], sheet=None).items():
    frame = sheet.to_pandas(header=True)
    print(f"{name}: {len(frame)} rows")
    print(frame.describe().loc[["count", "mean", "max"]].round(2))
    for note in sheet.notes:
        print("note:", note)
