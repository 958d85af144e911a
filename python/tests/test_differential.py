"""Python, the command and the C functions give the same cells of every sample."""

import csv
import ctypes
import io
import subprocess

import numpy as np
import nvimport
import pytest


class Options(ctypes.Structure):
    _fields_ = [("size", ctypes.c_int), ("data", ctypes.POINTER(ctypes.c_ubyte))]


class Record(ctypes.Structure):
    pass


SET_NUMBER = ctypes.CFUNCTYPE(
    None, ctypes.POINTER(Record), ctypes.c_int, ctypes.c_int, ctypes.c_float
)
SET_TEXT = ctypes.CFUNCTYPE(
    None, ctypes.POINTER(Record), ctypes.c_int, ctypes.c_int, ctypes.c_char_p
)
SET_SIZE = ctypes.CFUNCTYPE(None, ctypes.POINTER(Record), ctypes.c_int, ctypes.c_int)
NEXT_INDEX = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.POINTER(Record), ctypes.c_int)
Record._fields_ = [
    ("set_number", SET_NUMBER),
    ("set_text", SET_TEXT),
    ("set_size", SET_SIZE),
    ("rows", ctypes.c_int),
    ("columns", ctypes.c_int),
    ("reserved", ctypes.c_int),
    ("next_index", NEXT_INDEX),
]


def decoded(text):
    try:
        return text.decode("utf-8")
    except UnicodeDecodeError:
        return text.decode("cp1252")


def read_through_the_functions(library, index, path, options):
    """The cells by row and column, both from 0, and the shape."""
    cells = {}

    def set_number(_, row, column, value):
        cells[row - 1, column - 1] = value

    def set_text(_, row, column, text):
        cells[row - 1, column - 1] = decoded(text)

    record = Record(
        SET_NUMBER(set_number), SET_TEXT(set_text), SET_SIZE(), 0, 0, 0, NEXT_INDEX()
    )
    data = (ctypes.c_ubyte * len(options))(*options)
    given = Options(len(options), data)
    handle, rows, columns = ctypes.c_long(), ctypes.c_int(), ctypes.c_int()
    asked = ctypes.byref(given) if options else None
    assert library.NvImportOpen(index, path.encode(), b"\1", ctypes.byref(handle), asked)
    assert library.NvImportEstablishSize(
        index, handle, ctypes.byref(rows), ctypes.byref(columns)
    )
    assert library.NvImportRead(index, handle, ctypes.byref(record))
    library.NvImportClose(index, handle)
    return cells, (rows.value, columns.value)


@pytest.fixture(scope="module")
def library(build):
    library = ctypes.CDLL(str(build / "lib" / "libnvimport.so"))
    signatures = {
        "Open": [ctypes.c_char_p, ctypes.c_char, ctypes.c_void_p, ctypes.c_void_p],
        "EstablishSize": [ctypes.c_long, ctypes.c_void_p, ctypes.c_void_p],
        "Read": [ctypes.c_long, ctypes.c_void_p],
        "Close": [ctypes.c_long],
    }
    for name, arguments in signatures.items():
        function = getattr(library, "NvImport" + name)
        function.argtypes = [ctypes.c_int, *arguments]
        function.restype = ctypes.c_byte
    return library


def test_every_sample_has_the_same_cells_everywhere(sample_files, build, library):
    index = {f.name: f.index for f in nvimport.formats()}
    assert len(sample_files) > 15
    for path in sample_files:
        sheet = nvimport.read(path)
        cells, shape = read_through_the_functions(
            library, index[sheet.format], path, sheet.options
        )
        assert shape == sheet.shape, path
        by_functions = np.full(shape, None, dtype=object)
        for place, value in cells.items():
            by_functions[place] = value
        assert (by_functions == sheet.cells).all(), path

        command = [str(build / "bin" / "nvimport"), "convert", path, "-o", "-"]
        printed = subprocess.run(command, capture_output=True, check=True).stdout.decode()
        by_command = list(csv.reader(io.StringIO(printed, newline="")))
        # A line without anything is a row of one empty field.
        for row, cells_of_row in zip(by_command, sheet.cells, strict=True):
            row += [""] * (sheet.shape[1] - len(row))
            for text, cell in zip(row, cells_of_row, strict=True):
                if isinstance(cell, float):
                    assert np.float32(text) == np.float32(cell), path
                else:
                    assert text == (cell or ""), path

        again = nvimport.read(path, options=sheet.options)
        assert (again.cells == sheet.cells).all() and again.options == sheet.options
        assert not [n for n in again.notes if "decides otherwise" in n], path
        numbers = sheet.to_numpy()
        is_number = np.vectorize(lambda v: isinstance(v, float))(sheet.cells)
        assert (~np.isnan(numbers) == is_number).all(), path
