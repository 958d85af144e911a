#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "tests/apps/Desk.h"
#include "tests/support/Cases.h"
#include "tests/support/JCAMPFixture.h"

namespace nvimport {

namespace {

// Looks like text for as far as is tested.
std::string TextWithNul() {
  std::string text;
  for (int i = 0; i < 4000; ++i) text += "plain;text\n";
  return text + std::string("cut;he\0re\n", 10);
}

constexpr const char* kCutNote =
    "1 line holds a NUL byte, and what follows it there was not delivered";
constexpr const char* kNotWritten = "File could not be written.";

}  // namespace

TEST(Command, ConvertsText) {
  constexpr const char* kLacks =
      "note: characters that the encoding of the output lacks are written as ?\n";
  const struct {
    const char* why;
    std::string_view bytes;
    const char* options;
    const char* out;
    const char* errors = "";
  } kCases[] = {
      {"fields that csv quotes", "a,b;\"q\nc;d\n", "", "\"a,b\",\"\"\"q\"\nc,d\n"},
      {"short rows", "a;b\n\nc\nd;e;f\n", "", "a,b,\n,,\nc,,\nd,e,f\n"},
      {"the same in JSON", "a;b\n\n;;e\n", " --to jsonl",
       "[\"a\",\"b\",null]\n[null,null,null]\n[\"\",\"\",\"e\"]\n"},
      {"TSV", "a\\;b\n;c\n", " --to tsv", "a\\\tb\n\tc\n"},
      {"a registered format", "a\\;b\n;c\n", " --to txt", "a\\\tb\n\tc\n"},
      {"Windows-1252 beside UTF-8", "caf\xe9;\x80;é\n", "", "café,€,é\n"},
      {"a given encoding", "caf\x82;x\n", " --encoding cp437", "café,x\n"},
      {"for old programs", "\xe9;é;表\n", " --output-encoding cp1252", "\xe9,\xe9,?\n", kLacks},
      {"a registered format for them", "\xe9;é;表\n", " --output-encoding cp1252 --to txt",
       "\xe9\t\xe9\t?\n", kLacks},
      {"a delimiter's name", "a,b;c\n", " --delimiter Comma", "a,b;c\n"},
      {"as an option", "a,b;c\n", " --option delimiter=comma", "a,b;c\n"},
      {"runs of it", "a:::b:c\n", " --delimiter : --ignore-consecutive", "a,b,c\n"},
  };
  const Desk desk;
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.why);
    desk.Put("in.txt", c.bytes);
    EXPECT_EQ(desk.Run(std::string("convert in.txt -o - --quiet") + c.options),
              (Ran{0, c.out, c.errors}));
  }
  EXPECT_EQ(desk.Listing(), "in.txt");
}

TEST(Command, AWrittenFileKnowsItsName) {
  const Desk desk;
  desk.Put("in.txt", "\xe9;1\n");
  EXPECT_EQ(desk.Run("convert in.txt -o out.dif --quiet"), (Ran{0, "", ""}));
  EXPECT_TRUE(desk.Get("out.dif").starts_with("TABLE\n0,1\n\"out.dif\"\n"));
  EXPECT_EQ(desk.Run("convert out.dif -o -"), (Ran{0, "é,1\n", ""}));
  EXPECT_EQ(desk.Listing(), "in.txt out.dif");
}

TEST(Command, SaysWhichDelimiterItTook) {
  const Desk desk;
  const std::string said = "in.txt: the delimiter is taken to be ";
  const std::string advice = " (--delimiter decides otherwise)\n";
  desk.Put("in.txt", "1,5;2\n3,5;4\n");
  EXPECT_EQ(desk.Run("convert in.txt -o -"),
            (Ran{0, "\"1,5\",2\n\"3,5\",4\n", said + "semicolon" + advice}));
  EXPECT_EQ(desk.Run("convert in.txt -o - --delimiter ,"), (Ran{0, "1,5;2\n3,5;4\n", ""}));
  desk.Put("in.txt", "a   b\nc d\n");
  EXPECT_EQ(desk.Run("convert in.txt -o out.jsonl"),
            (Ran{0, "", said + "runs of blanks" + advice}));
  EXPECT_EQ(desk.Get("out.jsonl"), "[\"a\",\"b\"]\n[\"c\",\"d\"]\n");
}

TEST(Command, TellsTheDelimiterOfAFormatThatAsksNothing) {
  const Desk desk;
  desk.Put("in.csv", "name;x\n\"a;b\";1,5\n");
  const struct {
    const char* options;
    const char* out;
    const char* delimiter;  // as info tells it
  } kCases[] = {
      {"", "name,x\na;b,\"1,5\"\n", "semicolon (guessed; --delimiter semicolon)"},
      {" --option delimiter=Comma", "name;x,\na;b;1,5\n", "comma (given; --delimiter comma)"},
      {" --delimiter blank", "name;x\n\"a;b;1,5\"\n", "a single blank (given; --delimiter ' ')"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.options);
    EXPECT_EQ(desk.Run("convert in.csv -o -" + std::string(c.options)), (Ran{0, c.out, ""}));
    const std::string told = desk.Run("info in.csv" + std::string(c.options)).out;
    EXPECT_NE(told.find("  delimiter  " + std::string(c.delimiter) + "\n"), std::string::npos)
        << told;
  }
  for (const char* options : {" --delimiter ;;", " --delimiter ", " --option quote=x;y"})
    EXPECT_EQ(desk.Run("convert in.csv -o -" + std::string(options)).exit_code, 1) << options;
}

TEST(Command, ReadsStandardInput) {
  const Desk desk;
  const struct {
    const char* line;
    Ran ran;
  } kCases[] = {
      {"convert - -o - --quiet", {0, "a,b\n", ""}},
      {"validate - --quiet --stdin-name \x1b.txt",
       {0, "ok \\x1b.txt: Text File, 1 row x 2 columns\n", ""}},
      {"convert - -o - --stdin-name ../x.txt",
       {2, "",
        TwoLines("\"../x.txt\" is no plain file name.", "--stdin-name takes one without folders")}},
      {"convert - --files-from - --outdir o",
       {2, "",
        TwoLines("Standard input can be read only once.",
                 "give - once, as FILE or as the list of --files-from")}},
  };
  for (const auto& c : kCases) EXPECT_EQ(desk.Run(c.line, {.input = "a;b\n"}), c.ran);
  EXPECT_EQ(desk.Listing(), "");
  EXPECT_EQ(desk.Run("convert - --outdir o --quiet", {.input = "a;b\n"}), (Ran{0, "", ""}));
  EXPECT_EQ(desk.Listing(), "o o/stdin.csv");
}

