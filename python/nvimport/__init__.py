"""Tables and spectra from the files of spreadsheets and instruments, as NumPy and pandas.

read() makes a Sheet of a file: its cells, an array of its numbers, a data frame, or its spectra. The
library is NvImport's; the command `nvimport` reads the same sheets.

>>> import nvimport
>>> nvimport.read("wheat.txt").spectra().matrix.shape
(12, 10)
"""

from nvimport._calls import Detection, Format, Info, detect, formats, info, read, write
from nvimport._errors import ArgumentError, Cancelled, ChoiceNeeded, Error
from nvimport._nvimport import version as __version__
from nvimport._sheet import Choice, Sheet, Spectra

__all__ = [
    "ArgumentError",
    "Cancelled",
    "Choice",
    "ChoiceNeeded",
    "Detection",
    "Error",
    "Format",
    "Info",
    "Sheet",
    "Spectra",
    "__version__",
    "detect",
    "formats",
    "info",
    "read",
    "write",
]
