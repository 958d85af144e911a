#include "nvimport/hosting/import/FileKinds.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

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

constexpr FileKind kEncrypted{"an encrypted Office package",
                              "open it with its password and save it without one"};
constexpr FileKind kPlainText{"plain text", nullptr, "Text File"};
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
     {"an OpenDocument spreadsheet", kSaveAs},
     30},
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
    {"\x89HDF\r\n\x1a\n"sv, {"an HDF5 or netCDF-4 file", kExport}},
    {"\x89HDF\r\n\x1a\n"sv, {"a MATLAB 7.3 file", "MATLAB saves it as text with writematrix"}, 512},
    {"CDF\x01"sv, {"a netCDF file", "ncdump writes it as text"}},
    {"CDF\x02"sv, {"a netCDF file", "ncdump writes it as text"}},
    {"CDF\x05"sv, {"a netCDF file", "ncdump writes it as text"}},
    {"MATLAB 5.0 MAT-file"sv, {"a MATLAB file", "MATLAB saves it as text with writematrix"}},
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
    {"\xff\xfe"sv, {"text in UTF-16", nullptr, "CSV File"}},
    {"\xfe\xff"sv, {"text in UTF-16", nullptr, "CSV File"}},
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
    {"xl/workbook.bin", {"an Excel 2007 binary workbook (.xlsb)", nullptr, "Excel2007 File"}},
    {"xl/wo", {"an Excel 2007 workbook (.xlsx)", nullptr, "Excel2007 File"}},
    {"word/", {"a Word document (.docx)", "save its table as CSV or plain text"}},
    {"ppt/", {"a presentation (.pptx)", kExport}},
    {"", {"a ZIP archive", kUnpack}},
};

constexpr Member kInCompoundFile[] = {
    {"EncryptedPackage", kEncrypted},
    {"WordDocument", {"a Word document (.doc)", "save its table as CSV or plain text"}},
    {"PowerPoint Document", {"a presentation (.ppt)", kExport}},
    {"__properties_version1.0", {"a mail message (.msg)", "save what is attached to it"}},
};

constexpr Member kMarkup[] = {
    {"urn:schemas-microsoft-com:office:spreadsheet", {"an XML spreadsheet of 2003", kSaveAs}},
    {"<html", {"an HTML page", "open it in a spreadsheet and save the table as CSV"}},
    {"<!doctype html", {"an HTML page", "open it in a spreadsheet and save the table as CSV"}},
    {"<table", {"an HTML page", "open it in a spreadsheet and save the table as CSV"}},
    {"<?xml", {"an XML document", kExport}},
};

std::optional<std::string> Head(const std::string& path) {
  constexpr std::size_t kHead = 16384;
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

std::optional<FileKind> CompoundKind(const std::string& path) {
  CompoundFile file;
  if (!file.Open(path.c_str())) return std::nullopt;
  for (const CompoundFile::Entry& entry : file.entries())
    for (const Member& member : kInCompoundFile)
      if (entry.name == member.name) return member.kind;
  return std::nullopt;
}

// Markup begins with an angle bracket, perhaps behind a mark of its encoding and blanks.
std::optional<FileKind> MarkupKind(std::string_view head) {
  constexpr std::string_view kMark = "\xef\xbb\xbf";
  if (head.starts_with(kMark)) head.remove_prefix(kMark.size());
  head.remove_prefix(std::min(head.find_first_not_of(" \t\r\n"), head.size()));
  if (!head.starts_with('<')) return std::nullopt;
  std::string lower(head);
  std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
  return FindMember(kMarkup, lower);
}

// What programs like to call text.
bool HasBinaryName(const std::string& path) {
  constexpr const char* kExtensions[] = {"xls", "xlw", "xlsx", "spc", "mat", "nc", "wk1"};
  return std::ranges::any_of(kExtensions, [own = NvGetFileExtension(path)](const char* extension) {
    return EqualIgnoringCase(own, extension);
  });
}

bool IsText(std::string_view head) {
  return std::ranges::all_of(head, [](unsigned char c) {
    return c >= 0x20 || c == '\t' || c == '\r' || c == '\n' || c == '\f';
  });
}

}  // namespace

std::string FileKind::Advice(const HostWords& words) const {
  return advice != nullptr ? advice : words.reads(*format != '\0' ? format : reader);
}

std::string FileKind::Words(const HostWords& words) const {
  return std::string("it looks like ") + name + ": " + Advice(words);
}

std::optional<FileKind> RecogniseKind(const std::string& path) {
  const std::optional<std::string> read = Head(path);
  if (!read) return std::nullopt;
  const std::string_view head = *read;
  if (head.empty()) return FileKind{"an empty file", "copy it once more from where it came from"};
  for (const Signature& signature : kSignatures)
    if (head.substr(std::min(signature.at, head.size())).starts_with(signature.bytes))
      return signature.kind;
  if (head.starts_with("PK\x03\x04")) return FindMember(kInZip, head);
  if (const auto kind = MarkupKind(head)) return kind;
  const bool is_spc = EqualIgnoringCase(NvGetFileExtension(path), "spc");
  if (CompoundFile::IsCompoundFile(path.c_str())) return is_spc ? kOtherSpc : CompoundKind(path);
  if (head.find_first_not_of('\0') == std::string_view::npos)
    return FileKind{"nothing but zero bytes", "copy it once more from where it came from"};
  if (IsText(head)) return HasBinaryName(path) ? kDisguisedText : kPlainText;
  // The versions that a Galactic file names in its second byte.
  if (is_spc && (head.size() < 2 || "KLM"sv.find(head[1]) == std::string_view::npos))
    return kOtherSpc;
  return std::nullopt;
}

}  // namespace nvimport