// What a pipe brings is written before it ends, however wide later rows are.
TEST(Command, ReadsTextAsItComes) {
  const Desk desk;
  std::string text;
  for (int line = 0; text.size() < 1'500'000; ++line) text += "a;b;" + std::to_string(line) + "\n";
  desk.Put("in.csv", text);
  ASSERT_EQ(desk.Run("convert in.csv -o file.tsv --quiet"), (Ran{0, "", ""}));
  for (const char* name : {"in.csv", "in.txt"}) {
    const std::string line = "convert - -o - --to tsv --quiet --stdin-name " + std::string(name);
    EXPECT_EQ(desk.Run(line, {.input = text}), (Ran{0, desk.Get("file.tsv"), ""})) << name;
    const Ran widened = desk.Run(line, {.input = text + "1;2;3;4;5\n6\n"});
    EXPECT_EQ(widened.out, desk.Get("file.tsv") + "1\t2\t3\t4\t5\n6\t\t\t\t\n");
    EXPECT_NE(widened.errors.find(" has more columns than the rows before it"), std::string::npos);
  }
  // What hangs on the size or the order of all rows.
  for (const std::string shape : {"--rows 3-,5-,1", "--rows 200000-200005,3", "--columns 5,1",
                                  "--columns 4,5", "--columns 2-9,1 --rows 1-10,5-20"}) {
    desk.Put("wide.csv", text + "1;2;3;4;5\n");
    const std::string line = " -o - --quiet " + shape;
    const Ran sized = desk.Run("convert wide.csv" + line);
    ASSERT_EQ(desk.Run("convert wide.csv --force -o shaped.csv --quiet " + shape),
              (Ran{0, "", ""}));
    EXPECT_EQ(desk.Get("shaped.csv"), sized.out) << shape;
    if (shape == "--columns 4,5") continue;  // of which a pipe knows too late that there are some
    EXPECT_EQ(desk.Run("convert - --stdin-name wide.csv" + line, {.input = text + "1;2;3;4;5\n"}),
              sized)
        << shape;
  }
  for (const char* shape : {"--rows 200000", "--columns 9"})
    EXPECT_NE(desk.Run("convert in.csv -o - --quiet " + std::string(shape)).exit_code, 0) << shape;
  // Without an end: what comes first is there while more may come.
  int pipe[2];
  ASSERT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
  const ::pid_t process = desk.Start("nvimport convert - -o - --to tsv --quiet", {.in = pipe[0]});
  ::close(pipe[0]);
  ASSERT_EQ(::write(pipe[1], text.data(), text.size()), std::ssize(text));
  const auto has_come = [&] { return std::filesystem::file_size(desk.Path("out")) > 1'000'000; };
  for (int i = 0; i < 3000 && !has_come(); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_TRUE(has_come());
  ::close(pipe[1]);
  EXPECT_EQ(desk.Finish(process), (Ran{0, desk.Get("file.tsv"), ""}));
  // What has to be there as a whole is stored.
  const Ran whole = desk.Run("validate - --quiet --stdin-name in.csv", {.input = text});
  EXPECT_TRUE(whole.out.starts_with("ok in.csv: CSV File, 14")) << whole.out;
}

TEST(Command, RefusesInTwoLinesAndLeavesNothing) {
  const Desk desk;
  desk.Put("in.txt", "a;b\n");
  desk.Put("out.csv", "precious\n");
  desk.Put("binary.txt", {"a;b\0c;d\n", 8});
  desk.Put("empty.txt", "");
  std::filesystem::create_directory(desk.Path("work/folder"));
  ASSERT_EQ(::mkfifo(desk.Path("work/pipe").c_str(), 0600), 0);
  const std::string listing = desk.Listing();
  const char* no_open = "The file could not be opened.";
  const struct {
    const char* line;
    int exit_code;
    const char* text;
    const char* advice;
  } kCases[] = {
      {"show a\x1b[2J\n.txt", 5, "The file is not there.",
       "a\\x1b[2J\\x0a.txt: no such file or directory; check the name"},
      {"convert folder -o x.csv", 1, "There is no file in folder that can be read.",
       "--recursive also looks into its folders; \"nvimport detect FOLDER\" says what the files "
       "are"},
      {"detect pipe", 1, no_open,
       "pipe: it is a pipe; read it through standard input, with - as the file"},
      {"info /dev/null", 1, no_open,
       "/dev/null: it is not a regular file; read it through standard input, with - as the file"},
      {"convert  -o x.csv", 1, no_open, "\"\": a file needs a name"},
      {"convert binary.txt --format 17 -o x.csv", 1,
       "The file could not be opened. This file appears to be a binary file and cannot be "
       "imported. "
       "Only ordinary text (ASCII) files can be imported.",
       "binary.txt: taken for \"Text File\", as --format says; without it the format is detected"},
      {"validate empty.txt --format 17 --quiet", 1,
       "The selected file does not contain any data. Import will be aborted.",
       "empty.txt: taken for \"Text File\", as --format says; without it the format is detected; "
       "it "
       "looks like an empty file: copy it once more from where it came from"},
      {"convert in.txt binary.txt --together -o x.csv", 1,
       "Text File can only be imported one at a time. Import will be aborted.",
       "in.txt and 1 more: taken for \"Text File\"; --format NAME takes another format, \"nvimport "
       "detect FILE\" shows what the formats say"},
      {"convert in.txt -o out.csv", 1, kNotWritten,
       "out.csv: it exists already; --force replaces it"},
      {"convert in.txt -o no\n/x.csv", 1, kNotWritten,
       "no\\x0a/x.csv: the folder no\\x0a: no such file or directory; check the name"},
      {"convert in.txt -o folder --to csv", 1, kNotWritten,
       "folder: it is a folder; --outdir writes into one"},
      {"convert in.txt -o /dev/full --to csv --quiet", 1, kNotWritten,
       "/dev/full: No space left on device; make room, or write elsewhere"},
      {"convert in.txt --outdir in.txt/x", 1, "The output folder could not be made.",
       "in.txt/x: not a directory; a part of the name is a file, no folder"},
      {"convert --files-from folder -o x.csv", 1, "The list of files cannot be read.",
       "folder: is a directory; name a file in it"},
      {"convert in.txt -o x.foo", 2, "\"foo\" is no format that can be written.",
       "--to takes csv, tsv, jsonl, json, xlsx, arrow, arrows or a format that \"nvimport "
       "formats\" says can be "
       "written"},
      {"help zork", 2, R"(There is no command "zork".)", "nvimport --help lists them"},
      {"zork in.txt", 2, R"(There is no command "zork".)", "nvimport --help lists them"},
      {"convert in.txt -o x.csv --format Zork\x1b", 2, R"(There is no format "Zork\x1b".)",
       "\"nvimport formats\" lists them"},
      {"convert in.txt -o x.csv --encoding utf-16", 2,
       "\"utf-16\" is no encoding that texts can have here.",
       "it must be one that \"iconv -l\" lists and that holds ASCII as it is"},
      {"convert in.txt -o x.csv --option zork", 2, "\"zork\" is no option of an import.",
       "--option takes KEY=VALUE"},
      {"convert in.txt", 2, "There is no output.",
       "give -o OUT (- for standard output), or --outdir"},
      {"convert -o x.csv", 2, "There is no file to read.",
       "give FILE, or - to read standard input"},
      {"convert in.txt in.txt -o x.csv", 2, "Several files can't go into one output.",
       "--outdir gives each its own, --combine makes one table of them, --together one sheet, in "
       "formats that take several"},
      {"convert in.txt --combine --transpose -o x.csv", 2,
       "--combine and --transpose exclude each other.", "the table is written row by row"},
      {"convert in.txt --combine --to dif -o x", 2,
       "A table of several sheets can't be written as that format.",
       "--to takes csv, tsv, jsonl, json, xlsx, arrow or arrows for it"},
      {"convert in.txt --each-sheet -o -", 2, "--each-sheet and -o - exclude each other.",
       "each sheet needs a file: -o OUT or --outdir FOLDER"},
      {"convert in.txt --grid first -o x.csv", 2,
       "--grid and --header are about tables of several sheets.",
       "--combine makes one of files, --with-source one of worksheets"},
      {"convert in.txt --files 1 -o x.csv", 2, "--files chooses among files that are one sheet.",
       "--together makes them one"},
      {"convert in.txt --together --files 2 -o x.csv", 2, "\"2\" is not among the files.",
       "--files takes numbers from 1 to 1"},
      {"convert in.txt --range 5,2 -o x.csv", 2, "\"5,2\" is no range.",
       "--range takes FIRST,LAST, points from 1, a last one of 0 for the end"},
      {"convert in.txt -o x.csv --outdir y", 2, "-o and --outdir exclude each other.",
       "-o names one output, --outdir a folder for many; leave one of them out"},
      {"formats a\x1b\n", 2, "The following argument was not expected: a\\x1b\\x0a",
       "nvimport COMMAND --help tells how it is used"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(desk.Run(c.line), (Ran{c.exit_code, "", TwoLines(c.text, c.advice)}));
    EXPECT_EQ(desk.Listing(), listing) << c.line;
  }
  EXPECT_EQ(desk.Get("out.csv"), "precious\n");
}

TEST(Command, AnUncertainFormatNamesTheCandidates) {
  const Desk desk;
  desk.Put("noise", "a;b\x01\n");
  const Ran ran = desk.Run("convert noise -o x.csv");
  EXPECT_EQ(ran.exit_code, 3);
  EXPECT_TRUE(
      ran.errors.starts_with("nvimport: The format is not certain.\n  noise: --format NAME chooses "
                             "among: CSV File, Excel2007 File, "));
  EXPECT_EQ(std::ranges::count(ran.errors, '\n'), 2);
  EXPECT_EQ(desk.Run("detect noise").exit_code, 3);
  EXPECT_EQ(desk.Listing(), "noise");
  EXPECT_EQ(desk.Run("convert noise -o - --format CSV --quiet"), (Ran{0, "a,b\x01\n", ""}));
}

// A workbook whose only stream is called as in an encrypted package.
std::string EncryptedPackage() {
  std::string bytes = Contents(NVIMPORT_TEST_SAMPLES "/ovens.xls");
  const std::string entry("W\0o\0r\0k\0b\0o\0o\0k\0", 16);
  const std::string name("E\0n\0c\0r\0y\0p\0t\0e\0d\0P\0a\0c\0k\0a\0g\0e\0\0\0", 34);
  constexpr std::size_t kNameSize = 64;  // where an entry has it
  const std::size_t at = bytes.find(entry);
  bytes.replace(at, name.size(), name);
  bytes[at + kNameSize] = static_cast<char>(name.size());
  return bytes;
}

// The password is given, and what refuses without it names the way.
TEST(Command, OpensEncryptedWorkbooksByTheirPassword) {
  const Desk desk;
  desk.Put("w.xlsx", Contents(NVIMPORT_TEST_SAMPLES "/../tests/fuzz/seeds/package-password"));
  desk.Put("right", "p\u00e4ssw\u00f6rd\u20ac\r\nmore\n");
  desk.Put("empty", "");
  const std::string show = "validate w.xlsx --complete --sheet 1 ";
  const Ran missing = desk.Run(show);
  if (missing.errors.find("nettle") != std::string::npos) GTEST_SKIP() << missing.errors;
  EXPECT_EQ(missing.exit_code, 1);
  EXPECT_NE(missing.errors.find("which was not given.\n  w.xlsx: --password-file FILE gives"),
            std::string::npos)
      << missing.errors;
  EXPECT_EQ(desk.Run(show + "--password-file right").exit_code, 0);
  EXPECT_EQ(desk.Run(show + "--password p\u00e4ssw\u00f6rd\u20ac").exit_code, 0);
  const Ran wrong = desk.Run(show + "--password s3cret --json");
  EXPECT_EQ(wrong.exit_code, 1);
  EXPECT_EQ((wrong.out + wrong.errors).find("s3cret"), std::string::npos);
  EXPECT_EQ(desk.Run(show + "--password-file empty").exit_code, 2);
  EXPECT_NE(desk.Run("validate w.xlsx --kept-rules").errors.find("read without --kept-rules"),
            std::string::npos);
}

TEST(Command, ContentDecidesWhereTheFormatsDoNot) {
  const auto sample = [](const char* name) {
    return Contents(std::string(NVIMPORT_TEST_SAMPLES "/") + name);
  };
  const struct {
    const char* name;
    std::string bytes;
    const char* format;
  } kCases[] = {{"plain", "a;b\n", "Text File"},
                {"quoted.asc", "\"a;b\";c\n\"d\n\"\"e\"\"\";f\n", "CSV File, 2 rows x 2 columns"},
                {"open.asc", "\"a;b\n", "Text File"},
                {"inch.prn", "3\" pipe;\"a\" b\n", "Text File"},
                {"named.log", "sep=|\na|b;c;d\n", "CSV File, 1 row x 2 columns"},
                {"commas.tsv", "a,b,c\td\n\"1\n2\"\t4\n", "CSV File, 2 rows x 2 columns"},
                {"inches.tsv", "\"a\" b\tc\n", "CSV File, 1 row x 2 columns"},
                {"commas.tab", "a,b\n", "Text File"},
                {"s.jcamp", sample("oils.jdx"), "JCAMP-DX File"},
                {"m.xlsm", sample("mill.xlsx"), "Excel2007 File"},
                {"o", sample("ovens.xls"), "Excel File"},
                {"t", sample("tanks.wk1"), "Lotus 1-2-3 File"},
                {"b", sample("barley.spc"), "GalacticSPC File"},
                {"d", sample("dryer.mip"), "TIVON File"}};
  const Desk desk;
  for (const auto& c : kCases) {
    desk.Put(c.name, c.bytes);
    EXPECT_EQ(desk.Run(std::string("detect --kept-rules ") + c.name).exit_code, 3);
    const Ran ran = desk.Run(std::string("validate --quiet ") + c.name);
    EXPECT_NE(ran.out.find(std::string(": ") + c.format), std::string::npos)
        << c.name << ran.out << ran.errors;
  }
  // A delimiter that only the other reader knows.
  EXPECT_TRUE(desk.Run("convert quoted.asc -o - --delimiter \";").out.starts_with(R"("""a;b",c)"));
  // What is written is read again, from standard input too.
  const std::string csv = "id,name\n1,\"say \"\"hi\"\"\"\n2,x\ty\n3,\"two\nlines\"\n4,\"a,b\\t\"\n";
  desk.Put("in.csv", csv);
  EXPECT_EQ(desk.Run("convert in.csv -o t.tsv"),
            (Ran{0, "",
                 "note: 2 cells with a TAB or a line break stand in quotes, which not every "
                 "program reads as such\n"}));
  EXPECT_EQ(desk.Run("convert t.tsv -o -"), (Ran{0, csv, ""}));
  EXPECT_EQ(desk.Run("convert - -o -", {.input = desk.Get("t.tsv")}), (Ran{0, csv, ""}));
  EXPECT_EQ(desk.Run("convert - -o -", {.input = "\"Doe, J\",1\n"}),
            (Ran{0, "\"Doe, J\",1\n", ""}));
}

TEST(Command, NamesTheKindsThatNoFormatReads) {
  const std::string zip("PK\3\4\24\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 30);
  const struct {
    const char* name;
    std::string bytes;
    const char* kind;
  } kCases[] = {
      {"c.xls", "\xef\xbb\xbf<?xml version='1.0'?><Data/>", "an XML document"},
      {"d.xls", "Run\t1\n", "plain text under the name of another kind"},
      {"e.spc", std::string(600, '\7'), "another maker's \".spc\""},
      {"f.spc", Contents(NVIMPORT_TEST_SAMPLES "/ovens.xls"), "another maker's \".spc\""},
      {"g.pdf", "%PDF-1.7\n", "a PDF document"},
      {"h", zip + "readme.txt", "a ZIP archive"},
      {"l.mat", std::string(512, '\0') + "\x89HDF\r\n\x1a\n", "a MATLAB 7.3 file"},
      {"m.dat", std::string(100, '\0'), "nothing but zero bytes"},
      {"n.txt", "", "an empty file"},
  };
  const Desk desk;
  for (const auto& c : kCases) {
    desk.Put(c.name, c.bytes);
    const std::string said = desk.Run(std::string("detect ") + c.name).out;
    EXPECT_NE(said.find("\n  looks like: "s + c.kind + "; "), std::string::npos) << c.name << said;
    const Ran shown = desk.Run(std::string("show --quiet ") + c.name);
    EXPECT_NE(shown.exit_code, 0);
    EXPECT_NE(shown.errors.find("it looks like "s + c.kind + ": "), std::string::npos)
        << c.name << shown.errors;
  }
  desk.Put("a.xls", EncryptedPackage());
  EXPECT_TRUE(desk.Run("detect a.xls").out.starts_with("a.xls: Excel2007 File\n"));
  desk.Put("page.xls", " <!DOCTYPE HTML><html><table><tr><td>1</table>");
  EXPECT_TRUE(desk.Run("detect page.xls").out.starts_with("page.xls: HTML Tables\n"));
  EXPECT_NE(desk.Run("detect page.xls --kept-rules")
                .out.find("an HTML page; it may be read without --kept-rules"),
            std::string::npos);
}

TEST(Command, SaysWhyAFormatIsTaken) {
  const Desk desk;
  const struct {
    const char* name;
    const char* sample;
    const char* why;
  } kCases[] = {
      {"a.dat", "tablets.dat", "it alone is certain of the file"},
      {"a.spc", "barley.spc",
       "9 formats could be right, none is certain, and it alone has the extension \".spc\""},
      {"a", "barley.spc",
       "9 formats could be right, none is certain, and the name has no extension"},
      {"b.dat", "reactor.txt",
       "11 formats could be right, none is certain, and 2 of them have the extension \".dat\""},
  };
  for (const auto& c : kCases) {
    desk.Put(c.name, Contents(std::string(NVIMPORT_TEST_SAMPLES "/") + c.sample));
    const std::string said = desk.Run(std::string("detect ") + c.name).out;
    EXPECT_NE(said.find("\n  why: "s + c.why + "\n"), std::string::npos) << said;
    // What is settled needs no more words.
    EXPECT_EQ(said.find("looks like") != said.npos, c.name != "a.dat"s && c.name != "a.spc"s)
        << said;
  }
}

TEST(Command, FullAndClosedOutputs) {
  const Desk desk;
  desk.Put("in.txt", "a;b\n");
  const std::string big(100000, 'x');
  desk.Put("big.txt", big);
  const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  for (const std::string line : {"convert in.txt -o -", "convert in.txt -o - --to txt",
                                 "show in.txt", "info in.txt", "validate in.txt --json"})
    EXPECT_EQ(desk.Run(line + " --quiet", {.out = full}),
              (Ran{1, "",
                   TwoLines(kNotWritten,
                            "standard output: No space left on device; make room, or write "
                            "elsewhere")}))
        << line;
  ::close(full);

  const std::string limit = "ile too large; a limit (ulimit -f) is in the way, or the disk's own";
  for (const std::string name : {"x.csv", "x.txt"})
    EXPECT_EQ(desk.Run("convert big.txt --quiet -o " + name, {.largest_file = 50000}),
              (Ran{1, "", TwoLines(kNotWritten, name + ": F" + limit)}));
  EXPECT_EQ(desk.Run("validate -", {.input = big, .largest_file = 50000}),
            (Ran{1, "",
                 TwoLines("Standard input can't be stored for reading.", "in ../tmp: f" + limit)}));
  // What is more than memory is to hold.
  std::string cells;
  for (int row = 0; row < 300'000; ++row) cells += "1,2,3,4\n";
  desk.Put("cells.csv", cells);
  EXPECT_EQ(desk.Run("convert cells.csv --quiet -o x.dif", {.largest_file = 1'000'000}),
            (Ran{1, "",
                 TwoLines(kNotWritten,
                          "x.dif: the folder for temporary files has no room for the "
                          "sheet; TMPDIR may name a folder with more room")}));
  int pipe[2];
  ASSERT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
  ::close(pipe[0]);
  EXPECT_EQ(desk.Run("convert - -o - --to txt --quiet", {.input = "a;b\n", .out = pipe[1]}),
            (Ran{-SIGPIPE, "", ""}));
  ::close(pipe[1]);
  EXPECT_EQ(desk.Listing(), "big.txt cells.csv in.txt");
}

TEST(Command, OptionsOfTheOutput) {
  const Desk desk;
  desk.Put("in.csv", "\xB5m,b\n1,2\n");
  EXPECT_EQ(desk.Run("convert in.csv -o plain.mat --quiet --write-option compress=0").exit_code, 0);
  EXPECT_EQ(desk.Run("convert in.csv -o packed.mat --quiet").exit_code, 0);
  // What the command knows of the file, in 16-bit units.
  EXPECT_NE(desk.Get("plain.mat").find("i\0n\0.\0c\0s\0v\0"s), std::string::npos);
  EXPECT_EQ(desk.Get("packed.mat").find("i\0n\0.\0c\0s\0v\0"s), std::string::npos);
  EXPECT_EQ(desk.Run("convert packed.mat --sheet data -o - --quiet").out,
            desk.Run("convert plain.mat --sheet data -o - --quiet").out);
  for (const auto& [output, option, exit_code] :
       {std::tuple("x.mat", "compress=2", 1), {"x.mat", "compress", 2}, {"x.csv", "compress=0", 2}})
    EXPECT_EQ(desk.Run("convert in.csv -o "s + output + " --write-option " + option).exit_code,
              exit_code)
        << option;
  EXPECT_EQ(desk.Listing(), "in.csv packed.mat plain.mat");
}

TEST(Command, AnInterruptLeavesNothing) {
  const Desk desk;
  int pipe[2];
  ASSERT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
  const ::pid_t process = desk.Start("nvimport convert - -o x.csv", {.in = pipe[0]});
  for (int i = 0; i < 3000 && !desk.Listing().ends_with("/stdin"); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  EXPECT_TRUE(desk.Listing().ends_with("/stdin")) << desk.Listing();
  ::kill(process, SIGINT);
  EXPECT_EQ(desk.Finish(process), (Ran{-SIGINT, "", ""}));
  EXPECT_EQ(desk.Listing(), "");
  ::close(pipe[0]);
  ::close(pipe[1]);
}

TEST(Command, ReplacesOnlyFilesAndOnlyWhenForced) {
  const Desk desk;
  desk.Put("in.txt", "a;b\n");
  desk.Put("target.csv", "old\n");
  std::filesystem::create_symlink("target.csv", desk.Path("work/link.csv"));
  EXPECT_EQ(desk.Run("convert in.txt -o link.csv").exit_code, 1);
  EXPECT_EQ(desk.Get("target.csv"), "old\n");
  EXPECT_EQ(desk.Run("convert in.txt -o link.csv --quiet --force"), (Ran{0, "", ""}));
  EXPECT_TRUE(std::filesystem::is_symlink(desk.Path("work/link.csv")));
  EXPECT_EQ(desk.Get("target.csv"), "a,b\n");
  EXPECT_EQ(desk.Run("convert missing.txt -o target.csv --force").exit_code, 5);
  EXPECT_EQ(desk.Get("target.csv"), "a,b\n");
  EXPECT_EQ(desk.Run("convert in.txt -o in.txt --quiet --force"), (Ran{0, "", ""}));
  EXPECT_EQ(desk.Get("in.txt"), "a\tb\n");
  EXPECT_EQ(desk.Listing(), "in.txt link.csv target.csv");
}

// Forced only onto a pipe of the test's own: a fault must not cost the machine a device.
TEST(Command, WritesIntoDevicesAndPipes) {
  const Desk desk;
  desk.Put("in.txt", "a;b\n");
  const std::string pipe = desk.Path("work/pipe");
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  for (const std::string format : {"csv", "txt"}) {
    EXPECT_EQ(desk.Run("convert in.txt -o /dev/null --quiet --to " + format), (Ran{0, "", ""}));
    EXPECT_EQ(desk.Run("convert in.txt -o pipe --force --quiet --to " + format), (Ran{0, "", ""}));
    char bytes[100];
    const ::ssize_t got = ::read(reader, bytes, sizeof bytes);
    EXPECT_EQ(std::string(bytes, got > 0 ? static_cast<std::size_t>(got) : 0),
              format == "csv" ? "a,b\n" : "a\tb\n");
  }
  for (const char* name : {"/dev/stdout", "/dev/fd/1"})
    EXPECT_EQ(desk.Run("convert in.txt --quiet -o "s + name), (Ran{0, "a,b\n", ""}));
  ::close(reader);
  EXPECT_TRUE(std::filesystem::is_fifo(pipe));
  EXPECT_EQ(desk.Listing(), "in.txt pipe");
}

TEST(Command, SeveralFiles) {
  const Desk desk;
  std::string files;
  std::string first_six;
  std::string all_good;
  for (int i = 1; i <= 20; ++i) {
    const std::string name = std::to_string(i) + ".txt";
    files += " " + name;
    if (i == 7) continue;
    // The first takes longest.
    desk.Put(name, i == 1 ? std::string(3000000, '\n') + "x" : "a;b\n");
    const std::string ok = "ok " + name + ": Text File, " +
                           (i == 1 ? "3000001 rows x 1 column\n" : "1 row x 2 columns\n");
    if (i < 7) first_six += ok;
    all_good += ok;
  }
  const std::string missing =
      TwoLines("The file is not there.", "7.txt: no such file or directory; check the name");
  for (const std::string jobs : {" --jobs 1", " --jobs 2", " --jobs 40"}) {
    const std::string line = "validate --delimiter ;" + files + jobs;
    EXPECT_EQ(desk.Run(line),
              (Ran{5, first_six, missing + "20 files: 6 done, 1 failed, 13 not tried\n"}));
    EXPECT_EQ(desk.Run(line + " --keep-going"),
              (Ran{5, all_good, missing + "20 files: 19 done, 1 failed\n"}));
  }
  std::ranges::replace(files, ' ', '\n');
  EXPECT_EQ(desk.Run("validate --delimiter ; --keep-going --files-from -", {.input = files}),
            (Ran{5, all_good, missing + "20 files: 19 done, 1 failed\n"}));
  desk.Put("list", "2.txt\r\n\r\n\n3.txt");
  desk.Put("list0", "5.txt\0two\nlines\r\0"s);
  desk.Put("two\nlines\r", "a;b\n");
  const auto ran = desk.Run("validate --files-from list --files-from0 list0 4.txt --format 17");
  EXPECT_TRUE(ran.out.starts_with("ok 4.txt") &&
              ran.errors.ends_with("5 files: 5 done, 0 failed\n"))
      << ran.errors;
}

TEST(Command, ABadFileOfABatchCostsItselfAlone) {
  const Streams streams{.plug_ins = NVIMPORT_TEST_PLUGINS "/fault-by-name"};
  const std::map<int, std::pair<std::string, const char*>> bad = {
      {700,
       {"hang", "the worker that read it took more than 2 s; a larger --timeout gives it longer"}},
      {3,
       {"crash",
        "the worker that read it ended by signal 11; leave the file out, and send it to the "
        "makers"}},
      {8,
       {"leave",
        "the worker that read it ended by exit 0; leave the file out, and send it to the makers"}},
      {13, {"refused", nullptr}},
      {18, {"missing", "no such file or directory; check the name"}}};
  const Desk desk;
  std::string list;
  std::string errors;
  for (int i = 0; i < 2000; ++i) {
    const auto kind = bad.find(i == 700 ? i : i % 100);
    const bool good = kind == bad.end();
    const std::string name = std::to_string(i) + (good ? "good" : kind->second.first) + ".tst";
    list += name + "\n";
    if (good || kind->second.first != "missing") desk.Put(name, "");
    if (!good && kind->second.second != nullptr)
      errors += "  " + name + ": " + kind->second.second + "\n";
  }
  desk.Put("list", list);
  const Ran ran = desk.Run(
      "convert --jobs 4 --keep-going --timeout 2 --files-from list --outdir out --to csv", streams);
  EXPECT_EQ(ran.exit_code, 1);
  EXPECT_TRUE(ran.errors.ends_with("2000 files: 1919 done, 81 failed\n")) << ran.errors;
  std::istringstream lines(ran.errors);
  std::string reasons;
  for (std::string line; std::getline(lines, line);)
    if (line.starts_with("  ") && line.find("refused.tst") == std::string::npos)
      reasons += line + "\n";
  EXPECT_EQ(reasons, errors);
  int written = 0;
  for (const auto& entry : std::filesystem::directory_iterator(desk.Path("work/out"))) {
    EXPECT_TRUE(entry.path().native().ends_with("good.csv")) << entry;
    ++written;
  }
  EXPECT_EQ(written, 1919);
  EXPECT_NE(desk.Get("out/1999good.csv"), "");
}

// A format that asks each question there is.
const char* const kAsks = NVIMPORT_TEST_PLUGINS "/question";

TEST(Command, WithoutATerminalAnswersAsAUserWouldAndSaysSo) {
  const Desk desk;
  const std::string decides = "... decides otherwise)\n";
  const std::string choices = " chooses among: 1 Alpha; 2 Beta,Gamma; 3 2";
  const std::string sheets =
      "--sheet N,N... chooses among: 1 Alpha (1 x 2); 2 Beta,Gamma (3 x 4); 3 2 (5 x 6)";
  const std::string points = "7201 points, x from 4000 to 400, spacing -0.5";
  const struct {
    const char* file;
    const char* options;
    Ran ran;
  } kCases[] = {
      {"worksheets\n",
       "",
       {0, "0 merge 1\n", "x.ask: of 3 worksheets taken: Alpha (1 x 2) (--sheet " + decides}},
      {"worksheets\n", " --sheet beta,gamma", {0, "1 merge 1\n", ""}},
      {"worksheets\n", " --sheet 3,alpha,3 --merge side", {0, "2 0 merge 0\n", ""}},
      {"worksheets\n", " --sheet 2-3", {0, "1 2 merge 1\n", ""}},
      {"worksheets\n",
       " --sheet 2,Zork",
       {1, "", TwoLines("\"2,Zork\" is not among the worksheets.", "x.ask: " + sheets)}},
      {"one row\n",
       " --sheet 4",
       {0, "one row\n", "x.ask: --sheet was not needed, there was no such choice\n"}},
      {"blocks\n",
       "",
       {0, "0 1 2 merge 0\n", "x.ask: of 3 blocks taken: 1,2,3 (--blocks " + decides}},
      {"reference\n",
       "",
       {0, "0 merge 0\n",
        "x.ask: of 3 reference series taken: Alpha (--option reference=" + decides}},
      {"range\n",
       "",
       {0, "1 to 0\n",
        "x.ask: all of the " + points + " (--range FIRST,LAST decides otherwise)\n"}},
      {"range\n", " --range 7201,0", {0, "7201 to 0\n", ""}},
      {"range\n",
       " --range 1,7202",
       {1, "",
        TwoLines(
            "The range 1,7202 is not within the points.",
            "x.ask: " + points + "; --range takes numbers from 1, a last one of 0 for the end")}},
      {"files\n",
       "",
       {1, "", TwoLines("Please select the things.", "x.ask: --files N,N..." + choices)}},
      {"warning\n", "", {0, "warning\n", "warning: The file is old.\n"}},
      {"warning\n", " --strict", {4, "warning\n", "warning: The file is old.\n"}},
  };
  for (const auto& c : kCases) {
    desk.Put("x.ask", c.file);
    EXPECT_EQ(desk.Run(std::string("convert x.ask -o -") + c.options, {.plug_ins = kAsks}), c.ran)
        << c.file << c.options;
  }
}

TEST(Command, AsksInATerminal) {
  const Desk desk;
  const std::string list = "Select Things\nPlease select the things.\n     Thing\n";
  const std::string things = list + "  1  Alpha\n  2  Beta,Gamma\n  3  2\n";
  const std::string numbers = "Numbers such as 1,3 or 2-4 (";
  const std::string sheets = list +
                             "  1  Alpha (1 x 2)\n  2  Beta,Gamma (3 x 4)\n  3  2 (5 x 6)\n" +
                             numbers + "Enter takes 1, q cancels): ";
  const std::string merge =
      "  1  Merge side by side\n  2  Merge above and below\nNumber (Enter takes 2, q cancels): ";
  const std::string range = "Select Range\nx.ask: 7201 points, x from 4000 to 400, spacing -0.5\n";
  const std::string points = "First and last point, such as 10,200 (Enter takes all, q cancels): ";
  const std::string cancelled = TwoLines(
      "The import was cancelled.",
      "x.ask: nothing was read; \"nvimport info FILE\" shows the options that answer beforehand");
  const struct {
    const char* file;
    const char* answers;
    Ran ran;
  } kCases[] = {
      {"worksheets\n", "\n", {0, "0 merge 1\n", sheets + "next time: --sheet 1\n"}},
      {"worksheets\n",
       "9\n3,1\n1\n",
       {0, "2 0 merge 0\n",
        sheets + numbers + "Enter takes 1, q cancels): " + merge +
            "next time: --sheet 3,1 --merge side\n"}},
      {"worksheets\n", "1,2\nq\n", {1, "", sheets + merge + cancelled}},
      {"blocks\n",
       "\n",
       {0, "0 1 2 merge 0\n",
        things + numbers + "Enter takes all, q cancels): next time: --blocks 1,2,3\n"}},
      {"files\n",
       "\n2,3\n",
       {0, "1 2 merge 0\n",
        things + numbers + "q cancels): " + numbers + "q cancels): next time: --files 2,3\n"}},
      {"reference\n",
       "1,2\n2\n",
       {0, "1 merge 0\n",
        things + "Number (Enter takes 1, q cancels): Number (Enter takes 1, q cancels): "
                 "next time: --option reference=2\n"}},
      {"range\n",
       "5\n5,7202\n5,70\n",
       {0, "5 to 70\n", range + points + points + points + "next time: --range 5,70\n"}},
      {"range\n", "q\n", {1, "", range + points + cancelled}},
      {"warning\n",
       "\n",
       {0, "warning\n",
        "Warning: The file is old.\nEnter goes on, q cancels: warning: The file is old.\n"}},
      {"warning\n",
       "q\n",
       {1, "",
        "Warning: The file is old.\nEnter goes on, q cancels: " + cancelled +
            "warning: The file is old.\n"}},
  };
  for (const auto& c : kCases) {
    desk.Put("x.ask", c.file);
    EXPECT_EQ(desk.RunInTerminal("convert x.ask -o -", c.answers, kAsks), c.ran)
        << c.file << c.answers;
  }
}

TEST(Command, MakesOneSheetOfSeveralFiles) {
  const Desk desk;
  desk.Put("a.ask", "one\n");
  desk.Put("b.ask", "two\n");
  desk.Put("c.ask", "three\n");
  const std::string line = "convert a.ask b.ask c.ask --together -o -";
  EXPECT_EQ(desk.Run(line, {.plug_ins = kAsks}), (Ran{0, "one\ntwo\nthree\n", ""}));
  EXPECT_EQ(desk.Run(line + " --files 3,1 --format ask", {.plug_ins = kAsks}),
            (Ran{0, "three\none\n", ""}));
  EXPECT_EQ(desk.Run("convert a.ask b.ask --together --outdir o", {.plug_ins = kAsks}),
            (Ran{0, "", ""}));
  EXPECT_EQ(desk.Get("o/a.csv"), "one\ntwo\n");
  const std::string hops = Repeated(" " NVIMPORT_TEST_SAMPLES "/hops.0", 9);
  EXPECT_NE(desk.Run("convert" + hops + " --together -o -")
                .errors.find(": 4,8,12,16,20,24,28,32 and 1 more ("),
            std::string::npos);
  EXPECT_EQ(desk.RunInTerminal(line, "1\n2,3,1\n", kAsks),
            (Ran{0, "two\nthree\none\n",
                 "The order of the files:\n  1  a.ask\n  2  b.ask\n  3  c.ask\n"
                 "Numbers in another order, such as 2,1,3 (Enter keeps it, q cancels): "
                 "Numbers in another order, such as 2,1,3 (Enter keeps it, q cancels): "}));
}

TEST(Command, SeveralOutputs) {
  const Desk desk;
  std::filesystem::create_directory(desk.Path("work/a"));
  desk.Put("a/x.txt", "1;2\n");
  desk.Put("[1,2]", "5;6\n");
  for (const std::string jobs : {" --jobs 1", " --jobs 2"}) {
    EXPECT_EQ(desk.Run("convert a/x.txt missing.txt [1,2] --outdir new/out --to tsv --format 17 "
                       "--delimiter ; --keep-going --force" +
                       jobs),
              (Ran{5, "",
                   TwoLines("The file is not there.",
                            "missing.txt: no such file or directory; check the name") +
                       "3 files: 2 done, 1 failed\n"}));
    EXPECT_EQ(desk.Listing(), "[1,2] a a/x.txt new new/out new/out/[1,2].tsv new/out/x.tsv");
    EXPECT_EQ(desk.Get("new/out/x.tsv") + desk.Get("new/out/[1,2].tsv"), "1\t2\n5\t6\n");
  }
}

TEST(Command, ReportsWhatBecameOfEachFile) {
  const Desk desk;
  desk.Put("cut.txt", TextWithNul());
  desk.Put("good.txt", "a;b\n");
  desk.Put("bad.tst", "");
  desk.Put("2crash.tst", "");
  const Streams streams{.plug_ins = NVIMPORT_TEST_PLUGINS "/fault-by-name"};
  const std::string line = "convert cut.txt missing.txt good.txt --outdir out --quiet --report r";
  const struct {
    std::string line;
    const char* statuses;
  } kCases[] = {
      {line, "done 0 failed 5 not tried null | 1 1 1"},
      {line + " --keep-going --force", "done 0 failed 5 done 0 | 2 1 0"},
      {line + " --keep-going --force --jobs 2 --strict", "failed 4 failed 5 done 0 | 1 2 0"},
      {"convert 2crash.tst good.txt --outdir out --force --jobs 2 --keep-going --quiet --report r",
       "failed 1 done 0 | 1 1 0"},
  };
  for (const auto& c : kCases) {
    desk.Run(c.line, streams);
    const auto report = nlohmann::json::parse(desk.Get("r"), nullptr, false);
    ExpectFit(report, "report");
    std::string statuses;
    for (const auto& entry : report["files"])
      statuses += entry["status"].get<std::string>() + " " + entry["exit_code"].dump() + " ";
    const auto& totals = report["totals"];
    EXPECT_EQ(statuses + "| " + totals["done"].dump() + " " + totals["failed"].dump() + " " +
                  totals["not_tried"].dump(),
              c.statuses)
        << c.line;
  }
  const std::string before = desk.Listing();
  EXPECT_EQ(desk.Run("convert good.txt --outdir out --quiet --report r"),
            (Ran{1, "", TwoLines(kNotWritten, "r: it exists already; --force replaces it")}));
  EXPECT_EQ(desk.Run("convert good.txt --outdir out --force --report ./out/good.csv"),
            (Ran{2, "",
                 TwoLines("The report can't go where an input, an output or another such file is.",
                          "--report and --describe take other names")}));
  EXPECT_EQ(desk.Run("convert good.txt --outdir out --force --quiet --report /dev/full"),
            (Ran{1, "",
                 TwoLines(kNotWritten,
                          "/dev/full: No space left on device; make room, or write elsewhere")}));
  EXPECT_EQ(desk.Listing(), before);
}

TEST(Command, NotesAndWhatTheyCost) {
  const Desk desk;
  desk.Put("cut.txt", TextWithNul());
  desk.Put("good.txt", "a;b\n");
  desk.Put("noise", "a;b\x01\n");
  const std::string note = std::string("note: ") + kCutNote + "\n";
  const std::string ok = "ok cut.txt: Text File, 4001 rows x 2 columns\n";
  EXPECT_EQ(desk.Run("validate cut.txt --quiet"), (Ran{0, ok, note}));
  EXPECT_EQ(desk.Run("validate cut.txt --quiet --strict"), (Ran{4, ok, note}));
  EXPECT_EQ(desk.Run("convert cut.txt -o x.csv --quiet --strict"), (Ran{4, "", note}));
  EXPECT_TRUE(desk.Get("x.csv").ends_with("plain,text\ncut,he\n"));
  EXPECT_EQ(desk.Run("show cut.txt --rows 9999 --quiet").errors, note);
  const std::string info =
      "cut.txt\n  format     Text File (17)\n  rows       4001\n  columns    2\n"
      "  delimiter  semicolon (guessed; --delimiter semicolon)\n"
      "             asks what separates fields: --delimiter TEXT, --ignore-consecutive\n";
  const std::string says = "  encoding   US-ASCII\n  line-ends  LF\n  delimiter  semicolon\n";
  EXPECT_EQ(desk.Run("info cut.txt --strict"), (Ran{0, info + says, ""}));
  EXPECT_EQ(desk.Run("info cut.txt --strict --notes"),
            (Ran{4, info + says + "  note       " + kCutNote + "\n", ""}));

  // What is written may not be what is read again.
  desk.Put("in.csv", "a,\"b\tc\"\n\"d\ne\",f\n");
  const struct {
    const char* to;
    const char* note;
  } kWritten[] = {
      {"txt", "2 cells hold the delimiter or a line break and read back as several"},
      {"dif", "1 text with a line break does not read back as it was"},
      {"tsv",
       "2 cells with a TAB or a line break stand in quotes, which not every program reads "
       "as such"},
  };
  for (const auto& c : kWritten) {
    const Ran ran = desk.Run("convert in.csv -o - --strict --kept-rules --to "s + c.to);
    EXPECT_EQ(ran.exit_code, 4);
    EXPECT_EQ(ran.errors, "note: "s + c.note + "\n");
  }
  // A sheet without a cell is none.
  desk.Put("f.wk1",
           "\0\0\2\0\6\4\6\0\x8\0\0\0\0\0\0\0\0\0"
           "\x10\0\x0f\0\xff\0\0\0\0\0\0\0\0\0\0\xf0\x3f\0\0\1\0\0\0"s);
  for (const std::string line : {"validate f.wk1", "convert f.wk1 -o f.csv"}) {
    const Ran ran = desk.Run(line + " --quiet --kept-rules");
    EXPECT_EQ(ran, (Ran{1, "",
                        TwoLines("No cell of the file was delivered.",
                                 "f.wk1: 1 formula cell arrives empty; without --kept-rules all "
                                 "cells are read") +
                            "note: 1 formula cell arrives empty\n"}));
  }
  EXPECT_EQ(desk.Run("show f.wk1").exit_code, 0);
  // Words that lead nobody anywhere are followed by some that do.
  std::string spectra = Contents(NVIMPORT_TEST_SAMPLES "/barley.spc");
  spectra[0] |= '\x40';
  desk.Put("gc.spc", spectra);
  const std::string refused = desk.Run("show gc.spc --kept-rules").errors;
  EXPECT_NE(refused.find(" support.\n  gc.spc: it may be read without --kept-rules; "),
            std::string::npos)
      << refused;

  // The gravest of several files decides.
  const struct {
    const char* files;
    int exit_code;
    const char* summary;
  } kCases[] = {
      {"cut.txt good.txt", 4, "2 files: 1 done, 1 failed\n"},
      {"noise cut.txt good.txt", 3, "3 files: 1 done, 2 failed\n"},
      {"missing noise cut.txt", 5, "3 files: 0 done, 3 failed\n"},
  };
  for (const auto& c : kCases) {
    const Ran ran = desk.Run(std::string("validate --strict --keep-going ") + c.files);
    EXPECT_EQ(ran.exit_code, c.exit_code);
    EXPECT_NE(ran.errors.find("note: cut.txt: " + std::string(kCutNote)), std::string::npos);
    EXPECT_TRUE(ran.errors.ends_with(c.summary)) << ran.errors;
  }
}

TEST(Command, ReadsAllCellsUnlessTheKeptRulesAreAskedFor) {
  const Desk desk;
  desk.Put("tanks.wk1", Contents(NVIMPORT_TEST_SAMPLES "/tanks.wk1"));
  const std::string advice = "without --kept-rules all cells of \"Lotus 1-2-3 File\" are read\n";
  const Ran kept = desk.Run("convert tanks.wk1 -o - --kept-rules");
  EXPECT_EQ(kept.errors, "note: 1 formula cell arrives empty\n" + advice);
  EXPECT_EQ(desk.Run("info tanks.wk1 --notes --kept-rules --jobs 2 tanks.wk1").errors,
            advice + "2 files: 2 done, 0 failed\n");
  const Ran whole = desk.Run("convert tanks.wk1 -o -");
  EXPECT_EQ(whole.errors, "");
  EXPECT_NE(whole.out, kept.out);
  EXPECT_EQ(desk.Run("convert tanks.wk1 -o - --complete"), whole);

  ::setenv("NVIMPORT_RULES", "kept", 1);
  EXPECT_EQ(desk.Run("convert tanks.wk1 -o -"), kept);
  ::setenv("NVIMPORT_RULES", "all", 1);
  EXPECT_EQ(desk.Run("convert tanks.wk1 -o -").exit_code, 2);
  ::unsetenv("NVIMPORT_RULES");
}

TEST(Command, LogsIntoTheFileThatIsNamed) {
  const Desk desk;
  const std::string folder = desk.Path("work/plugins");
  std::filesystem::create_directory(folder);
  std::filesystem::permissions(folder, std::filesystem::perms::all);
  ::setenv("NVIMPORT_LOG", desk.Path("work/log").c_str(), 1);
  for (int i = 0; i < 2; ++i) desk.Run("formats", {.plug_ins = folder});
  ::unsetenv("NVIMPORT_LOG");
  const std::string log = desk.Get("log");
  EXPECT_EQ(std::ranges::count(log, '\n'), 2);
  EXPECT_TRUE(log.starts_with("20")) << log;
  EXPECT_NE(log.find(folder + " is left out, since everybody may write there\n"), std::string::npos)
      << log;
}

TEST(Command, AnswersInJson) {
  const Desk desk;
  desk.Put("cut.txt", TextWithNul());
  desk.Put("a\"\xe9\n.txt", "\xe9;1.50;\"\n;x\n");
  const auto answer = [&](const std::string& line, const std::string& member) {
    const auto json = nlohmann::json::parse(desk.Run(line + " --json").out, nullptr, false);
    EXPECT_EQ(json.value("version", 0), 1) << line;
    return json.value(member, nlohmann::json());
  };
  const auto same = [](const nlohmann::json& json, const char* text) {
    EXPECT_EQ(json.dump(), nlohmann::json::parse(text).dump());
  };
  same(answer("detect cut.txt", "files")[0]["answers"][16],
       R"({"index": 17, "name": "Text File", "answer": "possible"})");
  const auto formats = answer("formats", "formats");
  EXPECT_EQ(formats[2]["origin"], "built in");
  std::string can;
  for (const auto& format : formats)
    can += format["reads"] == true ? format["writes"] == true ? 'w' : 'r' : '-';
  EXPECT_TRUE(can.starts_with("r--rrrwrrrrrwrrrw--rrr")) << can;
  EXPECT_EQ(answer("validate cut.txt", "files")[0]["ok"], true);
  auto info = answer("info cut.txt --notes", "files");
  same(info[0]["description"], R"({"statements": [
      {"label": "encoding", "key": "encoding", "value": "US-ASCII"},
      {"label": "line ends", "key": "line-ends", "value": "LF"},
      {"label": "delimiter", "key": "delimiter", "value": "semicolon"}],
      "axes": {}, "rows": [], "cut": 0})");
  info[0].erase("description");
  same(
      info,
      R"([{"file": "cut.txt", "format": {"index": 17, "name": "Text File"}, "rules": "complete", "rows": 4001,
            "columns": 2, "choices": [{"name": "delimiter", "answer": "semicolon",
            "source": "guessed", "option": "--delimiter semicolon", "asks": "what separates fields: --delimiter TEXT, --ignore-consecutive",
            "entries": []}], "options": [], "warnings": [], "notes":
            ["1 line holds a NUL byte, and what follows it there was not delivered"]}])");
  same(
      answer("show a\"\xe9\n.txt --delimiter ;", "files"),
      R"([{"file": "a\"é\\x0a.txt", "format": {"index": 17, "name": "Text File"}, "rules": "complete", "rows": 2,
            "columns": 3, "head": [["é", 1.5, "\""], ["", "x", null]]}])");
}

