#!/bin/sh
# Makes the sample files beside it, the same on every machine. Every value is invented.
set -eu
cd "$(dirname "$0")"

# A table of near-infrared spectra as a host exports it: TABs, names in the first row and column, a
# reference value, and gaps where it was not measured.
awk 'BEGIN {
  OFS = "\t"
  printf "Sample\tMoisture"
  for (w = 1100; w < 1200; w += 10) printf "\tw%d", w
  printf "\n"
  for (s = 1; s <= 12; s++) {
    printf "Wheat %02d\t", s
    if (s % 5) printf "%.1f", 11 + (s * 7 % 13) / 4
    for (i = 0; i < 10; i++) printf "\t%.4f", 0.31 + s / 500 + i * i / 4000 + (s * i % 7) / 1000
    printf "\n"
  }
}' >wheat.txt

# What a European spreadsheet saves: semicolons, decimal commas, texts in quotes that stay, CR LF.
awk 'BEGIN {
  printf "Batch;Start;\"Yield, %%\";pH;Remark\r\n"
  for (b = 1; b <= 8; b++)
    printf "B-%03d;2024-03-%02d;%d,%d;%d,%02d;%s\r\n", 100 + b, b * 3, 88 + b * 5 % 9, b * 7 % 10,
      6 + b % 2, b * 13 % 100, b == 4 ? "\"sensor replaced\"" : ""
}' >batches.txt

# A printed report: a heading, then columns lined up with runs of blanks.
awk 'BEGIN {
  printf "Reactor log 7, all temperatures in C\n\n"
  printf "%-8s %8s %8s %8s\n", "minute", "jacket", "mass", "rpm"
  for (m = 0; m <= 60; m += 5)
    printf "%-8d %8.1f %8.1f %8d\n", m, 20 + m * 0.9, 19.5 + m * 0.82, 120 + m % 15
}' >reactor.txt

# Bars, and texts in Windows-1252 (the bytes E9, F6, B0 and B5 as octal escapes).
printf 'Site|Caf\351|T \260C|Size \265m\nK\366ln|yes|21.5|4.0\nNice|no|23.25|3.5\n' >sites.txt

# CSV of a European spreadsheet: a line that names the delimiter, decimal commas, and texts in quotes
# with delimiters, doubled quotes and line breaks within.
awk 'BEGIN {
  printf "sep=;\r\nTrial;Catalyst;\"Yield; %%\";Remark\r\n"
  for (t = 1; t <= 6; t++)
    printf "T-%02d;\"Pd/C \"\"%d %%\"\"\";%d,%d;%s\r\n", t, 5 * (t % 2 + 1), 71 + t * 7 % 19, t * 3 % 10,
      t == 2 ? "\"filtered twice,\r\nthen dried\"" : t == 5 ? "\"lost; repeat\"" : ""
}' >trials.csv

# The same kind of table as UTF-16, which spreadsheets save as "Unicode text".
{
  printf '\377\376'
  printf 'Probe\tc(\316\262-Carotin) / \302\265g\r\n\303\226l 1\t12.5\r\n\303\226l 2\t9.75\r\n' |
    iconv -f UTF-8 -t UTF-16LE
} >carotene.csv

# Three near-infrared spectra in one SPC file: 100 points from 1100 in steps of 2, 32-bit fixed point.
{
  printf '\0K\0\001\144\0\0\0\0\0\0\0\0\060\221\100\0\0\0\0\0\110\224\100\003\0\0\0'
  head -c 484 /dev/zero
  LC_ALL=C awk '
    function u32(v,  i) { for (i = 0; i < 4; i++) { printf "%c", v % 256; v = int(v / 256) } }
    BEGIN {
      for (s = 1; s <= 3; s++) {
        for (i = 0; i < 8; i++) u32(0)
        for (p = 0; p < 100; p++)
          u32(int(2 ^ 31 * (0.3 + s / 50 + 0.1 * exp(-((p - 40 - s) / 12) ^ 2))))
      }
    }'
} >barley.spc

# A worksheet in DIF, as a spreadsheet of old saves it: code page 437 (204 is an e acute), CR LF.
{
  printf 'TABLE\r\n0,1\r\n"Titration"\r\nVECTORS\r\n0,3\r\n""\r\nTUPLES\r\n0,4\r\n""\r\nDATA\r\n0,0\r\n""\r\n'
  printf -- '-1,0\r\nBOT\r\n1,0\r\n"R\202actif"\r\n1,0\r\n"ml"\r\n1,0\r\n"pH"\r\n'
  printf -- '-1,0\r\nBOT\r\n1,0\r\n"NaOH"\r\n0,0\r\nV\r\n0,3.18\r\nV\r\n'
  printf -- '-1,0\r\nBOT\r\n1,0\r\n"NaOH"\r\n0,12.5\r\nV\r\n0,7.02\r\nV\r\n'
  printf -- '-1,0\r\nBOT\r\n1,0\r\n"NaOH"\r\n0,25\r\nV\r\n0,0\r\nNA\r\n-1,0\r\nEOD\r\n'
} >titration.dif

# A Lotus 1-2-3 worksheet of two columns: labels, whole numbers, and a formula, whose value old
# imports leave empty.
LC_ALL=C awk '
  function u16(v) { printf "%c%c", v % 256, int(v / 256) }
  function record(type, size) { u16(type); u16(size) }
  function cell(type, size, column, row) { record(type, size); printf "%c", 255; u16(column); u16(row) }
  function label(column, row, text) { cell(15, 7 + length(text), column, row); printf "%c%s%c", 39, text, 0 }
  BEGIN {
    record(0, 2); u16(1030)
    record(6, 8); u16(0); u16(0); u16(1); u16(4)
    label(0, 0, "Tank"); label(1, 0, "Litres")
    for (i = 1; i <= 3; i++) {
      label(0, i, "T" i)
      cell(13, 7, 1, i); u16(100 + i * i)
    }
    label(0, 4, "Sum")
    cell(16, 15, 1, 4); printf "%c%c%c%c%c%c%c%c", 0, 0, 0, 0, 0, 96, 115, 64; u16(0)
    record(1, 0)
  }' >tanks.wk1

