#include "nvimport/hosting/import/FileKinds.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <string_view>

#include "nvimport/formats/matrix/MatLayout.h"
#include "nvimport/hosting/import/Formats.h"
#include "nvimport/platform/ByteReader.h"
#include "nvimport/platform/CompoundFile.h"
#include "nvimport/platform/InputFile.h"
#include "nvimport/platform/Paths.h"

namespace nvimport {

using namespace std::string_view_literals;

namespace {

constexpr const char* kSaveAs = "save it as an Excel workbook (.xlsx) or as CSV";
constexpr const char* kUnpack = "unpack it and read what is in it";
constexpr const char* kExport = "the program that wrote it can export a table as text or CSV";
constexpr const char* kPicture = "read the file that the picture was drawn from";
constexpr const char* kAnotherMaker =
    "the program that wrote it can export JCAMP-DX, Galactic SPC or text";

// A kind of a format, known without doubt.
constexpr FileKind Surely(const char* name, const char* format, const char* advice = nullptr) {
  return {name, advice, format, "", "", true};
}

constexpr FileKind kEncrypted{"an encrypted Office package",
                              "open it with its password and save it without one",
                              "Excel2007 File",
                              "",
                              "",
                              /*is_sure=*/true,
                              /*by_kept_rules=*/false};
constexpr FileKind kPlainText{"plain text", nullptr, "Text File"};
constexpr FileKind kQuotedText{"text whose quotes hold fields together", nullptr, "CSV File"};
constexpr FileKind kTabText{"TAB-separated text", nullptr, "CSV File", "", "delimiter=tab"};
constexpr FileKind kBareTabText{"TAB-separated text", nullptr, "CSV File", "",
                                "delimiter=tab;quote=none"};
constexpr FileKind kUtf16{"text in UTF-16", nullptr, "CSV File"};
constexpr FileKind kUnmarkedUtf16{"text in UTF-16 without a byte order mark",
                                  "iconv -t UTF-8 -f UTF-16LE (or UTF-16BE) makes it readable"};
constexpr FileKind kJcamp{"a JCAMP-DX file", nullptr, "JCAMP-DX File"};
constexpr FileKind kSpc{"Galactic SPC spectra", nullptr, "GalacticSPC File"};
constexpr FileKind kLotus = Surely("a Lotus 1-2-3 worksheet", "Lotus 1-2-3 File");
constexpr FileKind kExcel = Surely("an Excel 97-2003 workbook (.xls)", "Excel File");
constexpr FileKind kOldExcel = Surely("an Excel worksheet before Excel 97", "Excel File");
constexpr FileKind kMatlab = Surely("a MATLAB file", "Matlab File");
constexpr FileKind kNetcdf = Surely("a netCDF file", "NetCDF Files");
constexpr FileKind kMatlab73{
    "a MATLAB 7.3 file", "the package nvimport-hdf5 reads it; MATLAB saves it anew with save -v7",
    "Matlab 7.3 File"};
constexpr FileKind kHtml{"an HTML page", "open it in a spreadsheet and save the table as CSV",
                         "HTML Tables"};
constexpr FileKind kTivon{"a TIVON file", nullptr, "TIVON File"};
constexpr FileKind kDif{"a DIF worksheet", nullptr, "DIF File(OEM)"};
constexpr FileKind kDisguisedText{"plain text under the name of another kind", nullptr, "",
                                  "Text File"};
constexpr FileKind kOtherSpc{"another maker's \".spc\"", kAnotherMaker};

// Bytes that a file of the kind begins with or has `at` a place of its own.
struct Signature {
  std::string_view bytes;
  FileKind kind;
  std::size_t at = 0;
};

constexpr Signature kSignatures[] = {
    {"mimetypeapplication/vnd.oasis.opendocument.spreadsheet"sv,
     Surely("an OpenDocument spreadsheet", "OpenDocument Spreadsheet", kSaveAs), 30},
    {"mimetypeapplication/vnd.oasis.opendocument"sv, {"an OpenDocument file", kExport}, 30},
    {"%PDF-"sv, {"a PDF document", "it holds pages, no cells; ask for the table as CSV"}},
    {R"({\rtf)"sv, {"an RTF document", "save its table as plain text"}},
    {"\x1f\x8b"sv, {"a gzip archive", "gunzip unpacks it"}},
    {"BZh"sv, {"a bzip2 archive", "bunzip2 unpacks it"}},
    {"\xfd"
     "7zXZ\0"sv,
     {"an xz archive", "unxz unpacks it"}},
    {"\x28\xb5\x2f\xfd"sv, {"a Zstandard archive", "unzstd unpacks it"}},
    {"7z\xbc\xaf\x27\x1c"sv, {"a 7-Zip archive", kUnpack}},
    {"Rar!\x1a\x07"sv, {"a RAR archive", kUnpack}},
    {"ustar"sv, {"a tar archive", kUnpack}, 257},
    {"\x89PNG\r\n\x1a\n"sv, {"a PNG picture", kPicture}},
    {"\xff\xd8\xff"sv, {"a JPEG picture", kPicture}},
    {"GIF8"sv, {"a GIF picture", kPicture}},
    {"II*\0"sv, {"a TIFF picture", kPicture}},
    {"MM\0*"sv, {"a TIFF picture", kPicture}},
    {"\x89HDF\r\n\x1a\n"sv,
     {"an HDF5 or netCDF-4 file",
      "the package nvimport-hdf5 reads it; nccopy -k cdf5 makes a classic netCDF file of one",
      "NetCDF-4 File"}},
    {"\x89HDF\r\n\x1a\n"sv, kMatlab73, 512},
    {"XLODBC"sv, {"a database query", "the package nvimport-odbc runs it", "Database Query"}},
    {"CDF\x01"sv, kNetcdf},
    {"CDF\x02"sv, kNetcdf},
    {"CDF\x05"sv, kNetcdf},
    {"\x0a\x0a\xfe\xfe"sv, Surely("Bruker OPUS spectra", "Bruker OPUS File")},
    {"\0\1IM"sv, kMatlab, 124},
    {"\1\0MI"sv, kMatlab, 124},
    {"SQLite format 3\0"sv, {"an SQLite database", "sqlite3 -csv writes a table of it as CSV"}},
    {"\0\x01\0\0Standard "sv, {"an Access database", kExport}},
    {"PAR1"sv, {"a Parquet file", kExport}},
    {"ARROW1"sv, {"an Arrow file", kExport}},
    {"\x93NUMPY"sv, {"a NumPy array", "numpy.savetxt writes it as text"}},
    {"$FL2"sv, {"an SPSS file", kExport}},
    {"$FL3"sv, {"an SPSS file", kExport}},
    {"<stata_dta>"sv, {"a Stata file", kExport}},
    {"RDX"sv, {"R data", "write.csv in R writes a table of it"}},
    {"SNES-SPC700 Sound File Data"sv, {"a sound file called \".spc\"", "it holds no spectrum"}},
    {"Spectral Data File"sv, {"another maker's infrared spectrum (.spa)", kAnotherMaker}},
    {"WDF1"sv, {"another maker's Raman spectra (.wdf)", kAnotherMaker}},
    {"PEPE"sv, {"another maker's spectrum (.sp)", kAnotherMaker}},
    {"\xff\xfe\0\0"sv, {"text in UTF-32", "iconv -t UTF-8 -f UTF-32 makes it readable"}},
    {"\0\0\xfe\xff"sv, {"text in UTF-32", "iconv -t UTF-8 -f UTF-32 makes it readable"}},
    {"\0\0\2\0\4\4"sv, kLotus},
    {"\0\0\2\0\5\4"sv, kLotus},
    {"\0\0\2\0\6\4"sv, kLotus},
    {"\x09\0\4\0"sv, kOldExcel},
    {"\x09\2\6\0"sv, kOldExcel},
    {"\x09\4\6\0"sv, kOldExcel},
    {"TABLE\n0,1\n"sv, kDif},
    {"TABLE\r\n0,1\r\n"sv, kDif},
    {"\x7f"
     "ELF"sv,
     {"a program", "it holds no data; check the name"}},
    {"MZ"sv, {"a program", "it holds no data; check the name"}},
};

// A name within a ZIP archive or a compound file that only files of the kind have.
struct Member {
  std::string_view name;
  FileKind kind;
};

constexpr Member kInZip[] = {
    {"xl/workbook.bin", Surely("an Excel 2007 binary workbook (.xlsb)", "Excel2007 File")},
    {"xl/wo", Surely("an Excel 2007 workbook (.xlsx)", "Excel2007 File")},
    {"word/", {"a Word document (.docx)", "save its table as CSV or plain text"}},
    {"ppt/", {"a presentation (.pptx)", kExport}},
    {"", {"a ZIP archive", kUnpack}},
};

constexpr Member kInCompoundFile[] = {
    {"EncryptedPackage", kEncrypted},
    {"WordDocument", {"a Word document (.doc)", "save its table as CSV or plain text"}},
    {"PowerPoint Document", {"a presentation (.ppt)", kExport}},
    {"__properties_version1.0", {"a mail message (.msg)", "save what is attached to it"}},
    // Last, since a document can hold a workbook.
    {"Workbook", kExcel},
    {"Book", kExcel},
};

constexpr Member kMarkup[] = {
    {"application/vnd.oasis.opendocument.spreadsheet",
     Surely("an OpenDocument spreadsheet", "OpenDocument Spreadsheet", kSaveAs)},
    {"urn:schemas-microsoft-com:office:spreadsheet",
     Surely("an XML spreadsheet of 2003", "XML Spreadsheet 2003", kSaveAs)},
    {"<html", kHtml},
    {"<!doctype html", kHtml},
    {"<table", kHtml},
    {"<?xml", {"an XML document", kExport}},
};

constexpr std::size_t kHead = 16384;

std::optional<std::string> Head(const std::string& path) {
  std::string head(kHead, '\0');
  InputFile file(path.c_str());
  const std::ptrdiff_t got = file.is_open() ? file.Read(head) : -1;
  if (got < 0) return std::nullopt;
  head.resize(static_cast<std::size_t>(got));
  return head;
}

template <std::size_t kCount>
std::optional<FileKind> FindMember(const Member (&members)[kCount], std::string_view text) {
  for (const Member& member : members)
    if (text.find(member.name) != std::string_view::npos) return member.kind;
  return std::nullopt;
}

bool HasExtension(const std::string& path, std::string_view extension) {
  return EqualIgnoringCase(NvGetFileExtension(path), extension);
}

std::optional<FileKind> CompoundKind(const std::string& path) {
  CompoundFile file;
  if (!file.Open(path.c_str())) return std::nullopt;
  for (const Member& member : kInCompoundFile)
    if (std::ranges::count(file.entries(), member.name, &CompoundFile::Entry::name) > 0)
      return member.kind;
  const auto is_worksheet = [](const CompoundFile::Entry& entry) {
    return entry.kind == CompoundFile::Kind::kStream && HasExtension(entry.name, "dat");
  };
  if (std::ranges::any_of(file.entries(), is_worksheet)) return kTivon;
  return std::nullopt;
}

// The names in an archive stand once more at its end, together.
std::string WithTail(const std::string& path, std::string head) {
  constexpr std::uint64_t kTail = 256 * 1024;
  InputFile file(path.c_str());
  const std::uint64_t begin = std::max<std::uint64_t>(
      head.size(), file.size() - std::min<std::uint64_t>(file.size(), kTail));
  std::string tail(kTail, '\0');
  const std::ptrdiff_t got = file.Seek(begin) ? file.Read(tail) : 0;
  return head.append(tail, 0, static_cast<std::size_t>(std::max<std::ptrdiff_t>(got, 0)));
}

std::string_view WithoutMark(std::string_view head) {
  constexpr std::string_view kMark = "\xef\xbb\xbf";
  if (head.starts_with(kMark)) head.remove_prefix(kMark.size());
  return head;
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return lower;
}

// Markup begins with an angle bracket, perhaps behind a mark of its encoding and blanks.
std::optional<FileKind> MarkupKind(std::string_view head) {
  head = WithoutMark(head);
  head.remove_prefix(std::min(head.find_first_not_of(" \t\r\n"), head.size()));
  return head.starts_with('<') ? FindMember(kMarkup, Lower(head)) : std::nullopt;
}

bool IsText(std::string_view head) {
  return std::ranges::all_of(head, [](unsigned char c) {
    return c >= 0x20 || c == '\t' || c == '\r' || c == '\n' || c == '\f';
  });
}

// The labels that every file of the kind has, wherever they stand in its head.
bool IsJcamp(std::string_view head) {
  const std::string lower = Lower(WithoutMark(head));
  return lower.find_first_not_of(" \t\r\n") == lower.find("##") &&
         lower.find("##title") != std::string::npos && lower.find("##jcamp") != std::string::npos;
}

// What the main header of the usual version holds: its letter, the ends of x, how many spectra.
bool IsSpc(std::string_view head) {
  constexpr std::size_t kHeader = 512;
  if (head.size() < kHeader || head[1] != 'K') return false;
  const auto is_x = [&](std::size_t at) {
    const auto x = Load<double>(head.data() + at, std::endian::little);
    return std::isfinite(x) && std::abs(x) < 1e9 && (x == 0 || std::abs(x) > 1e-9);
  };
  const auto spectra = Load<std::int32_t>(head.data() + 24, std::endian::little);
  return is_x(8) && is_x(16) && spectra >= 0 && spectra < 1 << 24;
}

// Texts in Latin letters have a zero byte beside nearly each of them.
bool IsUnmarkedUtf16(std::string_view head) {
  std::size_t zeros[2] = {};
  for (std::size_t i = 0; i < head.size(); ++i) zeros[i % 2] += head[i] == '\0' ? 1 : 0;
  const std::size_t half = head.size() / 2;
  const std::size_t most = std::max(zeros[0], zeros[1]);
  std::string letters(head);
  std::erase(letters, '\0');
  return half > 1 && std::min(zeros[0], zeros[1]) == 0 && most * 4 > half * 3 && IsText(letters);
}

// What quotes are in a text: nothing, what holds its fields together, or a sign like others.
enum class Quotes { kNone, kHold, kBroken };

// Quotes hold a field together if they stand at both its ends, between the same delimiter all over.
Quotes QuotesIn(std::string_view head, bool is_cut, std::string_view delimiters) {
  Quotes found = Quotes::kNone;
  char delimiter = '\0';
  const auto is_end = [&](char c) {
    if (c == '\n' || c == '\r') return true;
    if (delimiters.find(c) == std::string_view::npos) return false;
    if (delimiter == '\0') delimiter = c;
    return c == delimiter;
  };
  for (std::size_t i = 0; i < head.size(); ++i) {
    if (head[i] != '"' || (i > 0 && !is_end(head[i - 1]))) continue;
    do {
      i = head.find('"', i + 1);
      if (i == std::string_view::npos) return is_cut ? found : Quotes::kBroken;
      ++i;
    } while (i < head.size() && head[i] == '"');
    if (i < head.size() && !is_end(head[i])) return Quotes::kBroken;
    found = Quotes::kHold;
  }
  return found;
}

// Of text without more than that, which reader takes its lines apart as they were meant.
FileKind TextKind(const std::string& path, std::string_view head, bool is_cut) {
  head = WithoutMark(head);
  const bool is_tab = HasExtension(path, "tsv") ||
                      (HasExtension(path, "tab") && head.find('\t') != std::string_view::npos);
  if (is_tab) return QuotesIn(head, is_cut, "\t") == Quotes::kBroken ? kBareTabText : kTabText;
  const bool names_delimiter =
      head.size() > 5 && head.starts_with("sep=") && (head[5] == '\n' || head[5] == '\r');
  if (names_delimiter || QuotesIn(head, is_cut, ",;\t|") == Quotes::kHold) return kQuotedText;
  return kPlainText;
}

// What programs like to call text.
bool HasBinaryName(const std::string& path) {
  constexpr const char* kExtensions[] = {"xls", "xlw", "xlsx", "spc", "mat", "nc", "wk1"};
  return std::ranges::any_of(kExtensions, [own = NvGetFileExtension(path)](const char* extension) {
    return EqualIgnoringCase(own, extension);
  });
}

}  // namespace

std::string FileKind::Advice(const HostWords& words, bool kept_rules) const {
  const char* const taker = *format != '\0' ? format : reader;
  const int found = *taker != '\0' ? FindFormat(taker, /*for_writing=*/false) : 0;
  if (found > 0 && kept_rules && !(by_kept_rules && HasKeptReader(found))) return words.complete;
  return advice == nullptr || (found > 0 && HasReader(found)) ? words.reads(taker) : advice;
}

std::string FileKind::Words(const HostWords& words, bool kept_rules) const {
  return std::string("it looks like ") + name + ": " + Advice(words, kept_rules);
}

std::optional<FileKind> RecogniseKind(const std::string& path) {
  const std::optional<std::string> read = Head(path);
  if (!read) return std::nullopt;
  const std::string_view head = *read;
  if (head.empty()) return FileKind{"an empty file", "copy it once more from where it came from"};
  for (const Signature& signature : kSignatures)
    if (head.substr(std::min(signature.at, head.size())).starts_with(signature.bytes))
      return signature.kind;
  if (head.starts_with("\xff\xfe") || head.starts_with("\xfe\xff"))
    return HasExtension(path, "tsv") ? kTabText : kUtf16;
  if (head.starts_with("PK\x03\x04")) return FindMember(kInZip, WithTail(path, *read));
  if (const auto kind = MarkupKind(head)) return kind;
  const bool is_spc = HasExtension(path, "spc");
  if (CompoundFile::IsCompoundFile(path.c_str())) return is_spc ? kOtherSpc : CompoundKind(path);
  if (head.find_first_not_of('\0') == std::string_view::npos)
    return FileKind{"nothing but zero bytes", "copy it once more from where it came from"};
  if (IsText(head)) {
    if (IsJcamp(head)) return kJcamp;
    return HasBinaryName(path) ? kDisguisedText : TextKind(path, head, head.size() == kHead);
  }
  if (HasExtension(path, "mat") && IsMat4(head)) return kMatlab;
  if (IsUnmarkedUtf16(head)) return kUnmarkedUtf16;
  if (IsSpc(head)) return kSpc;
  // The versions that a Galactic file names in its second byte.
  if (is_spc && (head.size() < 2 || "KLM"sv.find(head[1]) == std::string_view::npos))
    return kOtherSpc;
  return std::nullopt;
}

}  // namespace nvimport
