"""Python and the command give the same cells of every sample."""

import csv
import io
import pathlib
import subprocess

import numpy as np
import nvimport


def test_every_sample_has_the_same_cells_everywhere(sample_files: list[str], build: pathlib.Path) -> None:
    assert len(sample_files) > 15
    for path in sample_files:
        sheet = nvimport.read(path)
        command = [str(build / "bin" / "nvimport"), "convert", path, "-o", "-"]
        printed = subprocess.run(command, capture_output=True, check=True).stdout.decode()
        by_command = list(csv.reader(io.StringIO(printed, newline="")))
        # A line without anything is a row of one empty field.
        assert len(by_command) == len(sheet)
        for row, cells_of_row in zip(by_command, sheet.cells):
            row += [""] * (sheet.shape[1] - len(row))
            assert len(row) == len(cells_of_row)
            for text, cell in zip(row, cells_of_row):
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