TEST(Command, JsonHoldsNothingThatATerminalActsOn) {
  const Desk desk;
  const std::string text = "a\u009b31m\x7f\u202e\u061c\u200f\u2066é表";
  desk.Put("in.csv", text + ",1\n");
  const std::string written = R"("a\u009b31m\u007f\u202e\u061c\u200f\u2066é表",1)";
  EXPECT_EQ(desk.Run("convert in.csv -o - --to jsonl").out, "[" + written + "]\n");
  const std::string answer = desk.Run("show in.csv --json").out;
  EXPECT_EQ(answer.find_first_of("\x7f\xc2\xd8\xe2"), std::string::npos) << answer;
  EXPECT_EQ(nlohmann::json::parse(answer)["files"][0]["head"][0][0], text);
  EXPECT_EQ(desk.Run("show in.csv --quiet").out,
            "   1                         2\n1  a\\x9b31m\\x7f\\u202e\\u061\u2026  1\n"
            "1 row x 2 columns, CSV File\n");
}

TEST(Command, WritesWhatFilesSayOfThemselvesBesideTheirCells) {
  const Desk desk;
  desk.Put("a.dx", JCAMPFixture{.title = "\xe9",
                                .labels = "##YUNITS= ABSORBANCE\n",
                                .first = "1000001",
                                .last = "1000002"}
                       .Bytes());
  const std::string convert = "convert a.dx --quiet ";
  EXPECT_EQ(desk.Run(convert + "-o a.jsonl --describe a.json --with-description").exit_code, 0);
  const auto told = nlohmann::json::parse(desk.Get("a.json"));
  EXPECT_EQ(told["axes"]["x"]["values"].dump(), "[1000001.0,1000001.5,1000002.0]");
  EXPECT_EQ(told["axes"]["y"]["unit"], "ABSORBANCE");
  EXPECT_EQ(told["rows"][0]["row"], 2);
  EXPECT_EQ(told["rows"][0]["statements"][0].dump(),
            R"({"key":"title","label":"TITLE","value":"é"})");
  const std::string rows =
      "[null,null,\"t 1000001\",\"t 1000001.5\",\"t 1000002\"]\n"
      "[1,\"é\",1,2,3]\n";
  const std::string lines = desk.Get("a.jsonl");
  EXPECT_EQ(nlohmann::json::parse(lines.substr(0, lines.find('\n')))["description"], told);
  EXPECT_EQ(lines.substr(lines.find('\n') + 1), rows);
  EXPECT_EQ(desk.Run(convert + "-o - --x-names exact").out,
            ",,1000001,1000001.5,1000002\n1,é,1,2,3\n");
  EXPECT_EQ(desk.Run(convert + "--outdir out --describe said").exit_code, 0);
  EXPECT_EQ(nlohmann::json::parse(desk.Get("said/a.json")), told);
  EXPECT_EQ(desk.Run(convert + "-o b.csv --describe a.json").exit_code, 1) << "it is there";
  EXPECT_EQ(desk.Get("b.csv"), "");
  for (const char* place : {"a.dx", "b.csv", "./b.csv"})
    EXPECT_EQ(desk.Run(convert + "-o b.csv --force --describe " + place).exit_code, 2) << place;
  EXPECT_EQ(desk.Run(convert + "-o - --with-description").exit_code, 2) << "CSV has no room";
}

