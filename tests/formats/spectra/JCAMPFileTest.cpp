#include <random>

#include "nvimport/formats/spectra/JCAMPFile.h"
#include "nvimport/formats/spectra/JCAMPLines.h"
#include "nvimport/framework/Description.h"
#include "nvimport/framework/FileSelection.h"
#include "nvimport/platform/NvApp.h"
#include "tests/support/AllocationCounter.h"
#include "tests/support/Cases.h"
#include "tests/support/JCAMPFixture.h"

namespace nvimport {

namespace {

Outcome ImportWith(const std::string& bytes, const std::string& options = "") {
  return Import<JCAMPFile>(bytes, options);
}

// Each character as two bytes, of which the one at `high` is 0.
std::string Utf16(const std::string& text, int high) {
  std::string bytes;
  for (const char c : text) bytes += high == 0 ? std::string{c, '\0'} : std::string{'\0', c};
  return bytes;
}

// The cells of row 2 from the third on, "1 | 2": the points of a first block.
std::string Points(const Outcome& outcome) {
  const std::size_t row = outcome.sheet.find('\n') + 1;
  std::size_t at = row;
  for (int column = 0; column < 2 && at != std::string::npos; ++column)
    at = outcome.sheet.find(" | ", at) + 3;
  return outcome.sheet.substr(at, outcome.sheet.find('\n', row) - at);
}

TEST(JCAMPFile, ABlockIsARowUnderTheNamesOfItsPoints) {
  const std::string names = ". | . | 't 10' | 't 11' | 't 12'\n";
  const std::string bytes = JCAMPFixture{.labels = "##YFACTOR= 0.5\n"}.Bytes();
  ExpectImports<JCAMPFile>({
      {"", bytes, names + "1 | 'A' | 0.5 | 1 | 1.5\n"},
      {"", bytes, names + ". | 'X' | 10 | 11 | 12\n2 | 'A' | 0.5 | 1 | 1.5\n", "xrow=1"},
      {"no title", JCAMPFixture{.title = ""}.Bytes(), names + "1 | 'Y' | 1 | 2 | 3\n"},
  });
}

TEST(JCAMPFile, XIsNextToWhatTheDecimalNumbersOfTheFileSay) {
  // About zero most of what doubles leave of the numbers shows.
  const struct {
    const char* first;
    const char* last;
    std::vector<double> x;
  } kCases[] = {
      {"1.000000001", "-1", {1.000000001, 5e-10, -1}},
      {"-1.1E+03", "1.1000000000007E3", {-1100, 3.5e-10, 1100.0000000007}},
      {"-0.2", "0.2", {-0.2, 0, 0.2}},
  };
  for (const auto& c : kCases) {
    const TempFile bytes(JCAMPFixture{.first = c.first, .last = c.last}.Bytes());
    JCAMPFile file;
    ASSERT_EQ(file.Open(true, bytes.path(), nullptr), 0);
    Description said;
    ASSERT_EQ(file.Describe(said), 0);
    EXPECT_EQ(said.x(), c.x) << c.first;
  }
}

TEST(JCAMPFile, DecodesEveryFormOfOrdinate) {
  const struct {
    const char* points;
    const char* data;
    const char* values;
  } kCases[] = {
      {"3", "10 1 2.5 -.5\n", "1 | 2.5 | -0.5"},
      {"3", "10+1-2+3\n", "1 | -2 | 3"},
      {"4", "10 1,5;2, 3 , 4\n", "1.5 | 2 | 3 | 4"},
      {"4", "1E+1 5E-1 2e+02 1E+0,1.5E+1\n", "0.5 | 200 | 1 | 15"},
      {"3", "10 5E2 1.5e3\n", "5 | 52 | 1.5"},
      {"4", "10 1,,2.3.4 5\n", "1 | 2.3 | 0.4 | 5"},
      {"2", "10A1B2\n", "11 | 22"},
      {"3", "10@a1i9\n", "0 | -11 | -99"},
      {"3", "10@ A5J2%\n", "0 | 15 | 27"},
      {"2", "10E J2\n", "5 | 17"},
      {"13", "10@S3\n", "0 | 0 | 0 | 0 | 0 | 0 | 0 | 0 | 0 | 0 | 0 | 0 | 0"},
      {"2", "10aT\n", "-1 | -1"},
      {"4", "10AJU\n", "1 | 2 | 3 | 4"},
      {"4", "10A.5J.25T;?\n", "1.5 | 2.75 | 4 | -99"},
      {"4", "10A1J1\n11B2J1\n", "11 | 22 | 33 | ."},
      {"4", "10A1J1\n11B2T\n12A3\n", "11 | 22 | 22 | 13"},
      {"4", "10A1J1A0\n11B2A1\n", "11 | 22 | 10 | 22"},
      {"4", "10A\n11A1\n\n  \n12?J\n13 ,5\n", "1 | 11 | -99 | 12"},
      {"3", "10 1 $$ 7 8 9\n$$ nothing\n11 2$3\n", ""},
      {"3", "10 0.1 123456789012345678901234567890 4.35E-7\n",
       "0.1 | 1.2345678901234568e+29 | 4.35e-07"},
      {"3", "10 1E+9999 1E-9999 -1\n", "inf | 0 | -1"},
      {"3", "?A T3\n", ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.data);
    const Outcome got = ImportWith(JCAMPFixture{.points = c.points, .data = c.data}.Bytes());
    const std::string values = got.status == 0 ? Points(got) : "";
    EXPECT_EQ(values, c.values) << got.text;
  }
}

TEST(JCAMPFile, RefusesByTheRules) {
  NvApp::SetName("Host");
  const auto with = [](const std::string& labels) {
    return JCAMPFixture{.labels = labels}.Bytes();
  };
  const auto data = [](const std::string& lines) { return JCAMPFixture{.data = lines}.Bytes(); };
  const auto form = [](const std::string& label) {
    return JCAMPFixture{.form = label, .data = "10,1\n"}.Bytes();
  };
  const std::string not_jcamp = "1537 The file does not appear to be a valid JCAMP-DX file.\n";
  const std::string no_value = "1540 A label with a missing value was found in the file.\n";
  const std::string uneven =
      "1541 Mismatching '##TITLE=' and '##END=' labels were found in the file.\n";
  const std::string illegal = "1543 The label on line 6 has an illegal value.\n";
  const std::string points =
      "1544 Invalid value of '##NPOINTS=' label in the file. The value of '##NPOINTS=' must be a "
      "positive integer.\n";
  const std::string no_data = "1548 Couldn't find valid data to import.\n";
  const std::string no_class =
      "1549 Does not recognize the value of the '##DATACLASS=' label as a valid JCAMP-DX 5.0 "
      "dataclass\n";
  const std::string assignments = "1550 Host can currently not read assignments.\n";
  const std::string no_ra_data = "1551 Host can currently not read RA-data.\n";
  const std::string no_points = "1554 Host can currently not read XY points.\n";
  const std::string spacing =
      "1557 Couldn't establish dx, either the '##FIRSTX=' and/or '##LASTX=' labels are missing in "
      "the file, or the '##DELTAX=' label.\n";
  const std::string nothing = ". | . | . | . | .\n1 | 'A' | . | . | .\n";
  const std::string first = ". | . | 't 10' | . | .\n1 | 'A' | 1 | . | .\n";
  const std::string repeated =
      "1558 Duplicate suppression count (DUP) should be 1 for abscissa.\n" + nothing;
  const auto character = [](int line) {
    return "1561 Found an illegal character on line " + std::to_string(line) +
           " while reading data from the file.\n";
  };
  ExpectImports<JCAMPFile>({
      {"empty", "", not_jcamp},
      {"blank lines", "\n \n$$ x\n", not_jcamp},
      {"another label first", "##END=\n", not_jcamp},
      {"UTF-16", "\xff\xfe#\0#\0T\0"s, not_jcamp},
      {"only ##", "##\n##\n", not_jcamp},
      {"no equals sign", "##TITLE=\n##END\n",
       "1539 Found a label with the data label terminator ('=') missing.\n"},
      {"never ends", "##TITLE= A\n", uneven},
      {"ends twice", "##TITLE= A\n##END=\n##END=\n", uneven},
      {"ends before a data label", "##TITLE=\n##END=\n##XYDATA= (XYA)\n", assignments},
      {"binary", with("##BINARY=\n"), "1538 The data is stored in an unsupported (binary) form.\n"},
      {"blocks without a number", JCAMPFixture::Link("##BLOCKS=\n"), no_value},
      {"blocks outside a link", with("##BLOCKS= 2\n"),
       "1542 Found an illegal label ##BLOCKS within a LINK-block\n"},
      {"no first x", with("##FIRSTX=\n"), no_value},
      {"no factor", with("##YFACTOR= $$ 2\n"), no_value},
      {"no points", with("##NPOINTS=\n"), no_value},
      {"a factor of 0", with("##XFACTOR= 0\n"), illegal},
      {"a word", with("##DELTAX= wide\n"), illegal},
      {"inf", with("##LASTX= inf\n"), illegal},
      {"two signs", with("##LASTX= +-1\n"), illegal},
      {"two commas", with("##LASTX= 1,0,0\n"), illegal},
      {"half a point", with("##NPOINTS= 12.5\n"), points},
      {"no point", with("##NPOINTS= 0\n"), points},
      {"a comma in points", with("##NPOINTS= 1,000\n"), points},
      {"points beyond an int", with("##NPOINTS= 2147483648\n"), points},
      {"points beyond the file", with("##NPOINTS= 1100000\n"), points},
      {"no points at all", JCAMPFixture{.points = ""}.Bytes(),
       "1547 The size of the data block could not be established. The '##NPOINTS'-label could not "
       "be found or had an illegal value.\n"},
      {"no data label", "##TITLE=\n##NPOINTS= 3\n##DATACLASS= XY_DATA\n##END=\n", no_data},
      {"only a link", "##TITLE=\n##DATATYPE= LINK\n##END=\n", no_data},
      {"no class", "##TITLE=\n##NPOINTS= 3\n##END=\n", no_class},
      {"another form", form("XYDATA= (X++(R..R))"), no_class},
      {"assignments", form("PEAK ASSIGNMENTS= (XYMA)"), assignments},
      {"assignments by form", form("PEAKTABLE= (XYA)"), assignments},
      {"RADATA", form("RADATA= (R++(A..A))"), no_ra_data},
      {"RADATA by class", with("##DATACLASS= RADATA\n##DATATABLE= (X++(R..R))\n"), no_ra_data},
      {"RADATA without a page", "##TITLE=\n##DATACLASS= RADATA\n##END=\n", no_ra_data},
      {"n-tuples", with("##DATACLASS= NTUPLES\n##DATATABLE= (X++(R..R)), XYDATA\n"),
       "1552 Host can currently not read n-tuples.\n"},
      {"n-tuples of pairs", with("##DATACLASS= NTUPLES\n##DATATABLE= (XY..XY), PEAKS\n"),
       "1552 Host can currently not read n-tuples.\n"},
      {"XYPOINTS of another form", form("XYPOINTS= (X,Y)\n##DATACLASS= XYPOINTS"), no_points},
      {"peaks with widths", form("PEAKTABLE= (XYW..XYW)\n##DATACLASS= PEAK TABLE"), no_points},
      {"XYPAIRS", form("XYPAIRS= (XY..XY)"), "1555 Host can currently not read XY pairs.\n"},
      {"no first x at all", JCAMPFixture{.first = ""}.Bytes(), spacing},
      {"first x is last x", JCAMPFixture{.last = "10"}.Bytes(), spacing},
      {"no last x", JCAMPFixture{.last = ""}.Bytes(), spacing},
      {"DUP of an abscissa", data("10S2 1 2 3\n"), repeated},
      {"DIF as abscissa", data("J2 1 2 3\n"), repeated},
      {"DIF first", data("10J2\n"),
       "1559 A DUP-value is not allowed as first ordinate.\n" + nothing},
      {"data after the end", "##TITLE=\n##NPOINTS= 1\n##FIRSTX= 1\n##END=\n##XYDATA= XYDATA\n1 2\n",
       "1560 Found unexpected End-of-file while reading data from file.\n. | . | 't 1'\n1 | 'Y' | "
       "2\n"},
      {"a word in the data", data("10 1\n11 x\n"), character(8) + first},
      {"a sign alone", data("10 - 1\n"), character(7) + nothing},
      {"DUP of nothing", data("10 A S\n"), character(7) + first},
      {"NUL", data("10 1\0 2\n"s), character(7) + first},
      {"a letter among peaks", JCAMPFixture{.form = "PEAKTABLE= (XY..XY)", .data = "1,A\n"}.Bytes(),
       "1562 Found an invalid character while reading data from the dataset\n"},
      {"two DUPs", data("10AS2T\n"), "1563 Two consecutive DUP-values is not allowed.\n" + nothing},
  });
  ExpectNoFile<JCAMPFile>("1536 Unable to open file.",
                          "1546 Error occurred while reading the file.", 1546);
}

TEST(JCAMPFile, AWrittenFirstPartStaysWhenALaterBlockFails) {
  const std::string good = JCAMPFixture{}.Bytes();
  for (const auto& [second, status] :
       {std::pair(JCAMPFixture{.data = "10 4 x\n"}, 1561),
        std::pair(JCAMPFixture{.form = "XYDATA= (X++(R..R))"}, 1549)}) {
    const Outcome got = ImportWith(JCAMPFixture::Link(good + second.Bytes()), "blocks=1,2");
    EXPECT_EQ(got.status, status);
    EXPECT_EQ(Points(got), "1 | 2 | 3");
  }
}

TEST(JCAMPFile, LabelsAndLinesAreReadLoosely) {
  const std::string usual = ImportWith(JCAMPFixture{}.Bytes()).sheet;
  const std::string body = "##XYDATA=(X++(Y..Y))\n10 1 2 3\n##END=\n";
  const std::string kCases[] = {
      "\n$$ remark\n##title=A\n##first_x = 10\n##Last-X=+12\n##N/POINTS= 3.0\n" + body,
      "##TITLE=A\n##FIRSTX= 1E1 cm\n##LASTX=12,0\n##NPOINTS=3 points\n" + body,
      "##TITLE=A $$ name\n##FIRSTX=10\n##DELTAX=1\n##NPOINTS=3\n" + body,
      "##TITLE=A\n##FIRSTX=10\n##LASTX=10\n##DELTAX=1\n##NPOINTS=3\n" + body,
      "##TITLE=A\n##FIRSTX=10\n##LASTX=12\n##NPOINTS=3\n##XYDATA= xy_data\n10 1 2 3\n##END=\n",
      "##TITLE=A\n##FIRSTX=10\n##LASTX=12\n##NPOINTS=3\n##DATA TABLE= (x++(y..y))\n10 1\n\n"s +
          "11 2 $$\n12 3\n##END=\n",
      "##TITLE=A\n ##FIRSTX=no label\n##$OWN= a\nmore\n##FIRSTX=10\n##LASTX=12\n##NPOINTS=3\n" +
          body,
      "##TITLE=B\n##TITLE=A\n##FIRSTX=10\n##LASTX=12\n##NPOINTS=3\n" + body + "##END=\n",
  };
  for (const std::string& bytes : kCases)
    for (const char* end : {"\n", "\r\n", "\r", "\n\r", "\n\n"}) {
      std::string file;
      for (const char c : bytes) c == '\n' ? file += end : file += c;
      EXPECT_EQ(ImportWith(file).sheet, usual) << file;
    }
}

TEST(JCAMPLines, LabelsAreFoundAsIfLineByLine) {
  constexpr const char* kPieces[] = {"\n", "\r", "\r\n", "\n\n", "\n#",
                                     "#",  " ",  "\t#",  "$$",   "12"};
  std::minstd_rand random;
  std::string bytes;
  while (bytes.size() < 200'000) {
    bytes += kPieces[random() % std::size(kPieces)];
    if (random() % 4 == 0) bytes.append(random() % 300, '3');
    // Some labels lie a buffer apart.
    if (random() % 1'000 == 0) bytes += Repeated("34 5\r\n", 20'000);
  }
  const MemoryFile file(bytes);
  for (const bool indented : {false, true}) {
    JCAMPLines plain(file.path());
    JCAMPLines fast(file.path());
    JCAMPLines seeking(file.path());
    for (JCAMPLines* lines : {&plain, &fast, &seeking})
      if (indented) lines->IgnoreIndentation();
    std::string_view expected;
    std::string_view got;
    while (true) {
      while (!plain.NextBeginsWith('#') && plain.Next(expected)) continue;
      fast.SkipToLabel();
      const std::uint64_t position = plain.Position();
      const std::uint64_t line = plain.line();
      ASSERT_EQ(fast.Position(), position);
      ASSERT_EQ(fast.line(), line);
      if (!plain.Next(expected)) break;
      ASSERT_TRUE(fast.Next(got));
      ASSERT_EQ(got, expected);
      // There and back.
      for (int i = 0; i < 2; ++i) {
        seeking.Seek(position, line);
        ASSERT_TRUE(seeking.Next(got));
      }
      ASSERT_EQ(got, expected);
      ASSERT_EQ(seeking.WithComment(), plain.WithComment());
      ASSERT_EQ(seeking.line(), plain.line());
    }
    EXPECT_EQ(plain.Position(), bytes.size());
  }
}

TEST(JCAMPFile, OfALongLine255CharactersCount) {
  const std::string blanks(250, ' ');
  const std::string note = "1 line is longer than 255 characters, and the rest was not delivered\n";
  const struct {
    std::string data;
    const char* points;
    std::string notes;
  } kCases[] = {{"10 1" + blanks + "2 3\n", "1 | 2", note},
                {"10 1" + blanks + "A$$\n", "1 | 1", note},  // the cut comes before the comment
                {"10 1 2$$" + std::string(1'000'000, 'x') + "\n", "1 | 2", ""}};
  for (const auto& c : kCases) {
    const Outcome got = ImportWith(JCAMPFixture{.points = "2", .data = c.data}.Bytes());
    EXPECT_EQ(Points(got), c.points);
    EXPECT_EQ(got.notes, c.notes);
  }
}

TEST(JCAMPFile, WarnsOfPointsThatAreNotAsAnnounced) {
  const std::string fewer =
      "Data seem to be missing in the file. Could only read 2 y-values, but expected to read 3. "
      "Continue with the import will cause incorrectly computed x-values, since the nominal "
      "spacing "
      "between the x-values is calculated from the number of y-values.";
  const std::string more =
      "There seem to be more y-values in the file than specified by the '##NPOINTS'-label. "
      "Continue "
      "with the import will cause incorrectly computed x-values, since the nominal spacing between "
      "the x-values is calculated from the number of y-values.";
  const struct {
    const char* data;
    const char* points;
    std::string warning;
  } kCases[] = {
      {"10 1 2\n", "1 | 2 | .", fewer},
      {"10 1 2 3 4\n", "1 | 2 | 3", more},
      {"10AS99999999999999\n", "1 | 1 | 1", more},
      {"10A1J1\n11B3\n", "11 | 22 | .",
       "Y-value check failed on line 8. The remaining part of the dataset will be ignored."},
      {"10A1J1J1\n12A0\n", "11 | 22 | 33", ""},
      {"10A1J1J1\n12C3\n", "11 | 22 | 33", ""},
      {"10A1J.1\n11A2.1\n12 3\n", "11 | 12.1 | 3", ""},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.data);
    const TempFile file(JCAMPFixture{.data = c.data}.Bytes());
    JCAMPFile reader;
    EXPECT_EQ(Points(ImportFile(reader, file.path())), c.points);
    EXPECT_EQ(reader.JCAMPWarning(), !c.warning.empty());
    const char* warning = reader.GetWarningMessage();
    EXPECT_EQ(warning != nullptr ? warning : "", c.warning);
  }

