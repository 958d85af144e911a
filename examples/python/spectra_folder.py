"""spectra_folder.py FOLDER PLOT: the SPC files of a folder as one matrix, and a plot of it."""

import pathlib
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt
import numpy as np
import nvimport

folder, plot = sys.argv[1:]
paths = sorted(pathlib.Path(folder).glob("*.[sS][pP][cC]"))
spectra = [nvimport.read(path).spectra() for path in paths]
x = spectra[0].x
# Spectra of one instrument have their points in common; others are brought onto the first one's.
rows = [
    one.matrix
    if np.array_equal(one.x, x)
    else np.stack([np.interp(x, one.x, row) for row in one.matrix])
    for one in spectra
]
matrix = np.vstack(rows)
names = [name for one in spectra for name in one.names]

plt.plot(x, matrix.T, linewidth=0.8, label=names)
plt.xlabel("wavelength")
plt.legend(fontsize="small")
plt.savefig(plot)
print(f"{len(paths)} files, {matrix.shape[0]} spectra of {matrix.shape[1]} points in {plot}")