TEST(Command, AnswersAsTheSchemasSay) {
  const Desk desk;
  std::string files;
  for (const char* name : {"ovens.xls", "barley.spc", "tanks.wk1", "wheat.txt"}) {
    desk.Put(name, Contents(std::string(NVIMPORT_TEST_SAMPLES "/") + name));
    files += " "s + name;
  }
  desk.Put("page.pdf", "%PDF-1.7\n");
  const std::string all = files + " page.pdf missing --keep-going";
  const struct {
    const char* schema;
    std::string line;
  } kCases[] = {
      {"formats", "formats"},
      {"detect", "detect" + all},
      {"info", "info" + all},
      {"info", "info --notes" + all},
      {"show", "show" + files},
      {"validate", "validate" + all},
      {"check-plugin", "check-plugin " NVIMPORT_TEST_PLUGINS "/question/plugin.so"},
  };
  for (const auto& c : kCases) {
    const std::string answer = desk.Run(c.line + " --json").out;
    ExpectFit(nlohmann::json::parse(answer, nullptr, false), c.schema);
  }
}

TEST(Command, TakesOptionsFromAFile) {
  const Desk desk;
  desk.Put("a.txt", "1;2\n");
  std::filesystem::create_directory(desk.Path("tmp/nvimport"));
  const std::string wrong = "is nothing that can be configured.";
  const std::string advice =
      "c: [COMMAND] begins a section, whose keys are the command's options without --";
  const struct {
    const char* file;
    const char* words;
    Ran ran;
  } kCases[] = {
      {"[convert]\nto = \"tsv\"\ndelimiter=\";\"\n[validate]\nquiet=true\n", "", {0, "1\t2\n", ""}},
      {"[convert]\nto=tsv\ndelimiter=bar\n", "--delimiter ;", {0, "1\t2\n", ""}},
      {"[convert]\npassword-file=none\nquiet=true\n", "--password x", {0, "1,2\n", ""}},
      {"[convert]\nquiet=true\nstrict=false\n", "", {0, "1,2\n", ""}},
      {"[validate]\nkep-going=true\n",
       "",
       {2, "", TwoLines("\"validate.kep-going\" " + wrong, advice)}},
      {"quiet=true\n", "", {2, "", TwoLines("\"quiet\" " + wrong, advice)}},
      {"[none]\n", "", {2, "", TwoLines("\"none\" " + wrong, advice)}},
      {"[convert]\njobs=many\n",
       "",
       {2, "",
        TwoLines("\"convert.jobs\" has no such value.",
                 "c: --jobs: Value many not in range 1 to 256")}},
  };
  for (const auto& c : kCases) {
    desk.Put("c", c.file);
    desk.Put("../tmp/nvimport/config.toml", c.file);
    const std::string line = std::string("convert a.txt -o - ") + c.words;
    EXPECT_EQ(desk.Run(line + (*c.words == '\0' ? "--config c" : " --config c")), c.ran) << c.file;
    const Ran usual = desk.Run(*c.words == '\0' ? "convert a.txt -o -" : line,
                               {.configurations = desk.Path("tmp")});
    EXPECT_EQ(usual.out, c.ran.out) << c.file;
    EXPECT_EQ(usual.exit_code, c.ran.exit_code) << usual.errors;
  }
  EXPECT_EQ(
      desk.Run("convert a.txt -o - --no-config --quiet", {.configurations = desk.Path("tmp")}),
      (Ran{0, "1,2\n", ""}));
  EXPECT_EQ(desk.Run("convert a.txt -o - --config none").exit_code, 1);
}