# What the awk programs below write with: little-endian integers and float32, and zero bytes.
writers='
  function bytes(v, n) { for (; n > 0; n--) { printf "%c", v % 256; v = int(v / 256) } }
  function zeros(n) { bytes(0, n) }
  function i16(v) { bytes(v, 2) }
  function f32(v,  e) {
    for (e = 127; v >= 2; e++) v /= 2
    for (; v < 1; e--) v *= 2
    bytes(e * 8388608 + int((v - 1) * 8388608), 4)
  }
'

# Four near-infrared spectra of NSAS, 50 values from 1100 in steps of 20, and two constituents of each.
LC_ALL=C awk "$writers"' BEGIN {
  for (s = 1; s <= 4; s++) {
    i16(6500); i16(s); printf "Clover %-3d", s
    i16(50); i16(1100); i16(2100); zeros(10); i16(2); zeros(32)
    i16(99); i16(6); i16(2 + s); i16(9); i16(30 + s); i16(7 * s); zeros(52)
    for (p = 0; p < 50; p++) f32(0.4 + s / 100 + 0.2 * exp(-((p - 18 - s) / 9) ^ 2))
    zeros(56)
  }
}' >clover.da
LC_ALL=C awk "$writers"' BEGIN {
  printf "%-10s%-10s%364s", "Protein", "Moisture", ""
  for (s = 1; s <= 4; s++) { f32(18 + s * 3 % 4 / 2); f32(9 + s / 4); zeros(120) }
}' >clover.cn

# Three observations of Brimrose, 40 values from 1200 in steps of 10.
LC_ALL=C awk "$writers"' BEGIN {
  zeros(29); f32(1200); f32(1590); f32(10); i16(40); zeros(2); i16(3); zeros(465)
  for (s = 1; s <= 3; s++) {
    bytes(1000000000 + 61 * s, 4); printf "tablet %d", s; zeros(108)
    for (p = 0; p < 40; p++) f32(1.1 - s / 50 + 0.3 * exp(-((p - 25) / 8) ^ 2))
  }
}' >tablets.dat

# Near-infrared spectra of oils in each form of ordinates that JCAMP-DX knows: plain, packed, and
# with letters for first digits (SQZ), for differences (DIF) and for repetitions (DIFDUP). Then two
# of them linked with a table of peaks.
spectra='
function y(i) { return int(400 + 300 * exp(-(i - 12 - oil) ^ 2 / 20) + 0.5) + (i > 24 ? 30 : 0) }
function coded(v, letters) {
  if (v < 0) return tolower(substr(letters, substr(-v, 1, 1) + 1, 1)) substr(-v, 2)
  return substr(letters, substr(v, 1, 1) + 1, 1) substr(v, 2)
}
function sqz(v) { return coded(v, "@ABCDEFGHI") }
function dif(i) { return coded(y(i) - y(i - 1), "%JKLMNOPQR") }
function repeats(i, n) {
  while (n < 8 && i + n + 1 < 90 && y(i + n + 1) - y(i + n) == y(i) - y(i - 1)) n++
  return n + 1
}
function head(title, type, points) {
  printf "##TITLE= %s\n##JCAMP-DX= 4.24\n##DATA TYPE= %s\n##ORIGIN= invented\n", title, type
  printf "##OWNER= public domain\n##DATE= 98/10/01\n##XUNITS= NANOMETERS\n##YUNITS= ABSORBANCE\n"
  printf "##XFACTOR= 1\n##YFACTOR= 0.001\n##NPOINTS= %d\n", points
}
function spectrum(title, form, i, n) {
  head(title, "INFRARED SPECTRUM", 90)
  printf "##FIRSTX= 1100\n##LASTX= 1278\n##XYDATA= (X++(Y..Y)) $$ %s\n", form
  while (i < 90) {
    # A line of differences begins with the last value again, for a check.
    if (form ~ /DIF/) printf "%d%s", 1098 + 2 * (i ? i : 1), sqz(y(i ? i - 1 : i++))
    else printf "%d", 1100 + 2 * i
    for (n = 0; n < 10 && i < 90; n++) {
      if (form == "AFFN") printf " %d", y(i++)
      if (form == "PAC") printf "%+d", y(i++)
      if (form == "SQZ") printf "%s", sqz(y(i++))
      if (form == "DIF") printf "%s", dif(i++)
      if (form == "DIFDUP") {
        printf "%s%s", dif(i), substr("STUVWXYZs", repeats(i), (repeats(i) > 1))
        i += repeats(i)
      }
    }
    print ""
  }
  if (form ~ /DIF/) print "1278" sqz(y(89))
  print "##END="
}'
for form in AFFN PAC SQZ DIF DIFDUP; do
  awk -v form=$form "$spectra"' BEGIN { spectrum("Oil in " form, form) }' \
    >"oil-$(echo $form | tr A-Z a-z).dx"
done
awk "$spectra"' BEGIN {
  print "##TITLE= Two oils\n##JCAMP-DX= 4.24\n##DATA TYPE= LINK\n##BLOCKS= 4"
  spectrum("Olive", "DIFDUP")
  oil = 3
  spectrum("Sesame", "AFFN")
  head("Sesame, bands", "INFRARED PEAK TABLE", 3)
  print "##PEAK TABLE= (XY..XY)\n1130,700; 1150,430\n1278,430\n##END=\n##END="
}' >oils.jdx

