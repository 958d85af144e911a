"""Tables and spectra from the files of spreadsheets and instruments, as NumPy and pandas.

read() makes a Sheet of a file: its cells, an array of its numbers, a data frame, or its spectra. The
library is NvImport's; the command `nvimport` reads the same sheets.

>>> import nvimport
>>> nvimport.read(nvimport.samples("wheat.txt")).spectra().matrix.shape
(12, 10)
"""

from nvimport._calls import Detection, Format, Scan, detect, formats, read, scan
from nvimport._description import AxisName, Description, Statement
from nvimport._errors import ArgumentError, Cancelled, ChoiceNeeded, Error
from nvimport._nvimport import version as __version__
from nvimport._sheet import Choice, Sheet, Spectra
from nvimport._sources import samples
from nvimport._write import write

info = scan

__all__ = [
    "ArgumentError",
    "AxisName",
    "Cancelled",
    "Choice",
    "ChoiceNeeded",
    "Description",
    "Detection",
    "Error",
    "Format",
    "Scan",
    "Sheet",
    "Spectra",
    "Statement",
    "__version__",
    "detect",
    "formats",
    "info",
    "read",
    "samples",
    "scan",
    "write",
]
