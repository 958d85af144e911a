"""second_reader.py NVIMPORT: reads made NSAS and Brimrose files a second way and compares the sheets.

Every cell is compared, empty ones included; numbers as the floats that they are stored as.
"""
import csv
import os
import random
import struct
import subprocess
import sys
import tempfile
import time
from fractions import Fraction

NVIMPORT = sys.argv[1]
RANDOM = random.Random(20240506)


def nsas_record(number, first, end, points, constituents):
    stamp = [RANDOM.randrange(100) for _ in range(6)]
    head = struct.pack("<hh10shhh10xh32x6h", RANDOM.randrange(-9, 9999), number, b"Sample %-3d" % number,
                       points, first, end, constituents, *stamp)
    values = struct.pack("<%df" % points, *(RANDOM.uniform(-3, 3) for _ in range(points)))
    return head.ljust(128, b"\0") + values + bytes(-len(values) % 128)


def make_nsas(folder):
    """A DA file of spectra that start apart, and two times in three a CN file."""
    points, width = RANDOM.randrange(1, 60), RANDOM.randrange(1, 90)
    constituents = RANDOM.randrange(33)
    starts = [RANDOM.randrange(800, 800 + RANDOM.choice([1, 2, width + 1])) for _ in range(RANDOM.randrange(1, 9))]
    da = b""
    for number, first in enumerate(starts):
        times = RANDOM.choice([1, 1, 2])
        da += nsas_record(number, first, first + width * times, points * times, constituents)
    version = RANDOM.randrange(3)
    cn = b"".join(b"Name %-5d" % i for i in range(constituents)).ljust(384) if version == 2 else b""
    for _ in starts:
        cn += struct.pack("<%df" % constituents, *(RANDOM.uniform(0, 99) for _ in range(constituents))).ljust(128, b"\0")
    with open(folder + "/a.da", "wb") as out:
        out.write(da)
    if version:
        with open(folder + "/a.cn", "wb") as out:
            out.write(cn)
    elif os.path.exists(folder + "/a.cn"):
        os.remove(folder + "/a.cn")
    return folder + "/a.da"


def read_nsas(path):
    with open(path, "rb") as file:
        da = file.read()
    cn = None
    if os.path.exists(path[:-2] + "cn"):
        with open(path[:-2] + "cn", "rb") as file:
            cn = file.read()
    records, at = [], 0
    while at < len(da):
        n, first, end = struct.unpack_from("<3h", da, at + 14)
        records.append((at, n, first, Fraction(end - first, n)))
        at += 128 + (4 * n + 127) // 128 * 128
    step, low = records[0][3], min(r[2] for r in records)
    high = min(first + (n - 1) * step for _, n, first, step in records)
    points = int((high - low) / step + Fraction(1, 2)) + 1
    constituents = struct.unpack_from("<h", da, 30)[0] if cn is not None else 0
    named = cn is not None and len(cn) != 128 * len(records)
    names = [cn[10 * i:10 * i + 10].decode().strip() if named else "" for i in range(constituents)]
    wavelengths = [low + i * step for i in range(points)]
    sheet = [["SampleNo", "SpectrumNo", "SampleName", "Time"] + ["w%g" % w for w in wavelengths] + names,
             ["/Instrument model %d" % struct.unpack_from("<h", da)] + [""] * (3 + points + constituents)]
    for i, (at, n, first, _) in enumerate(records):
        number, name = struct.unpack_from("<2xh10s", da, at)
        third, second, day, *hour = struct.unpack_from("<6h", da, at + 64)
        row = [i + 1, number, name.decode().strip(), "%02d-%02d-%02d %02d:%02d:%02d" % (day, second, third, *hour)]
        values = struct.unpack_from("<%df" % n, da, at + 128)
        shift = (first - low) / step
        nearest = int(shift + Fraction(1, 2))
        for column, wavelength in enumerate(wavelengths):
            inside = first <= wavelength <= first + (n - 1) * step
            row.append(values[column - nearest] if inside else "")
        if cn is not None:
            row += struct.unpack_from("<%df" % constituents, cn, (384 if named else 0) + 128 * i)
        sheet.append(row)
    return sheet


def make_brimrose(folder):
    points, observations = RANDOM.randrange(2, 90), RANDOM.randrange(1, 9)
    first, step = RANDOM.uniform(100, 3000), RANDOM.uniform(0.1, 20)
    head = struct.pack("<29x3fH2xH", first, first + (points - 1) * step, step, points, observations)
    with open(folder + "/a.dat", "wb") as out:
        out.write(head.ljust(512, b"\0"))
        for _ in range(observations):
            out.write(struct.pack("<i116s", RANDOM.randrange(2**31), b"sample"))
            out.write(struct.pack("<%df" % points, *(RANDOM.uniform(-9, 9) for _ in range(points))))
    return folder + "/a.dat"


def read_brimrose(path):
    with open(path, "rb") as file:
        data = file.read()
    first, _, step, points, observations = struct.unpack_from("<3fH2xH", data, 29)
    sheet = [["SampleNo", "DateTime"] + ["w%1.0f" % (first + i * step) for i in range(points)]]
    for i in range(observations):
        at = 512 + i * (120 + 4 * points)
        when = time.localtime(struct.unpack_from("<i", data, at)[0])
        sheet.append([i + 1, time.strftime("%Y-%m-%d/%H:%M:%S", when)] + list(struct.unpack_from("<%df" % points, data, at + 120)))
    return sheet


def same(text, cell):
    if isinstance(cell, str):
        return text == cell
    return text != "" and struct.pack("<f", float(text)) == struct.pack("<f", cell)


def compare(path, format_name, expected):
    done = subprocess.run([NVIMPORT, "convert", "--format", format_name, path, "-o", "-"],
                          capture_output=True, text=True, check=True)
    sheet = list(csv.reader(done.stdout.splitlines()))
    for r, (got, wanted) in enumerate(zip(sheet, expected, strict=True), 1):
        for c, (text, cell) in enumerate(zip(got, wanted, strict=True), 1):
            if not same(text, cell):
                sys.exit("%s: row %d column %d is %r, not %r" % (path, r, c, text, cell))


with tempfile.TemporaryDirectory() as work:
    for _ in range(100):
        nsas = make_nsas(work)
        compare(nsas, "NSAS File", read_nsas(nsas))
        brimrose = make_brimrose(work)
        compare(brimrose, "Brimrose File", read_brimrose(brimrose))
