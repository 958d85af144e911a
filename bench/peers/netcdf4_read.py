"""Reads all variables of a netCDF file with netCDF4."""
import sys

import netCDF4

with netCDF4.Dataset(sys.argv[1]) as file:
    for variable in file.variables.values():
        variable[...]
