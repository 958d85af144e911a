"""python_read.py WHAT [FILE]: reads a file as Python programs do; "start-..." only loads what that needs.

"rows" gives the cells of a workbook as openpyxl does.
"""

import sys

what, *files = sys.argv[1:]
package = what.removeprefix("start-")
if package in ("spectra", "numbers", "frame", "rows", "in-turn", "in-threads"):
    import concurrent.futures

    import nvimport
if package in ("frame", "pandas"):
    import pandas
if package == "xlrd":
    import xlrd
if package == "openpyxl":
    import openpyxl
if package == "floats":
    import numpy

if not what.startswith("start-"):
    path = files[0]
    if what == "spectra":
        print(sum(nvimport.read(file).spectra().matrix[-1, -1] for file in files))
    elif what == "in-turn":
        print(sum(len(sheet) for sheet in map(nvimport.read, files)))
    elif what == "in-threads":
        with concurrent.futures.ThreadPoolExecutor(len(files)) as threads:
            print(sum(len(sheet) for sheet in threads.map(nvimport.read, files)))
    elif what == "numbers":
        print(nvimport.read(path, delimiter="tab").to_numpy(numbers=True)[-1, -1])
    elif what == "frame":
        print(nvimport.read(path).to_pandas().iloc[-1, -1])
    elif what == "rows":
        print(sum(len(row) for row in nvimport.read(path)))
    elif what == "openpyxl":
        book = openpyxl.load_workbook(path, read_only=True)
        print(sum(len(row) for row in book.active.iter_rows(values_only=True)))
    elif what == "pandas":
        print(pandas.read_csv(path, sep="\t", low_memory=False).iloc[-1, -1])
    elif what == "xlrd":
        book = xlrd.open_workbook(path)
        print(sum(len(sheet.row_values(row)) for sheet in book.sheets() for row in range(sheet.nrows)))
    elif what == "floats":
        # The least that NumPy can do: the file's bytes as floats, whatever they are, in a new array.
        print(numpy.fromfile(path, dtype="<f4").sum(dtype="f8"))
