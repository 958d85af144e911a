"""jcamp_link.py FILE: the spectra of a JCAMP-DX link file as a dictionary by their titles."""

import sys

import numpy as np
import nvimport

sheet = nvimport.read(sys.argv[1], blocks="all")
x, matrix, names = sheet.spectra()
spectra = dict(zip(names, matrix))
for name, spectrum in spectra.items():
    # A table of peaks has values under a few of the x only.
    highest = np.nanargmax(spectrum)
    points = np.count_nonzero(~np.isnan(spectrum))
    print(f"{name}: {points} points, highest {spectrum[highest]:.3f} at {x[highest]:g}")
