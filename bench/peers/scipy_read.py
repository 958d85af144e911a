"""Reads a MATLAB file with scipy."""
import sys

import scipy.io

scipy.io.loadmat(sys.argv[1])