# A workbook of two worksheets, written by python3-xlwt: the runs of an oven with their dates, and
# its settings.
/usr/bin/python3 - <<'END'
import datetime
import xlwt

book = xlwt.Workbook()
date = xlwt.easyxf(num_format_str="yyyy-mm-dd")
runs = book.add_sheet("Runs")
for column, name in enumerate(["Run", "Date", "Peak \u00b0C", "Held min", "Remark"]):
    runs.write(0, column, name)
for run in range(1, 9):
    runs.write(run, 0, "Oven %d" % (run % 3 + 1))
    runs.write(run, 1, datetime.date(2024, 3, 1) + datetime.timedelta(days=run * 3), date)
    runs.write(run, 2, 180 + run * 7 % 13 / 4)
    runs.write(run, 3, 25 + run % 4)
    if run == 5:
        runs.write(run, 4, "door opened")
settings = book.add_sheet("Settings")
for row, (name, value) in enumerate([("Oven 1", 0.85), ("Oven 2", 1.1), ("Oven 3", 0.97)]):
    settings.write(row, 0, name)
    settings.write(row, 1, value)
book.save("ovens.xls")
END

# The log of a spray dryer as TIVON keeps it: a text with TABs, which is a stream of a compound file.
python3 - <<'END'
import struct

rows = ["Minute\tInlet\tOutlet\tFeed"]
for minute in range(0, 31, 3):
    rows.append("%d\t%.1f\t%.1f\t%s" % (minute, 180 + minute * 7 % 5 / 2, 85 + minute * 3 % 4 / 4,
                                        "" if minute == 12 else 40 + minute % 7))
worksheet = ("\r\n".join(rows) + "\r\n").encode()