TEST(Command, ShowsTheHeadOfTheSheet) {
  const Desk desk;
  std::string wide = "abcdefghijklmnopqrstuvwxyz;a\x1b[0m";
  for (int i = 3; i <= 40; ++i) wide += ";c" + std::to_string(i);
  desk.Put("in.txt", wide + "\n-1.50;\n12;caf\xe9\n4\n");
  EXPECT_EQ(desk.Run("show in.txt --quiet --rows 3").out,
            "                          1  2         3   4   5   6   7   8   9   10   11   …\n"
            "1  abcdefghijklmnopqrstuvw…  a\\x1b[0m  c3  c4  c5  c6  c7  c8  c9  c10  c11\n"
            "2                     -1.50  .         .   .   .   .   .   .   .   .    .\n"
            "3                        12  café      .   .   .   .   .   .   .   .    .\n"
            "4 rows x 40 columns, Text File (rows 1-3, columns 1-11 shown)\n");
  // Wide characters, marks above others, and one that would turn the rest of the line round.
  desk.Put("in.txt", "表表表表表表表表表表表表表;1\nกำ่;2\n\u202egnp;3\n");
  EXPECT_EQ(desk.Run("show in.txt --quiet").out,
            "   1                         2\n"
            "1  表表表表表表表表表表表…   1\n"
            "2  กำ่                        2\n"
            "3  \\u202egnp                 3\n"
            "3 rows x 2 columns, Text File\n");
}

}  // namespace nvimport