  // A second one is told apart.
  const TempFile file(JCAMPFixture{.data = "10 1 2\n"}.Bytes() +
                      JCAMPFixture{.data = "10 1 2 3 4\n"}.Bytes());
  JCAMPFile reader;
  EXPECT_EQ(ImportFile(reader, file.path(), "blocks=1,2").notes, more + "\n");
  EXPECT_EQ(reader.GetWarningMessage(), fewer);
}

TEST(JCAMPFile, BlocksAreChosenAndTheChoiceComesBack) {
  const std::string peak = JCAMPFixture{.title = "P", .form = "PEAKTABLE= (XY..XY)"}.Bytes();
  const std::string link = JCAMPFixture::Link(
      JCAMPFixture{.title = "A"}.Bytes() +
      JCAMPFixture{.title = "B", .data = "10 4 5 6\n"}.Bytes() +
      JCAMPFixture::Link(peak + JCAMPFixture{.title = "C", .data = "10 7 8 9\n"}.Bytes()));
  const TempFile file(link);
  ScriptedDialogs dialogs;
  JCAMPFile reader;
  EXPECT_EQ(reader.Open(true, file.path(), nullptr), 4);
  ASSERT_EQ(dialogs.items_questions.size(), 1U);
  const ItemsQuestion question = dialogs.items_questions.front();
  EXPECT_EQ(question.kind, ItemsQuestion::Kind::kBlocks);
  EXPECT_EQ(question.title, "Select JCAMP Data Blocks");
  EXPECT_EQ(question.prompt, "Please select the data blocks you want to import.");
  EXPECT_EQ(question.heading, "Data type, size of dataset, title.");
  EXPECT_EQ(question.items, (std::vector<std::string>{
                                "Infrared spectrum, 1x3 obs, A", "Infrared spectrum, 1x3 obs, B",
                                "Infrared spectrum, 1x3 obs, P", "Infrared spectrum, 1x3 obs, C"}));
  reader.Close();

  dialogs.items = ItemsChoice{};
  EXPECT_EQ(reader.Open(true, file.path(), nullptr), 1545);
  EXPECT_EQ(ErrorText(reader), "No data blocks were selected.");
  reader.Close();

  dialogs.items = ItemsChoice{{3, 1}, 0};
  NvImportOpenOptions options{0, nullptr};
  const std::string sheet =
      ". | . | 't 10' | 't 11' | 't 12'\n1 | 'B' | 4 | 5 | 6\n2 | 'C' | 7 | 8 | 9\n";
  EXPECT_EQ(ImportFile(reader, file.path(), &options).sheet, sheet);
  EXPECT_EQ(PairsOf(options), "blocks=2,4");
  EXPECT_EQ(ImportWith(link, "blocks=2,4;other=x").sheet, sheet);

  // And by hand.
  EXPECT_EQ(reader.GetNumJCAMPBlocks(), 4);
  EXPECT_EQ(reader.GetJCAMPBlockList(), question.items);
  MemorySheet chosen;
  EXPECT_EQ(reader.SelectJCAMPBlock(3), 0);
  EXPECT_EQ(reader.GetNumRows(), 2);
  EXPECT_EQ(reader.Read(&chosen), 0);
  EXPECT_STREQ(chosen.GetText(2, 2), "C");
  char title[256];
  reader.GetTitle(title);
  EXPECT_STREQ(title, "C");
}

TEST(JCAMPFile, SenselessOptionsRefuseTheOpen) {
  const std::string two = JCAMPFixture{}.Bytes() + JCAMPFixture{}.Bytes();
  ExpectRefusedOptions<JCAMPFile>(
      two,
      {"blocks=3", "blocks=0", "blocks=", "blocks=1,x", "blocks=1;xrow=2", "blocks=1;columns=0,4",
       "blocks=1;columns=5,4", "blocks=1;columns=3", "blocks=1;reference=0"});
  JCAMPFile reader;
  EXPECT_EQ(reader.Open(true, TempFile(two).path(), OpenOptions("\1\2").get()), 5);
  ExpectMade(JCAMPFile::GetImportOptions({.blocks = {1, 3}, .reference = 3, .x_row = true}),
             "blocks=1,3;reference=3;xrow=1;columns=1,0");
}

TEST(JCAMPFile, BlocksThatDifferAreBroughtOntoOne) {
  const std::string a = JCAMPFixture{.title = "A", .data = "10 0 10 20\n"}.Bytes();
  // From 13 down to 10.5 by halves, one of them missing.
  const std::string b =
      JCAMPFixture{
          .title = "B", .first = "13", .last = "10.5", .points = "6", .data = "13 6 5 4 ? 2 1\n"}
          .Bytes();
  const std::string bytes = a + b;
  const TempFile file(bytes);
  ScriptedDialogs dialogs;
  dialogs.items = ItemsChoice{{0, 1}, 0};
  JCAMPFile reader;
  EXPECT_EQ(reader.Open(true, file.path(), nullptr), 1556) << "two references are too many";
  EXPECT_EQ(ErrorText(reader), "The selected series is invalid");
  ASSERT_EQ(dialogs.items_questions.size(), 2U);
  const ItemsQuestion question = dialogs.items_questions.back();
  EXPECT_EQ(question.kind, ItemsQuestion::Kind::kReference);
  EXPECT_TRUE(question.only_one);
  EXPECT_EQ(
      question.prompt,
      "FirstX and lastX is not the same in all data blocks. Data must be interpolated. Select "
      "data series to use for interpolation.");
  EXPECT_EQ(question.items.size(), 2U);

  EXPECT_EQ(ImportWith(bytes, "blocks=1,2;reference=1").sheet,
            ". | . | 't 10' | 't 11' | 't 12'\n1 | 'A' | 0 | 10 | 20\n2 | 'B' | . | 2 | 4\n");
  EXPECT_EQ(ImportWith(bytes, "blocks=1,2;reference=2;xrow=1").sheet,
            ". | . | 't 13' | 't 12.5' | 't 12' | 't -99' | 't 11' | 't 10.5'\n"
            ". | 'X' | 13 | 12.5 | 12 | -99 | 11 | 10.5\n2 | 'A' | . | . | 20 | 15 | 10 | 5\n"
            "3 | 'B' | 6 | 5 | 4 | -99 | 2 | 1\n");
  EXPECT_EQ(ImportWith(bytes, "blocks=1,2;reference=3").status, 1556);
  EXPECT_EQ(ImportWith(bytes + a, "blocks=2,3;reference=1").status, 1556) << "not among them";
  EXPECT_EQ(ImportWith(bytes, "blocks=1,2").status, 1556);
  EXPECT_EQ(ImportWith(bytes, "blocks=2;reference=1").status, 0) << "none is needed";

  // Between its points, and where ends meet but for rounding.
  const std::string c =
      JCAMPFixture{
          .title = "C", .first = "0.1", .last = "0.7", .points = "4", .data = "0 1 3 5 7\n"}
          .Bytes();
  const std::string d =
      JCAMPFixture{
          .title = "D", .first = "0.1", .last = "0.7", .points = "7", .data = "0 0 0 0 0 0 0 0\n"}
          .Bytes();
  const Outcome met = ImportWith(d + c, "blocks=1,2;reference=1");
  EXPECT_NE(met.sheet.find("2 | 'C' | 1 | 2 | 3 | 4 | 5 | 6 | 7\n"), std::string::npos)
      << met.sheet;

  dialogs.items = std::nullopt;
  JCAMPFile cancelled;
  EXPECT_EQ(ImportFile(cancelled, TempFile(c + d).path(), "blocks=1,2").status, 1567);
  EXPECT_EQ(dialogs.items_questions.back().prompt,
            "There is not the same number of data points in all data series. Data must be "
            "interpolated. Select data series to use for interpolation.");
  EXPECT_EQ(ErrorText(cancelled), "File read interrupted by the user.");
}

TEST(JCAMPFile, EveryColumnWithValuesHasItsName) {
  const std::string early =
      JCAMPFixture{.data = "10A0J\n11A1\n"}.Bytes() + JCAMPFixture{.data = "10 4 5 6\n"}.Bytes();
  EXPECT_EQ(ImportWith(early, "blocks=1,2;xrow=1").sheet,
            ". | . | 't 10' | 't 11' | 't 12'\n. | 'X' | 10 | 11 | 12\n2 | 'A' | 10 | 11 | .\n"
            "3 | 'A' | 4 | 5 | 6\n");
  EXPECT_EQ(ImportWith(early + JCAMPFixture{.last = "14"}.Bytes(), "blocks=1,3;reference=1").sheet,
            ". | . | 't 10' | 't 11' | 't 12'\n1 | 'A' | 10 | 11 | .\n2 | 'A' | 1 | 1.5 | 2\n");
}

TEST(JCAMPFile, PairsStandUnderEveryXThatOccurs) {
  const auto peaks = [](const std::string& title, const std::string& points,
                        const std::string& data) {
    return JCAMPFixture{.title = title,
                        .labels = "##XFACTOR= 2\n##YFACTOR= 10\n",
                        .points = points,
                        .form = "PEAK TABLE= (XY..XY), PEAKS",
                        .data = data}
        .Bytes();
  };
  const std::string bytes = peaks("P", "4", "8,1;4, 2\n5,3 5,4\n") +
                            peaks("Q", "3", "5 ?; 6.5E+0, -.7\n5.5,1\n") +
                            JCAMPFixture{.title = "S", .data = "10 7 8 ?\n"}.Bytes();
  EXPECT_EQ(ImportWith(bytes, "blocks=1,2,3;xrow=1").sheet,
            ". | . | 't 8' | 't 10' | 't 10' | 't 11' | 't 12' | 't 13' | 't 16'\n"
            ". | 'X' | 8 | 10 | 10 | 11 | 12 | 13 | 16\n2 | 'P' | 20 | 30 | 40 | . | . | . | 10\n"
            "3 | 'Q' | . | -99 | . | 10 | . | -7 | .\n4 | 'S' | . | 7 | . | 8 | -99 | . | .\n");

  // Of several pages the first that has lines.
  EXPECT_EQ(ImportWith("##TITLE=\n##PAGE= T=1\n##NPOINTS= 2\n"
                       "##DATA TABLE= (XY..XY), PEAKS\n1,2 3,4\n##PAGE= T=2\n"
                       "##DATA TABLE= (XY..XY), PEAKS\n5,6\n##END=\n")
                .Summary(),
            ". | . | 't 1' | 't 3'\n1 | 'Y' | 2 | 4\n1 further data page was not delivered\n");

  const TempFile file(peaks("P", "3", "1,2 3,4 5,6 7,8\n"));
  JCAMPFile reader;
  EXPECT_EQ(Points(ImportFile(reader, file.path())), "20 | 40 | 60");
  EXPECT_TRUE(reader.JCAMPWarning());
}

TEST(JCAMPFile, SeveralFilesAreOneImport) {
  const TempFolder folder;
  const std::string a = folder.Put("a.dx", JCAMPFixture{.title = ""}.Bytes());
  const std::string b =
      folder.Put("b.dx", JCAMPFixture{.title = "B", .data = "10 4 5 6\n"}.Bytes());

  ScriptedDialogs dialogs;
  dialogs.items = ItemsChoice{{0, 1}, 0};
  JCAMPFile reader;
  const std::string both = FileSelection::Join({a, b});
  EXPECT_EQ(
      ImportFile(reader, both).sheet,
      ". | . | 't 10' | 't 11' | 't 12'\n1 | 'a.dx, ' | 1 | 2 | 3\n2 | 'b.dx, B' | 4 | 5 | 6\n");
  EXPECT_TRUE(reader.MultiSelection());
  EXPECT_EQ(dialogs.items_questions.front().heading, "File, datatype, size of dataset, title.");
  EXPECT_EQ(dialogs.items_questions.front().items.back(), "b.dx, Infrared spectrum, 1x3 obs, B");
  JCAMPFile copy(reader);
  reader.Close();
  MemorySheet sheet;
  EXPECT_EQ(copy.Read(&sheet), 0) << "a copy opens the files itself";
  EXPECT_STREQ(sheet.GetText(5, 3), "6");

  JCAMPFile limited;
  EXPECT_EQ(ImportFile(limited, both, "blocks=1,2;columns=2,4;xrow=1").sheet,
            ". | . | 't 10' | 't 11' | .\n. | 'X' | 10 | 11 | 12\n2 | 'a.dx, ' | 1 | 2 | 3\n"
            "3 | 'b.dx, B' | 4 | 5 | 6\n");

  const struct {
    const char* name;
    std::string bytes;
    const char* summary;
  } kCases[] = {
      {"o.dx", "text", "1537 One of the files does not appear to be a valid JCAMP-DX file.\n"},
      {"l.dx", "##TITLE=\n##X\n",
       "1539 Error in file 'l.dx', line 2: Found a label with the data label terminator ('=') "
       "missing.\n"},
      {"v.dx", "##TITLE=\n##YFACTOR=0\n",
       "1543 Error in file 'v.dx': The label on line 2 has an illegal value.\n"},
      {"e.dx", "##TITLE=\n",
       "1541 Error in file 'e.dx': Mismatching '##TITLE=' and '##END=' labels were found in the "
       "file.\n"},
      {"n.dx", "##TITLE=\n##ASSIGNMENTS=\n",
       "1550 Error in file 'n.dx': Host can currently not read assignments.\n"},
      {"d.dx", JCAMPFixture{.data = "10 1\n11 x\n"}.Bytes(),
       "1561 Error in file 'd.dx': Found an illegal character on line 8 while reading data from "
       "the file.\n"},
      {"u.dx", JCAMPFixture{.data = "10 AST\n"}.Bytes(),
       "1563 Error in file 'u.dx', line 7: Two consecutive DUP-values is not allowed.\n"},
      {"p.dx", JCAMPFixture{.form = "PEAKTABLE= (XY..XY)"}.Bytes(),
       "1566 Only files with dataclass = 'XYDATA' are supported by multiselection.\n"},
  };
  NvApp::SetName("Host");
  for (const auto& c : kCases) {
    JCAMPFile failing;
    const std::string paths = FileSelection::Join({a, folder.Put(c.name, c.bytes)});
    const Outcome got = ImportFile(failing, paths, "blocks=1,2");
    EXPECT_EQ(std::to_string(got.status) + " " + got.text + "\n", c.summary);
    EXPECT_EQ(failing.MultiSelection(), got.status != 1566);
  }
  const auto import = [&](const std::string& second, JCAMPFile& file) {
    return ImportFile(file, FileSelection::Join({a, second}), "blocks=1,2");
  };
  JCAMPFile warned;
  EXPECT_EQ(import("/none", warned).text, "Unable to open file.");
  warned.Close();
  import(folder.Put("f.dx", JCAMPFixture{.data = "10 1 2\n"}.Bytes()), warned);
  EXPECT_TRUE(
      std::string(warned.GetWarningMessage())
          .starts_with("Error in file 'f.dx', line 8: Data seem to be missing in the file. Could "))
      << warned.GetWarningMessage();
}

TEST(JCAMPFile, DatesInTheirForms) {
  const struct {
    const char* labels;
    const char* text;
    double days;
  } kCases[] = {
      {"##DATE= 98/10/1\n", "98/10/1", 36069},
      {"##DATE= 03/30/90\n##TIME= 12:00:00\n", "03/30/90 12:00:00", 32962.5},
      {"##DATE= 02/03/04\n", "02/03/04", 37319},
      {"##DATE= 69/12/31\n##DATE= 70/1/1\n", "69/12/31", 62093},
      {"##DATE= 19/12/2018\n", "19/12/2018", 43453},
      {"##DATE= 2018/12/19\n##TIME= 18:00\n", "2018/12/19 18:00", 43453.75},
      {"##DATE= 30 Aug 2007 09:19:36\n##TIME= 1:00\n", "30 Aug 2007 09:19:36",
       39324 + 33576 / 86400.},
      {"##TIME= 2018-12-19T06:00:00.5Z\n", "2018-12-19T06:00:00.5Z", 43453.25},
      {"##DATE= 12/19/2018\n", "", -1},
      {"##DATE= 98/2/30\n", "", -1},
      {"##DATE= today\n", "", -1},
      {"##DATE= 98/10/1 25:00\n", "", -1},
      {"##DATE= 99999999999/1/1\n", "", -1},
      {"", "", -1},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.labels);
    const TempFile file(JCAMPFixture{.labels = c.labels}.Bytes());
    JCAMPFile reader;
    ASSERT_EQ(reader.Open(true, file.path(), nullptr), 0);
    COleDateTime date{-1};
    EXPECT_STREQ(reader.GetDateCreated(date), c.text);
    EXPECT_DOUBLE_EQ(date.m_dt, c.days);
  }
}