NONE, END = 0xFFFFFFFF, 0xFFFFFFFE
small = -(-len(worksheet) // 64)  # sectors of 64 bytes, which short streams lie in
large = -(-small // 8)


def entry(name, kind, child, start, size):
    encoded = name.encode("utf-16-le")
    return (encoded.ljust(64, b"\0") + struct.pack("<HBB3I", len(encoded) + 2, kind, 1, NONE, NONE, child) +
            bytes(36) + struct.pack("<IQ", start, size))


def sector(numbers):
    return struct.pack("<128I", *numbers, *[NONE] * (128 - len(numbers)))


chain = [*range(4, 3 + large), END]
with open("dryer.mip", "wb") as file:
    file.write(b"\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1" + bytes(16) +
               struct.pack("<6H", 0x3E, 3, 0xFFFE, 9, 6, 0) +
               struct.pack("<10I", 0, 0, 1, 1, 0, 4096, 2, 1, END, 0) + struct.pack("<I", 0) +
               b"\xff" * 432)
    file.write(sector([0xFFFFFFFD, END, END, *chain]))
    file.write(entry("Root Entry", 5, 1, 3, small * 64) + entry("Dryer.dat", 2, NONE, 0, len(worksheet)) +
               bytes(256))
    file.write(sector([*range(1, small), END]))
    file.write(worksheet.ljust(large * 512, b"\0"))
END

# Excel 2007 workbooks: the runs of a mill with their dates, a mean that a formula found, and a hidden
# worksheet, in XML; sieve fractions in binary parts.
python3 - <<'END'
import struct
import zipfile

MAIN = "http://schemas.openxmlformats.org/spreadsheetml/2006/main"
OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
PACKAGE = "http://schemas.openxmlformats.org/package/2006"


def archive(name, parts):
    with zipfile.ZipFile(name, "w", zipfile.ZIP_DEFLATED) as file:
        for part, content in parts.items():
            if isinstance(content, str):
                content = '<?xml version="1.0" encoding="UTF-8" standalone="yes"?>\n' + content
            file.writestr(zipfile.ZipInfo(part), content, zipfile.ZIP_DEFLATED)


def relationships(*targets):
    inside = "".join('<Relationship Id="rId%d" Type="%s/%s" Target="%s"/>' % (i, OFFICE, kind, target)
                     for i, (kind, target) in enumerate(targets, 1))
    return '<Relationships xmlns="%s/relationships">%s</Relationships>' % (PACKAGE, inside)


def types(extension, main, prefix):
    inside = '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
    for part, kind in (("workbook", main), ("worksheets/sheet1", "worksheet"), ("styles", "styles"),
                       ("sharedStrings", "sharedStrings")):
        inside += '<Override PartName="/xl/%s.%s" ContentType="%s"/>' % (
            part, extension, kind if "." in kind else prefix % kind)
    return '<Types xmlns="%s/content-types">%s</Types>' % (PACKAGE, inside)


def parts(extension):
    return (("worksheet", "worksheets/sheet1." + extension), ("styles", "styles." + extension),
            ("sharedStrings", "sharedStrings." + extension))


words = ["Run", "Date", "d50 \u00b5m", "Sieved", "Remark", "new screen", "Mean", "Setting", "rpm"]
rows = [[("s", words.index(w)) for w in ("Run", "Date", "d50 \u00b5m", "Sieved", "Remark")]]
for run in range(1, 7):
    rows.append([("n", run), ("date", 45350 + run * 3), ("n", 41.5 + run * 7 % 5 / 4), ("b", run % 2)])
rows[4].append(("s", words.index("new screen")))
rows.append([("s", words.index("Mean")), None, ("f", "AVERAGE(C2:C7)", sum(r[2][1] for r in rows[1:]) / 6)])


def cell(row, column, value):
    place = "%s%d" % ("ABCDE"[column], row)
    if value is None:
        return ""
    if value[0] == "f":
        return '<c r="%s"><f>%s</f><v>%s</v></c>' % (place, value[1], value[2])
    kind = {"s": ' t="s"', "b": ' t="b"', "date": ' s="1"', "n": ""}[value[0]]
    return '<c r="%s"%s><v>%s</v></c>' % (place, kind, value[1])


def sheet(rows):
    inside = "".join('<row r="%d">%s</row>' % (r, "".join(cell(r, c, v) for c, v in enumerate(row)))
                     for r, row in enumerate(rows, 1))
    return '<worksheet xmlns="%s"><sheetData>%s</sheetData></worksheet>' % (MAIN, inside)


targets = parts("xml")
archive("mill.xlsx", {
    "[Content_Types].xml": types("xml", "application/vnd.openxmlformats-officedocument.spreadsheetml.sheet.main+xml",
                                 "application/vnd.openxmlformats-officedocument.spreadsheetml.%s+xml"),
    "_rels/.rels": relationships(("officeDocument", "xl/workbook.xml")),
    "xl/_rels/workbook.xml.rels": relationships(*targets, ("worksheet", "worksheets/sheet2.xml")),
    "xl/workbook.xml": '<workbook xmlns="%s" xmlns:r="%s"><sheets><sheet name="Settings" sheetId="2" '
                       'state="hidden" r:id="rId4"/><sheet name="Runs" sheetId="1" r:id="rId1"/>'
                       '</sheets></workbook>' % (MAIN, OFFICE),
    "xl/styles.xml": '<styleSheet xmlns="%s"><numFmts count="1"><numFmt numFmtId="164" '
                     'formatCode="yyyy\\-mm\\-dd"/></numFmts><cellXfs count="2"><xf numFmtId="0"/>'
                     '<xf numFmtId="164"/></cellXfs></styleSheet>' % MAIN,
    "xl/sharedStrings.xml": '<sst xmlns="%s">%s</sst>' % (MAIN, "".join("<si><t>%s</t></si>" % w for w in words)),
    "xl/worksheets/sheet1.xml": sheet(rows),
    "xl/worksheets/sheet2.xml": sheet([[("s", words.index("Setting")), ("s", words.index("rpm"))],
                                       [("n", 1), ("n", 900)], [("n", 2), ("n", 1200)]]),
})


def record(kind, body=b""):
    head = [kind] if kind < 128 else [kind & 127 | 128, kind >> 7]
    size = len(body)
    while size >= 128:
        head.append(size & 127 | 128)
        size >>= 7
    return bytes([*head, size]) + body


def text(string):
    return struct.pack("<I", len(string)) + string.encode("utf-16-le")


words = ["Fraction", "from \u00b5m", "Mass g", "Weighed", "fine", "middle", "coarse"]
table = [record(0, struct.pack("<I", 0))]
table += [record(7, struct.pack("<3I", c, 0, c)) for c in range(4)]
for row in range(1, 4):
    table += [record(0, struct.pack("<I", row)), record(7, struct.pack("<3I", 0, 0, 3 + row)),
              record(2, struct.pack("<3I", 1, 0, (63 << row) << 2 | 2)),
              record(5, struct.pack("<2Id", 2, 0, 12.25 + row * 3.125)),
              record(5, struct.pack("<2Id", 3, 1, 45400.5 + row))]
targets = parts("bin")
archive("sieves.xlsb", {
    "[Content_Types].xml": types("bin", "application/vnd.ms-excel.sheet.binary.macroEnabled.main",
                                 "application/vnd.ms-excel.%s"),
    "_rels/.rels": relationships(("officeDocument", "xl/workbook.bin")),
    "xl/_rels/workbook.bin.rels": relationships(*targets),
    "xl/workbook.bin": record(131) + record(143) + record(156, struct.pack("<2I", 0, 1) + text("rId1") + text("Sieves")) +
                       record(144) + record(132),
    "xl/styles.bin": record(278) + record(617) + record(47, struct.pack("<2H12x", 0, 0)) +
                     record(47, struct.pack("<2H12x", 0, 22)) + record(618) + record(279),
    "xl/sharedStrings.bin": record(159, struct.pack("<2I", 7, 7)) +
                            b"".join(record(19, b"\0" + text(w)) for w in words) + record(160),
    "xl/worksheets/sheet1.bin": record(129) + record(145) + b"".join(table) + record(146) + record(130),
})


# OpenDocument spreadsheets, as a package and as one document: casks with their dates, a value that
# stands for a row of cells, and the blank rows and columns that programs fill a sheet up with.
OASIS = "urn:oasis:names:tc:opendocument:xmlns:"
ODS = "application/vnd.oasis.opendocument.spreadsheet"
SPACES = "".join(' xmlns:%s="%s%s:1.0"' % (name, OASIS, name)
                 for name in ("office", "table", "text", "style", "meta"))
SPACES += ' xmlns:dc="http://purl.org/dc/elements/1.1/" office:version="1.3"'


def ods_cell(kind="", shown="", attributes=""):
    if not kind:
        return "<table:table-cell%s/>" % attributes
    value = {"float": "value", "percentage": "value", "date": "date-value", "boolean": "boolean-value"}.get(kind)
    value = ' office:%s="%s"' % (value, shown) if value else ""
    return '<table:table-cell office:value-type="%s"%s%s><text:p>%s</text:p></table:table-cell>' % (
        kind, value, attributes, shown)


def ods_row(cells, attributes=""):
    return "<table:table-row%s>%s%s</table:table-row>" % (
        attributes, "".join(ods_cell(*cell) for cell in cells),
        ods_cell(attributes=' table:number-columns-repeated="%d"' % (16384 - len(cells))))


def ods_table(name, style, rows):
    filler = ods_row([], ' table:number-rows-repeated="%d"' % (1048576 - len(rows)))
    return '<table:table table:name="%s" table:style-name="%s">%s%s</table:table>' % (
        name, style, "".join(rows), filler)


casks = [ods_row([("string", w) for w in ("Cask", "Filled", "pH", "Strength", "Racked")])]
for cask in range(1, 5):
    casks.append(ods_row([("string", "Eiche  %d".replace("  ", " <text:s/>") % cask),
                          ("date", "2024-10-%02d" % (cask * 5)), ("float", 3.1 + cask * 3 % 5 / 16),
                          ("percentage", 0.11 + cask / 128), ("boolean", ("false", "true")[cask % 2])]))
hidden = [ods_row([("string", "Limit"), ("float", 3.5)])]
styles = "".join('<style:style style:name="%s" style:family="table"><style:table-properties '
                 'table:display="%s"/></style:style>' % style for style in (("ta1", "true"), ("ta2", "false")))
styles = "<office:automatic-styles>%s</office:automatic-styles>" % styles
body = "<office:body><office:spreadsheet>%s%s</office:spreadsheet></office:body>" % (
    ods_table("Casks", "ta1", casks), ods_table("Limits", "ta2", hidden))
meta = ("<office:meta><dc:title>Casks of 2024</dc:title><meta:initial-creator>Cellar</meta:initial-creator>"
        "</office:meta>")
with zipfile.ZipFile("casks.ods", "w") as file:
    entries = '<manifest:file-entry manifest:full-path="/" manifest:media-type="%s"/>' % ODS
    entries += "".join('<manifest:file-entry manifest:full-path="%s" manifest:media-type="text/xml"/>' % part
                       for part in ("content.xml", "meta.xml"))
    for name, content in (
            ("mimetype", ODS), ("content.xml", "<office:document-content%s>%s%s</office:document-content>"
                                % (SPACES, styles, body)),
            ("meta.xml", "<office:document-meta%s>%s</office:document-meta>" % (SPACES, meta)),
            ("META-INF/manifest.xml", '<manifest:manifest xmlns:manifest="%smanifest:1.0" '
             'manifest:version="1.3">%s</manifest:manifest>' % (OASIS, entries))):
        if name != "mimetype":
            content = '<?xml version="1.0" encoding="UTF-8"?>\n' + content
        file.writestr(zipfile.ZipInfo(name), content, zipfile.ZIP_STORED if name == "mimetype" else zipfile.ZIP_DEFLATED)

presses = ods_table("Presses", "ta1", [
    ods_row([("string", "Press"), ("string", "bar")]),
    ods_row([("string", "P1"), ("float", 1.8, ' table:number-columns-repeated="2"')]),
    ods_row([("string", "P2"), ("float", "2.25")], ' table:number-rows-repeated="2"')])
with open("presses.fods", "w", encoding="utf-8") as file:
    file.write('<?xml version="1.0" encoding="UTF-8"?>\n<office:document%s office:mimetype="%s">%s<office:body>'
               "<office:spreadsheet>%s</office:spreadsheet></office:body></office:document>\n"
               % (SPACES, ODS, meta, presses))

# An XML spreadsheet of 2003: vats with their dates, a merged heading, a text of several fonts.
with open("vats.xml", "w", encoding="utf-8", newline="\r\n") as file:
    def xml_cell(kind, value, attributes=""):
        return '<Cell%s><Data ss:Type="%s">%s</Data></Cell>' % (attributes, kind, value)

    space = "urn:schemas-microsoft-com:office:spreadsheet"
    lines = [xml_cell("String", "Vats of 2023", ' ss:MergeAcross="1"') + xml_cell("String", "Remark"),
             xml_cell("String", "Vat") + xml_cell("String", "Emptied") + xml_cell("String", "pH")]
    lines += [xml_cell("String", "V%d" % vat) + xml_cell("DateTime", "2023-11-%02dT08:30:00.000" % (vat * 7)) +
              xml_cell("Number", 5 + vat / 8) for vat in range(1, 4)]
    file.write('<?xml version="1.0"?>\n<?mso-application progid="Excel.Sheet"?>\n<Workbook xmlns="%s" xmlns:ss="%s">\n'
               '<Worksheet ss:Name="Vats"><Table>\n%s\n<Row ss:Index="8"><Cell ss:Index="3"><ss:Data '
               'ss:Type="String" xmlns="http://www.w3.org/TR/REC-html40"><B>no</B> sample</ss:Data></Cell></Row>\n'
               "</Table></Worksheet></Workbook>\n"
               % (space, space, "\n".join("<Row>%s</Row>" % line for line in lines)))
END

# A page with two tables: a caption, spans, line breaks, numbers that are behind what is shown.
cat >kilns.html <<'END'
<!DOCTYPE html>
<html><head><title>Kilns</title><meta charset="utf-8"><style>td { color: black }</style></head>
<body><h1>Kilns of 2024</h1>
<table><caption>Firings</caption>
<tr><th rowspan=2>Kiln<th colspan=2>Peak<th>Loss
<tr><th>°C<th>minutes<th>share
<tr><td>K1<td>1180<td>35<td x:num="0.0125">1 %
<tr><td>K2<br>repaired<td>1205.5<td>28<td x:num="0.02">2 %
</table>
<table id="glazes"><tr><td>Glaze<td>Kiln<tr><td>celadon<td>K1</table>
</body></html>
END

# Matrices of MATLAB: spectra of mashes with the names of their rows and columns, what was measured
# beside them and a struct, some of it compressed; and the same worts as years ago, in level 4 of a
# workstation.
python3 - <<'PY'
import struct
import zlib

CELL, STRUCT, CHAR, SPARSE, DOUBLE, SINGLE, UINT8 = 1, 2, 4, 5, 6, 7, 9


def element(kind, data):
    if 0 < len(data) <= 4:
        return struct.pack("<HH", kind, len(data)) + data.ljust(4, b"\0")
    return struct.pack("<II", kind, len(data)) + data + b"\0" * (-len(data) % 8)


def array(kind, sizes, rest, name="", flags=0):
    return element(14, element(6, struct.pack("<II", kind | flags << 8, 0))
                   + element(5, struct.pack("<%di" % len(sizes), *sizes))
                   + element(1, name.encode()) + rest)


def numbers(sizes, values, name="", kind=DOUBLE, stored=(9, "d")):
    return array(kind, sizes, element(stored[0], struct.pack("<%d%s" % (len(values), stored[1]), *values)), name)


def text(value, name=""):
    return array(CHAR, (1, len(value)), element(17, value.encode("utf-16-le")), name)


def packed(variable):
    data = zlib.compress(variable, 9)
    return struct.pack("<II", 15, len(data)) + data


nan = float("nan")
mashes = ["Mash %d" % m for m in range(1, 6)]
waves = [1100 + 20 * w for w in range(6)]
info = array(STRUCT, (1, 1), element(5, struct.pack("<i", 8)) + element(1, b"".join(
    name.ljust(8, b"\0") for name in (b"malt", b"degrees")))
    + text("Münchner") + numbers((1, 3), [52, 63.5, 72], kind=SINGLE, stored=(7, "f")), "info")
with open("mashes.mat", "wb") as file:
    file.write(b"MATLAB 5.0 MAT-file, Platform: GLNXA64, Created on: Mon Mar  4 09:30:00 2024".ljust(116)
               + b" " * 8 + struct.pack("<H", 0x0100) + b"IM")
    file.write(packed(numbers((5, 6), [nan if (m, w) == (2, 3) else 0.25 + m / 64 + w * w / 128
                                       for w in range(6) for m in range(5)], "spectra")))
    file.write(packed(array(CELL, (5, 1), b"".join(map(text, mashes)), "obsNames")))
    file.write(array(CELL, (1, 6), b"".join(text("%d nm" % w) for w in waves), "varNames"))
    file.write(numbers((5, 1), [12, 14, 13, 11, 15], "extract", stored=(2, "B")))
    file.write(array(SPARSE, (3, 3), element(5, struct.pack("<3i", 0, 2, 1)) + element(5, struct.pack("<4i", 0, 1, 1, 3))
                     + element(9, struct.pack("<3d", 0.5, 1.5, 2)), "transfer"))
    file.write(info)


def old(name, columns, text=False):
    data = b"".join(struct.pack(">%dd" % len(column), *column) for column in columns)
    return struct.pack(">5i", 1000 + text, len(columns[0]), len(columns), 0, len(name) + 1) + name + b"\0" + data


with open("worts.mat", "wb") as file:
    file.write(old(b"wort", [[12.25, 11.5, 13], [5.25, 5.5, nan]])
               + old(b"labels", list(zip(*map(bytes, (b"Wort A", b"Wort B", b"Wort C")))), text=True))
PY

# A Bruker OPUS file: the absorbance of hops, and what it was measured and computed from.
python3 - <<'PY'
import math
import struct


def parameter(name, value):
    if isinstance(value, int):
        kind, data = 0, struct.pack("<i", value)
    elif isinstance(value, float):
        kind, data = 1, struct.pack("<d", value)
    else:
        kind, data = 2, value.encode("cp1252") + b"\0"
        data += b"\0" * (len(data) % 2)
    return name.encode() + b"\0" + struct.pack("<2H", kind, len(data) // 2) + data


def parameters(**values):
    data = b"".join(parameter(*pair) for pair in values.items()) + b"END\0\0\0\0\0"
    return data + b"\0" * (-len(data) % 4)


def spectrum(kind, values, first, last, unit, factor=1.0):
    stated = parameters(DPF=1, NPT=len(values), FXV=first, LXV=last, CSF=factor, MXY=max(values) * factor,
                        MNY=min(values) * factor, DAT="04/03/2024", TIM="09:30:00.250 (GMT+1)", DXU=unit)
    return [(kind, struct.pack("<%df" % len(values), *values)), (kind | 0x10, stated)]


whole = [math.ldexp(i * i % 7 - 3, -4) for i in range(16)]
reference = [0.5 + i / 64 for i in range(12)]
sample = [r * (1 - i % 4 / 8) for i, r in enumerate(reference)]
absorbance = [i % 4 / 16 for i in range(12)]
history = "\0".join(("Operator:Brewer\tVersion 8.5\thops.0", "Advanced Measurement\t\t2024/03/04 09:31:00 (GMT+1)"))
blocks = [(0x3400, b""), (0x20, parameters(INS="TENSOR", RSN=1204, SRN="0173")),
          (0x30, parameters(NSS=32, RES=4.0, PLF="AB")), (0xA0, parameters(SNM="Hallertau, früh", CNM="Brewer", CPG=1252)),
          (0x38, parameters(NSR=16, RES=4.0))]
blocks += spectrum(0x807, whole, 0.0, 15.0, "PNT", 0.25) + spectrum(0x407, sample, 1800.0, 1778.0, "WN")
blocks += spectrum(0x40B, reference, 1800.0, 1778.0, "WN") + spectrum(0x100F, absorbance, 1800.0, 1778.0, "WN")
blocks += [(0x40680000, b"\0" * 4 + history.encode("cp1252") + b"\0" * (-len(history) % 4))]
entries, data, at = b"", b"", 24 + 12 * 40
for kind, block in blocks:
    is_directory = kind == 0x3400
    entries += struct.pack("<I2i", kind, 120 if is_directory else len(block) // 4, 24 if is_directory else at + len(data))
    data += block
with open("hops.0", "wb") as file:
    file.write(b"\x0a\x0a\xfe\xfe" + struct.pack("<d3i", 920622, 24, 40, len(blocks)) + entries.ljust(480, b"\0") + data)
PY

# A run of juices on a liquid chromatograph: the signal at 280 nm, and the spectra of its diode array.
python3 - <<'PY'
import math
import struct


def header(size, version, kind, texts, numbers):
    head = bytearray(size)
    for at, value in {0: version, 4: kind, 24: "Juice 7", 148: "AB", 178: "04-Mar-24, 09:30:00", 208: "G1315B",
                      218: "LC", 228: "JUICES.M", **texts}.items():
        head[at:at + len(value) + 1] = bytes([len(value)]) + value.encode()
    for at, form, *values in [(248, "I", int(version)), (252, "3H", 3, 21, 1), *numbers]:
        struct.pack_into(">" + form, head, at, *values)
    return bytes(head)


def stored(values, order, before=0):
    data = b""
    for value in values:
        far = not -32768 < value - before < 32768
        data += struct.pack(order + "hi", -32768, value) if far else struct.pack(order + "h", value - before)
        before = value
    return data


def peak(minute, nm=280):
    return 90 * math.exp(-((minute - 0.4) / 0.05) ** 2) * math.exp(-((nm - 276) / 25) ** 2) + nm / 200 + minute


scale = 2.0 ** -11
trace = [round(peak(0.0062 * i) / scale) for i in range(160)]
with open("juices.ch", "wb") as file:
    file.write(header(1024, "30", "LC DATA FILE", {580: "mAU", 596: "DAD A, Sig=280,4 Ref=off", 322: "Juice Desk"}, [
        (264, "I", 3), (282, "4i", -372, 58776, max(trace), min(trace)), (636, "2d", 0, scale)]))
    data, before = b"", 0
    for begin in range(0, len(trace), 64):
        part = trace[begin:begin + 64]
        data += bytes([16, len(part)]) + stored(part, ">", before)
        before = part[-1]
    file.write(data + b"\0\0")

scans, index = b"", b""
for scan in range(12):
    minute = 0.05 * (scan + 2)
    data = stored([round(peak(minute, nm) / scale) for nm in range(240, 337, 6)], "<")
    index += struct.pack("<2IH", 512 + len(scans), round(60000 * minute), 0)
    scans += struct.pack("<2HI3H8x", 67, 22 + len(data), round(60000 * minute), 4800, 6720, 120) + data
with open("juices.uv", "wb") as file:
    file.write(header(512, "31", "LC DATA FILE", {326: "mAU"}, [
        (260, "2I", 512 + len(scans), 2), (278, "I", 12), (318, "d", scale)]))
    file.write(scans + struct.pack("<3H", 68, 6 + len(index), 0) + index)
PY

# netCDF files: a chromatogram of cider with its peaks, the mass spectra of its esters, and a table of
# an orchard in which days are records and some values are packed.
python3 - <<'PY'
import math
import struct

CODES = {"b": 1, "c": 2, "h": 3, "i": 4, "f": 5, "d": 6}


def padded(data):
    return data + b"\0" * (-len(data) % 4)


def name(text):
    return struct.pack(">i", len(text)) + padded(text.encode())


def values(form, what):
    return what.encode("latin-1") if form == "c" else struct.pack(f">{len(what)}{form}", *what)


def listed(tag, items):
    return struct.pack(">2i", tag if items else 0, len(items)) + b"".join(items)


def attributes(pairs):
    items = []
    for label, value in pairs.items():
        form, what = ("c", value) if isinstance(value, str) else value
        items.append(name(label) + struct.pack(">2i", CODES[form], len(what)) + padded(values(form, what)))
    return listed(12, items)


def write(path, dimensions, said, variables, records=0):
    names = list(dimensions)
    at = 0
    for begins in (None, True):
        fixed, rounds, head = b"", [b""] * records, []
        for label, along, form, what, own in variables:
            data, in_records = values(form, what), bool(along) and dimensions[along[0]] == 0
            size = len(data) // records if in_records else len(data)
            begin = at + (len(rounds[0]) if in_records else len(fixed) - fixed_size if begins else 0)
            if in_records:
                rounds = [r + padded(data[i * size:(i + 1) * size]) for i, r in enumerate(rounds)]
            else:
                fixed += padded(data)
            head.append(name(label) + struct.pack(f">{1 + len(along)}i", len(along), *map(names.index, along)) +
                        attributes(own) + struct.pack(">3i", CODES[form], len(padded(data[:size])), begin))
        header = (b"CDF\1" + struct.pack(">i", records) +
                  listed(10, [name(n) + struct.pack(">i", size) for n, size in dimensions.items()]) +
                  attributes(said) + listed(11, head))
        fixed_size, at = len(fixed), len(header) + len(fixed)
    with open(path, "wb") as file:
        file.write(header + fixed + b"".join(rounds))


def bell(x, at, width):
    return math.exp(-((x - at) / width) ** 2)


peaks = [("ethyl acetate", 14.5, 1.2, 620), ("isobutanol", 23.0, 1.5, 180), ("isoamyl acetate", 38.5, 1.8, 340)]
write("ciders.cdf", {"point_number": 120, "peak_number": 3, "_32_byte_string": 32},
      {"aia_template_revision": "1.0", "sample_name": "Cider 12", "operator_name": "JS", "retention_unit": "seconds",
       "detector_unit": "pA", "detector_name": "FID", "injection_date_time_stamp": "20240304093000+0100"},
      [("actual_delay_time", [], "f", [0.5], {}), ("actual_sampling_interval", [], "f", [0.5], {}),
       ("ordinate_values", ["point_number"], "f",
        [round(4 + sum(h * bell(0.5 * i + 0.5, at, w) for _, at, w, h in peaks), 2) for i in range(120)],
        {"uniform_sampling_flag": "Y"}),
       ("peak_retention_time", ["peak_number"], "f", [at for _, at, w, h in peaks], {}),
       ("peak_area", ["peak_number"], "f", [round(w * h * math.sqrt(math.pi), 1) for _, at, w, h in peaks], {}),
       ("peak_name", ["peak_number", "_32_byte_string"], "c", "".join(n.ljust(32, "\0") for n, *_ in peaks), {})])

masses = [29, 43, 61, 70, 88]
scans = [[(m, round(400 * bell(s, 5, 3) * bell(m, 43 + s, 30))) for m in masses[s % 2:]] for s in range(10)]
points = [point for scan in scans for point in scan]
starts = [sum(map(len, scans[:s])) for s in range(10)]
write("esters.cdf", {"scan_number": 10, "point_number": 0, "instrument_number": 1, "_8_byte_string": 8},
      {"ms_template_revision": "1.0.1", "experiment_type": "Centroided Mass Spectrum", "sample_name": "Cider 12"},
      [("scan_acquisition_time", ["scan_number"], "d", [12.5 + 0.5 * s for s in range(10)], {}),
       ("total_intensity", ["scan_number"], "d", [sum(v for _, v in scan) for scan in scans], {"units": "counts"}),
       ("scan_index", ["scan_number"], "i", starts, {}), ("point_count", ["scan_number"], "i", list(map(len, scans)), {}),
       ("instrument_name", ["instrument_number", "_8_byte_string"], "c", "Trap 2\0\0", {}),
       ("mass_values", ["point_number"], "h", [20 * m for m, _ in points], {"scale_factor": ("d", [0.05]), "units": "M/Z"}),
       ("intensity_values", ["point_number"], "i", [v for _, v in points], {"units": "counts"})], len(points))

days = range(8)
write("orchard.nc", {"day": 0, "depth": 4, "letters": 6}, {"title": "Orchard 3", "Conventions": "CF-1.8"},
      [("day", ["day"], "i", [120 + d for d in days], {"units": "days since 2024-01-01"}),
       ("depth", ["depth"], "f", [0.1, 0.2, 0.4, 0.8], {"units": "m"}),
       ("soil", ["day", "depth"], "h", [-32767 if d == 3 else 1200 + 15 * d - 40 * k for d in days for k in range(4)],
        {"long_name": "soil temperature", "units": "degC", "scale_factor": ("d", [0.01]), "_FillValue": ("h", [-32767])}),
       ("rain", ["day"], "d", [0.5 * (d * 5 % 7) for d in days], {"units": "mm"}),
       ("sky", ["day", "letters"], "c", "".join(("clear", "cloudy", "rain")[d % 3].ljust(6) for d in days), {})], len(days))
PY

# The same kinds of table as HDF5, written by python3-h5py: cellars as netCDF-4, with packed values, names
# as texts and a group, and stills as a MATLAB 7.3 file with cells and a struct.
/usr/bin/python3 - <<'PY'
import h5py
import numpy


def dataset(group, name, values, **more):
    return group.create_dataset(name, data=values, track_times=False, **more)


def text(words):
    return numpy.array(words, "O")


with h5py.File("cellars.nc4", "w", libver="latest") as file:
    file.attrs["title"] = "Cellars of March"
    cellar = dataset(file, "cellar", text(["North", "South", "Kœln"]), dtype=h5py.string_dtype())
    week = dataset(file, "week", numpy.arange(1, 5, dtype="i4"))
    week.attrs["units"] = "weeks since 2024-03-01"
    air = dataset(file, "air", numpy.array([1140 + 25 * w - 30 * c if w != 2 else -1 for w in range(4) for c in range(3)],
                                           "i2").reshape(4, 3), chunks=(2, 3), compression="gzip", shuffle=True)
    air.attrs["units"], air.attrs["scale_factor"], air.attrs["_FillValue"] = "degC", 0.01, numpy.int16(-1)
    casks = dataset(file.create_group("stock"), "casks", numpy.array([12, 30, 2 ** 40], "u8"))
    for scale, name in ((cellar, "cellar"), (week, "week")):
        scale.make_scale(name)
    for variable, scales in ((air, (week, cellar)), (casks, (cellar,))):
        for at, scale in enumerate(scales):
            variable.dims[at].attach_scale(scale)

with h5py.File("stills.mat", "w", libver="latest", userblock_size=512) as file:
    def store(group, name, values, kind, **more):
        stored = dataset(group, name, values)
        for label, value in {"class": numpy.bytes_(kind), **more}.items():
            stored.attrs["MATLAB_" + label] = value
        return stored

    def chars(group, name, letters):
        return store(group, name, numpy.array([[ord(c)] for c in letters], "u2"), "char", int_decode=numpy.int32(2))

    refs = file.create_group("#refs#")

    def cells(group, name, words):
        found = [[chars(refs, f"{name}{i}", word).ref] for i, word in enumerate(words)]
        store(group, name, numpy.array(found, h5py.ref_dtype), "cell")

    store(file, "runs", numpy.array([[61.5, 62.25, 60.75, 63], [20, 21, 19.5, 22.5], [4, 5, 3, 6]]), "double")
    cells(file, "varnames", ["yield", "volume", "hours"])
    store(file, "clean", numpy.array([[1, 0, 1, 1]], "u1"), "logical", int_decode=numpy.int32(1))
    still = file.create_group("still")
    still.attrs["MATLAB_class"] = numpy.bytes_("struct")
    chars(still, "name", "Alembic β")
    store(still, "litres", numpy.array([[350]], "i4"), "int32")
with open("stills.mat", "r+b") as file:
    file.write(b"MATLAB 7.3 MAT-file, Platform: GLNXA64, Created on: Mon Mar  4 09:30:00 2024 HDF5 schema 1.00 .".ljust(116) +
               b"\0" * 8 + b"\0\2IM")
PY