TEST(JCAMPFile, EveryHabitCostsCells) {
  NvApp::SetName("Host");
  const std::string good = JCAMPFixture{}.Bytes();
  const std::string names = ". | . | 't 10' | 't 11' | 't 12'\n";
  const std::string one = names + "1 | 'A' | 1 | 2 | 3\n";
  const std::string uneven =
      "1541 Mismatching '##TITLE=' and '##END=' labels were found in the file.\n";
  const std::string no_class =
      "1549 Does not recognize the value of the '##DATACLASS=' label as a valid JCAMP-DX 5.0 "
      "dataclass\n";
  const std::string assignments = "1550 Host can currently not read assignments.\n";
  const std::string not_jcamp = "1537 The file does not appear to be a valid JCAMP-DX file.\n";
  const std::string no_spacing =
      "1557 Couldn't establish dx, either the '##FIRSTX=' and/or '##LASTX=' labels are missing in "
      "the file, or the '##DELTAX=' label.\n";
  const auto form = [](const std::string& label, const std::string& data) {
    return JCAMPFixture{.points = "2", .form = label, .data = data}.Bytes();
  };
  const auto pairs = [](const std::string& cells) {
    return ". | . | 't 1' | 't 3'\n1 | 'A' | " + cells + "\n";
  };
  const std::string tuples =
      "##TITLE= A\n##DATA CLASS= NTUPLES\n##SYMBOL= X, R, I, N\n##VAR_DIM= 3, 3, 3, 2\n"
      "##FIRST= 10, 0, 0, 1\n##LAST= 12, 0, 0, 2\n##FACTOR= 1, 2, 0.5, 1\n"
      "##PAGE= N=1\n##DATA TABLE= (X++(R..R)), XYDATA\n10 1 2 3\n";
  const std::string indented = " ##TITLE= A\n ##FIRSTX= 10\n\t##LASTX= 12\n ##NPOINTS= 3\n";
  using Rules = JCAMPRules;
  const std::vector<RuleCase<Rules>> cases = {
      {"assignments before a good block", &Rules::bad_blocks_refuse_files,
       JCAMPFixture::Link(form("PEAK ASSIGNMENTS= (XYA)", "(1, 2, <a>)\n") + good), assignments,
       one + "1 data block was not delivered: Host can currently not read assignments.\n",
       "blocks=1,2"},
      {"a size and a label without values", &Rules::bad_blocks_refuse_files,
       JCAMPFixture::Link(JCAMPFixture{.points = "0", .form = "PEAK TABLE= (XY..XY)"}.Bytes() +
                          JCAMPFixture{.labels = "##DELTAX=\n"}.Bytes()),
       "1544 Invalid value of '##NPOINTS=' label in the file. The value of '##NPOINTS=' must be a "
       "positive integer.\n",
       one + "1 data block was not delivered: The size of the data block could not be established. "
             "The '##NPOINTS'-label could not be found or had an illegal value.\n",
       "blocks=1,2"},
      {"a bad ordinate in the second block", &Rules::bad_blocks_refuse_files,
       good + JCAMPFixture{.data = "10 1 ! 3\n"}.Bytes(),
       "1561 Found an illegal character on line 15 while reading data from the file.\n" + one +
           "2 | 'A' | 1 | . | .\n",
       one + "2 | 'A' | 1 | . | .\nblock \"A\" was not delivered from line 15 on: Found an illegal "
             "character on line 15 while reading data from the file.\n",
       "blocks=1,2"},
      {"labels behind blanks", &Rules::labels_begin_lines,
       indented + " ##XYDATA= (X++(Y..Y))\n 10 1 2\n 12 3\n ##END=\n",
       "1546 Error occurred while reading the file.\n", one},
      {"a block behind an indented one", &Rules::labels_begin_lines, indented + " ##END=\n" + good,
       one, one, "blocks=1"},
      {"an END too many", &Rules::ends_match_titles, good + "##END=\n", uneven, one},
      {"none at all", &Rules::ends_match_titles, good.substr(0, good.size() - 7), uneven, one},
      {"a label behind the last", &Rules::ends_match_titles,
       good.substr(0, good.size() - 2) + "\n## text\n",
       "1539 Found a label with the data label terminator ('=') missing.\n", one},
      {"no NPOINTS", &Rules::npoints_is_right,
       JCAMPFixture{.labels = "##DELTAX= 1\n", .last = "", .points = ""}.Bytes(),
       "1547 The size of the data block could not be established. The '##NPOINTS'-label could not "
       "be found or had an illegal value.\n",
       one},
      {"fewer pairs than there are", &Rules::npoints_is_right,
       JCAMPFixture{.points = "1", .form = "PEAK TABLE= (XY..XY)", .data = "1,2 3,4\n"}.Bytes(),
       ". | . | 't 1'\n1 | 'A' | 2\n",
       pairs("2 | 4") + "1 point more than '##NPOINTS' says was delivered (line 7)\n"},
      {"more ordinates than are announced", &Rules::npoints_is_right,
       JCAMPFixture{.points = "2", .data = "10 1\n12 2\n14 3 4\n"}.Bytes(),
       ". | . | 't 10' | 't 12'\n1 | 'A' | 1 | 2\n",
       ". | . | 't 10' | 't 12' | 't 14' | 't 16'\n1 | 'A' | 1 | 2 | 3 | 4\n"
       "2 points more than '##NPOINTS' says were delivered (line 8 on)\n"},
      {"fewer of them", &Rules::npoints_is_right,
       JCAMPFixture{.points = "5", .data = "10 1 2\n11 3\n"}.Bytes(),
       ". | . | 't 10' | 't 10.5' | 't 11' | . | .\n1 | 'A' | 1 | 2 | 3 | . | .\n",
       ". | . | 't 10' | 't 10.5' | 't 11'\n1 | 'A' | 1 | 2 | 3\n"
       "2 points that '##NPOINTS' announces are not there (line 9 on)\n"},
      {"differences from a line that is lost", &Rules::failed_checks_end_data,
       JCAMPFixture{.data = "10A1J1\n11B3j\n"}.Bytes(),
       ". | . | 't 10' | 't 11' | .\n1 | 'A' | 11 | 22 | .\n",
       names + "1 | 'A' | 11 | 22 | 22\n1 line does not begin with the ordinate that the line "
               "before ends with, and goes on from its own (line 8)\n"},
      {"a form without its end", &Rules::forms_are_exact,
       JCAMPFixture{.form = "XYDATA= (X++(Y..Y)"}.Bytes(), no_class, one},
      {"a line of 200,000 characters", &Rules::lines_of_255_characters,
       JCAMPFixture{.data = "10 1" + std::string(200'000, ' ') + "2 3\n"}.Bytes(),
       ". | . | 't 10' | . | .\n1 | 'A' | 1 | . | .\n"
       "1 line is longer than 255 characters, and the rest was not delivered\n",
       one},
      {"comments", &Rules::comments_in_titles,
       JCAMPFixture{.title = "A $$ B", .data = "10 1 2 3 $$ 4\n"}.Bytes(), one,
       names + "1 | 'A $$ B' | 1 | 2 | 3\n"},
      {"a missing ordinate", &Rules::missing_as_minus_99,
       JCAMPFixture{.data = "10 1 ? 3\n"}.Bytes(),
       ". | . | 't 10' | 't -99' | 't 12'\n1 | 'A' | 1 | -99 | 3\n",
       names + "1 | 'A' | 1 | . | 3\n"},
      {"a missing one of a pair", &Rules::missing_as_minus_99,
       form("PEAK TABLE= (XY..XY)", "1,?;3,4\n"), pairs("-99 | 4"), pairs(". | 4")},
      {"one that is interpolated", &Rules::missing_as_minus_99,
       JCAMPFixture{.data = "10 1 ? 3\n"}.Bytes() +
           JCAMPFixture{.points = "5", .data = "10 1 2 3 4 5\n"}.Bytes(),
       ". | . | 't 10' | 't 10.5' | 't 11' | 't 11.5' | 't 12'\n"
       "1 | 'A' | 1 | -99 | -99 | -99 | 3\n2 | 'A' | 1 | 2 | 3 | 4 | 5\n",
       ". | . | 't 10' | 't 10.5' | 't 11' | 't 11.5' | 't 12'\n1 | 'A' | 1 | . | . | . | 3\n"
       "2 | 'A' | 1 | 2 | 3 | 4 | 5\n",
       "blocks=1,2;reference=2"},
      {"pages of peaks", &Rules::first_page_only,
       JCAMPFixture{.form = "PAGE= T=1\n##NPOINTS= 2\n##DATA TABLE= (XY..XY), PEAKS",
                    .data = "1,2;3,4\n##PAGE= T=2\n##NPOINTS= 1\n"
                            "##DATA TABLE= (XY..XY), PEAKS\n2,5\n"}
           .Bytes(),
       ". | . | 't 1'\n1 | 'A' | 2\n1 further data page was not delivered\n",
       ". | . | 't 1' | 't 2' | 't 3'\n1 | 'A, T=1' | 2 | . | 4\n2 | 'A, T=2' | . | 5 | .\n"},
      {"names of close points", &Rules::names_of_six_digits,
       JCAMPFixture{.first = "1000001", .last = "1000002"}.Bytes(),
       ". | . | 't 1e+06' | 't 1e+06' | 't 1e+06'\n1 | 'A' | 1 | 2 | 3\n",
       ". | . | 't 1000001' | 't 1000001.5' | 't 1000002'\n1 | 'A' | 1 | 2 | 3\n"},
      {"another grid", &Rules::one_grid,
       good + JCAMPFixture{.first = "12", .last = "11", .points = "2", .data = "12 4 5\n"}.Bytes(),
       "1567 File read interrupted by the user.\n",
       names + "1 | 'A' | 1 | 2 | 3\n2 | 'A' | . | 5 | 4\n", "blocks=1,2"},
      {"n-tuples", &Rules::no_ntuples, tuples + "##END=\n",
       "1552 Host can currently not read n-tuples.\n", names + "1 | 'A' | 2 | 4 | 6\n"},
      {"RADATA", &Rules::no_ra_data,
       "##TITLE= A\n##FIRSTR= 10\n##LASTR= 12\n##NPOINTS= 3\n##AFACTOR= 2\n"
       "##RADATA= (R++(A..A))\n10 1 2 3\n##END=\n",
       "1551 Host can currently not read RA-data.\n", names + "1 | 'A' | 2 | 4 | 6\n"},
      {"pairs", &Rules::no_other_pairs, form("XYPAIRS= (XY..XY)", "1,2;3,4\n"),
       "1555 Host can currently not read XY pairs.\n", pairs("2 | 4")},
      {"pairs with widths", &Rules::no_other_pairs,
       form("PEAK TABLE= (XYW..XYW)", "1,2,.5;3 4 .5\n"), no_class,
       pairs("2 | 4") + "2 | 'A, width' | 0.5 | 0.5\n"},
      {"multiplicities, and one x twice", &Rules::no_other_pairs,
       form("PEAK TABLE= (XYM..XYM)", "3 4 S;3,5,T\n"), no_class,
       ". | . | 't 3' | 't 3'\n1 | 'A' | 4 | 5\n2 | 'A, multiplicity' | 'S' | 'T'\n"},
      {"peak assignments", &Rules::no_other_pairs,
       form("PEAK ASSIGNMENTS= (XYMA)", "(1, 2, M, <a (9,\n9)>) (3,4,,<b>)\n"), assignments,
       pairs("2 | 4") +
           "2 | 'A, multiplicity' | 'M' | .\n3 | 'A, assignment' | 'a (9, 9)' | 'b'\n"},
      {"groups of every kind", &Rules::no_other_pairs,
       form("PEAK ASSIGNMENTS= (XYMWA)", "(1 2 <a>) (3,4,,\n5, <b>, c)\n"), assignments,
       pairs("2 | 4") + "2 | 'A, width' | . | 5\n3 | 'A, assignment' | 'a' | '<b>, c'\n"},
      {"assignments that break off", &Rules::no_other_pairs,
       form("ASSIGNMENTS= (XYA)", "3, 4 <a>\n(1, 2.0\n"), assignments,
       pairs("2 | 4") + "2 | 'A, assignment' | . | 'a'\n"},
      {"a byte order mark", &Rules::files_begin_with_titles, "\xef\xbb\xbf" + good, not_jcamp, one},
      {"UTF-16", &Rules::files_begin_with_titles, "\xff\xfe" + Utf16(good, 0), not_jcamp, one},
      {"UTF-16, big-endian", &Rules::files_begin_with_titles, "\xfe\xff" + Utf16(good, 1),
       not_jcamp, one},
      {"UTF-16 without a mark", &Rules::files_begin_with_titles, Utf16(good, 0), not_jcamp, one},
      {"labels before the title", &Rules::files_begin_with_titles,
       "##JCAMP-DX= 4.24\n##YFACTOR= 2\n" + good, not_jcamp, names + "1 | 'A' | 2 | 4 | 6\n"},
      {"units at their numbers", &Rules::label_numbers_are_plain,
       JCAMPFixture{.labels = "##YFACTOR= 2.0D-01\n", .first = "1E1cm-1", .points = "3pts"}.Bytes(),
       "1543 The label on line 3 has an illegal value.\n",
       names + "1 | 'A' | 0.2 | 0.4 | 0.6000000000000001\n"},
      {"a word for a number", &Rules::label_numbers_are_plain,
       JCAMPFixture{.labels = "##DELTAX= N/A\n"}.Bytes(),
       "1543 The label on line 6 has an illegal value.\n", one},
      {"x in the lines", &Rules::labels_say_x,
       JCAMPFixture{
           .labels = "##XFACTOR= 2\n", .first = "", .last = "", .data = "5A1J\n5.5A2\n6C3\n"}
           .Bytes(),
       no_spacing, names + "1 | 'A' | 11 | 12 | 33\n"},
      {"a first x in the lines", &Rules::labels_say_x,
       JCAMPFixture{.labels = "##DELTAX= 1\n", .first = "", .last = ""}.Bytes(), no_spacing, one},
      {"exponents of pairs", &Rules::exponents_have_signs,
       form("PEAK TABLE= (XY..XY)", "1,2.5E3;3D0 4e-1\n"),
       "1562 Found an invalid character while reading data from the dataset\n",
       pairs("2500 | 0.4")},
      {"exponents of ordinates", &Rules::exponents_have_signs,
       JCAMPFixture{.data = "10 1.5E2 2 2E2\n"}.Bytes(), names + "1 | 'A' | 1.5 | 52 | 2\n",
       names + "1 | 'A' | 150 | 2 | 2\n"},
      {"labels of a second page", &Rules::first_page_only,
       JCAMPFixture{.data = "10 1 2 3\n##LASTX= 11\n##NPOINTS= 2\n##YFACTOR= 2\n"
                            "##XYDATA= (X++(Y..Y))\n10 4 5\n"}
           .Bytes(),
       ". | . | 't 10' | 't 11'\n1 | 'A' | 2 | 4\n1 further data page was not delivered\n",
       names + "1 | 'A' | 1 | 2 | 3\n2 | 'A' | 8 | 10 | .\n"},
  };
  ExpectRules<JCAMPFile>(cases);
  for (const auto& c : cases)
    EXPECT_EQ(Import<JCAMPFile>(c.bytes, c.pairs, Rules::Off()).sheet.substr(0, 3), ". |");

  // Pages, each with its factor, length and axis, of which none is the next one's.
  const auto page = [](const char* number, const std::string& lines) {
    return "##PAGE= N=" + (number + lines) + "##DATA TABLE= (X++(I..I)), XYDATA\n";
  };
  EXPECT_EQ(Import<JCAMPFile>(tuples + page("2", "\n##NPOINTS= 2\n") + "10 4 5\n" +
                                  page("3", "\n##FIRST= 11, 0, 0, 1\n##LAST= 13, 0, 0, 2\n") +
                                  "11 6 7 8\n" + page("4", "\n") + "10 1 2 3\n",
                              "", Rules::Off())
                .Summary(),
            ". | . | 't 10' | 't 11' | 't 12' | 't 13'\n1 | 'A, N=1' | 2 | 4 | 6 | .\n"
            "2 | 'A, N=2' | 2 | 2.5 | . | .\n3 | 'A, N=3' | . | 3 | 3.5 | 4\n"
            "4 | 'A, N=4' | 0.5 | 1 | 1.5 | .\n");

  // Blocks are counted alike, whatever is found in the head of a link.
  const std::string in_link =
      JCAMPFixture::Link(form("PEAK TABLE= (XYW..XYW)", "1 2 9;3 4 9\n") + good);
  EXPECT_EQ(ImportWith(in_link, "blocks=1").sheet, one);
  EXPECT_EQ(Import<JCAMPFile>(in_link, "blocks=1", Rules::Off()).sheet, one);
  EXPECT_EQ(Import<JCAMPFile>(in_link, "blocks=2", Rules::Off()).sheet,
            pairs("2 | 4") + "2 | 'A, width' | 9 | 9\n");

  const TempFolder folder;
  const std::string path = FileSelection::Join(
      {folder.Put("a.dx", good), folder.Put("b.dx", form("PEAK TABLE= (XY..XY)", "11,2;12,4\n"))});
  Rules rules;
  rules.only_xydata_of_several = false;
  JCAMPFile with;
  EXPECT_EQ(ImportFile(with, path, "blocks=1,2").sheet, "");
  JCAMPFile without(rules);
  EXPECT_EQ(ImportFile(without, path, "blocks=1,2").sheet,
            names + "1 | 'a.dx, A' | 1 | 2 | 3\n2 | 'b.dx, A' | . | 2 | 4\n");
}

TEST(JCAMPFile, AMillionPointsTakeLittleMemoryAndGoToTheFloatOverload) {
  struct CountingSink : ReadSpreadSheetData {
    void Set(int, int, int) override { ++whole_numbers; }
    void Set(int, int, long long) override { ADD_FAILURE() << "a 64-bit number"; }
    void Set(int, int, double) override { ADD_FAILURE() << "a double"; }
    void Set(int, int, const char*) override {}
    void Set(int column, int row, float) override {
      EXPECT_TRUE(column >= 1 && column <= columns && row == 2);
      ++numbers;
    }
    void SetDataSize(int new_columns, int) override { columns = new_columns; }
    int GetNumberOfColumns() override { return columns; }
    int GetNumberOfRows() override { return 2; }
    int columns = 0;
    int numbers = 0;
    int whole_numbers = 0;
  };
  const MemoryFile file;
  constexpr int kPerLine = 61;
  constexpr int kPoints = 16'400 * kPerLine;
  std::string data;
  for (int i = 0; i < kPoints; i += kPerLine)
    data += std::to_string(i) + "A2345678T9B1c2d3 4-5@T7\n";
  file.Put(JCAMPFixture{.points = std::to_string(kPoints), .data = data}.Bytes());
  JCAMPFile reader;
  CountingSink sink;
  ASSERT_EQ(reader.Open(true, file.path(), nullptr), 0);
  const AllocationCounter counter;
  EXPECT_EQ(reader.Read(&sink), 0) << ErrorText(reader);
  EXPECT_LT(counter.Peak(), 1U << 20);
  EXPECT_EQ(sink.columns, kPoints + 2);
  EXPECT_EQ(sink.numbers, kPoints);
  EXPECT_EQ(sink.whole_numbers, 1);
}

TEST(JCAMPFile, BlocksByTheMillionTakeNoMoreThanTheFileIsWorth) {
  std::string bytes = Repeated("##TITLE=\n##END=\n", 200'000) + JCAMPFixture{}.Bytes();
  const MemoryFile file(bytes);
  const AllocationCounter counter;
  ScriptedDialogs dialogs;
  JCAMPFile reader;
  EXPECT_EQ(reader.Open(true, file.path(), nullptr), 4);
  EXPECT_TRUE(dialogs.items_questions.empty()) << "nobody reads such a list";
  reader.Close();
  EXPECT_EQ(reader.Open(true, file.path(), OpenOptions::Pairs("blocks=200001").get()), 0);
  EXPECT_EQ(reader.GetNumCols(), 5);
  EXPECT_LT(counter.Peak(), 3 * bytes.size() + (1U << 20));
}

TEST(JCAMPFile, XValuesByRepetitionAreDrawnFromABudget) {
  std::string bytes = "##TITLE=\n##DELTAX= 1\n##NPOINTS= 900000\n";
  for (int page = 0; page < 9; ++page)
    bytes += "##FIRSTX= " + std::to_string(page) + "E6\n##XYDATA= XYDATA\n1@s9999999\n";
  const AllocationCounter counter;
  EXPECT_EQ(Import<JCAMPFile>(bytes + "##END=\n", "", JCAMPRules::Off()).Summary(),
            "6 The file would take more memory or time than a file of its size may.\n");
  EXPECT_LT(counter.Peak(), 64U << 20);
}

TEST(JCAMPFile, HostileFilesEndSoon) {
  const std::string kFiles[] = {
      Repeated("##TITLE=\n", 10'000),
      Repeated("##TITLE=\n##END=\n", 10'000),
      "##TITLE=" + std::string(3'000'000, 'x') + "\n##END=\n",
      JCAMPFixture{.data = std::string(3'000'000, '9')}.Bytes(),
      JCAMPFixture{.data = "10 " + std::string(200, '9') + "E+999999999999\n"}.Bytes(),
      JCAMPFixture{.points = "1000000", .data = Repeated("1@s999999999999\n", 1000)}.Bytes(),
      Repeated("\r", 1'000'000),
      "##TITLE=\n##SYMBOL= " + std::string(2'000'000, ',') + "\n" +
          Repeated("##DATA TABLE=(F++(G..G))\n", 50'000),
      Repeated("##TITLE=\n##DELTAX=1\n##XYDATA=XYDATA\n1@s999999999999\n##END\n", 1'000),
  };
  for (const std::string& bytes : kFiles)
    for (const JCAMPRules rules : {JCAMPRules{}, JCAMPRules::Off()}) {
      const MemoryFile file(bytes);
      ScriptedDialogs dialogs;
      dialogs.items = ItemsChoice{{0}, 0};
      JCAMPFile reader(rules);
      ImportFile(reader, file.path());
    }
}

}  // namespace

}  // namespace nvimport
