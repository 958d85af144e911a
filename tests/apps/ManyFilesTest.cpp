#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "tests/apps/Desk.h"

namespace nvimport {

namespace {

constexpr const char* kPicture = "\x89PNG\r\n\x1a\n....";

// A tree with what is read and what is not: links, a pipe, a picture, hidden files.
void PutTree(const Desk& desk) {
  for (const char* folder : {"in", "in/B", "in/a", "in/.h", "in/pics", "in/out", "in/a/deep"})
    std::filesystem::create_directory(desk.Path("work/") + folder);
  for (const char* name : {"in/x.txt", "in/B/x.txt", "in/a/x.txt", "in/a/x.dat", "in/a.b.txt",
                           "in/a/deep/\xff.txt", "in/.h/h.txt", "in/.x.txt", "in/out/old.csv"})
    desk.Put(name, "1;2\n");
  desk.Put("in/pics/p.png", kPicture);
  desk.Put("in/x.png", kPicture);
  desk.Put("in/empty.csv", "");
  std::filesystem::create_directory_symlink("..", desk.Path("work/in/a/up"));
  std::filesystem::create_directory_symlink("a", desk.Path("work/in/Link"));
  std::filesystem::create_symlink("nowhere", desk.Path("work/in/broken.txt"));
  ::mkfifo(desk.Path("work/in/pipe.txt").c_str(), 0600);
}

// Those of a report, behind each a hyphen where it failed.
std::string FilesOf(const Ran& ran) {
  std::string files;
  const auto report = nlohmann::json::parse(ran.out, nullptr, false);
  for (const auto& entry : report["files"])
    files += entry["input"].get<std::string>() + (entry["exit_code"] == 0 ? " " : " - ");
  return files;
}

}  // namespace

TEST(ManyFiles, TheFolderOfARunIsOneFile) {
  const Desk desk;
  for (const char* folder : {"in", "in/a.D", "in/b.d"})
    std::filesystem::create_directory(desk.Path("work/") + folder);
  for (const char* name : {"in/a.D/s.ch", "in/a.D/t.CH"})
    desk.Put(name, Contents(NVIMPORT_TEST_SAMPLES "/juices.ch"));
  desk.Put("in/b.d/x.txt", "1;2\n");
  for (const auto& [words, files] : std::initializer_list<std::pair<const char*, const char*>>{
           {"in", "in/a.D"},
           {"in/a.D/ --recursive", "in/a.D/"},
           {"in --recursive", "in/a.D in/b.d/x.txt"},
           {"in --recursive --include *.ch", "in/a.D/s.ch"},
           {"in --recursive --exclude *.D", "in/b.d/x.txt"}}) {
    const Ran ran = desk.Run("convert --force --report - --outdir o " + std::string(words));
    EXPECT_EQ(FilesOf(ran), files + " "s) << words << ran.errors;
  }
  const Ran ran = desk.Run("convert in/a.D --rows 1-3 --columns 2,3 -o -");
  EXPECT_EQ(ran.out,
            "Name,-0.0062\n\"Juice 7, DAD A, Sig=280,4 Ref=off\",1.39990234375\n"
            "\"Juice 7, DAD A, Sig=280,4 Ref=off\",1.39990234375\n")
      << ran.errors;
}

TEST(ManyFiles, AFolderStandsForTheFilesInIt) {
  const Desk desk;
  PutTree(desk);
  const std::string all = "in/B/x.txt in/a.b.txt in/a/deep/ÿ.txt in/a/x.dat in/a/x.txt ";
  const struct {
    std::string words;
    std::string files;
    std::string errors;  // a part of them
  } kCases[] = {
      {"o in", "in/a.b.txt in/x.txt ", "2 files left out since no format reads them\n2 files: 2"},
      {"o in --recursive", all + "in/out/old.csv in/x.txt ", "3 files left out"},
      {"in/out in/ --recursive", all + "in/x.txt ", "3 files left out"},
      {"o in --recursive --include x.txt --include .*", "in/.x.txt in/B/x.txt in/a/x.txt in/x.txt ",
       "4 files: 4 done, 0 failed\n"},
      {"o in --recursive --include .h/*", "in/.h/h.txt ", ""},
      {"o in --recursive --exclude a/* --exclude *.csv --exclude B/*", "in/a.b.txt in/x.txt ",
       "2 files left out"},
      {"o in/a/deep in --recursive --exclude x.* --exclude *.csv", "in/a/deep/ÿ.txt in/a.b.txt ",
       "1 file left out"},
      {"o in/Link in/x.png --format 17", "in/Link/x.dat in/Link/x.txt in/x.png ", "3 files: 3"},
      {"o in/pics", "in/pics - ", "There is no file in in/pics that can be read.\n"},
      {"o in/a --format dif", "in/a - ", "2 files left out"},
      {"in in/a", "in/a - ", "--outdir takes another one"},
  };
  for (const auto& c : kCases)
    for (const std::string jobs : {" --jobs 1", " --jobs 2"}) {
      SCOPED_TRACE(c.words + jobs);
      const Ran ran = desk.Run("convert --force --report - --outdir " + c.words + jobs);
      EXPECT_EQ(FilesOf(ran), c.files);
      EXPECT_NE(ran.errors.find(c.errors), std::string::npos) << ran.errors;
    }
}

TEST(ManyFiles, OutputsAreToldApart) {
  const Desk desk;
  for (const char* folder : {"in", "in/d1", "in/d2"})
    std::filesystem::create_directory(desk.Path("work/") + folder);
  for (const char* name : {"in/a.txt", "in/a.dat", "in/d1/a.txt", "in/d2/a.txt"})
    desk.Put(name, "1;2\n");
  desk.Put("in/a.png", kPicture);
  const struct {
    const char* words;
    const char* outputs;  // none where they are refused
  } kCases[] = {
      {"in", "o o/a.dat.csv o/a.txt.csv"},
      {"in --include a.[tp]*", "o o/a.csv"},
      {"in --recursive --exclude *.dat", "o o/a.csv o/d1 o/d1/a.csv o/d2 o/d2/a.csv"},
      {"in/d1/a.txt in/a.dat", "o o/a.dat.csv o/a.txt.csv"},
      {"in/d1/a.txt in/d2/a.txt", "o o/d1 o/d1/a.csv o/d2 o/d2/a.csv"},
      {"in/d1/a.txt in/d1 in/d1/../d1/a.txt", ""},
  };
  for (const auto& c : kCases) {
    const Ran ran = desk.Run(std::string("convert --outdir o ") + c.words);
    const std::string listing = desk.Listing();
    const std::size_t outputs = listing.find(" o");
    EXPECT_EQ(outputs == std::string::npos ? "" : listing.substr(outputs + 1), c.outputs)
        << ran.errors;
    EXPECT_EQ(ran.exit_code, *c.outputs == '\0' ? 2 : 0);
    std::filesystem::remove_all(desk.Path("work/o"));
  }
}

TEST(ManyFiles, AnAnswerHoldsForAllThatAskTheSame) {
  const Desk desk;
  const std::string line = "convert a.ask b.ask c.ask d.ask --outdir o --quiet --keep-going";
  for (const char* name : {"a.ask", "b.ask"}) desk.Put(name, "worksheets\n");
  for (const char* name : {"c.ask", "d.ask"}) desk.Put(name, "range\n");
  const char* const plug_ins = NVIMPORT_TEST_PLUGINS "/question";
  const auto outputs = [&] {
    std::string all;
    for (const char* name : {"o/a.csv", "o/b.csv", "o/c.csv", "o/d.csv"}) all += desk.Get(name);
    return all;
  };
  desk.RunInTerminal(line, "2\n5,70\n", plug_ins);
  EXPECT_EQ(outputs(), "1 merge 1\n1 merge 1\n5 to 70\n5 to 70\n");
  const Ran again = desk.RunInTerminal("convert a.ask b.ask --outdir o --force", "3\n", plug_ins);
  EXPECT_TRUE(again.errors.ends_with(
      "next time: --sheet 3\nb.ask: worksheets as answered before: 2 (5 x 6) (--sheet ... decides "
      "otherwise)\n2 files: 2 done, 0 failed\n"))
      << again.errors;
  EXPECT_EQ(desk.RunInTerminal(line + " --yes", "", plug_ins), (Ran{0, "", ""}));
  EXPECT_EQ(outputs(), "0 merge 1\n0 merge 1\n1 to 0\n1 to 0\n");
  EXPECT_EQ(desk.RunInTerminal(line + " --no-input", "", plug_ins).exit_code, 1);
}

TEST(ManyFiles, AnInterruptedRunGoesOn) {
  const Desk desk;
  std::filesystem::create_directory(desk.Path("work/in"));
  for (const char* name : {"in/a.txt", "in/b.txt", "in/c.txt", "in/d.txt"}) desk.Put(name, "1;2\n");
  const std::string line = "convert in --outdir o --describe d --report r --keep-going";
  EXPECT_EQ(desk.Run(line).exit_code, 0);
  // As if it had been killed at the second, and what went on with it at the third, whose entry is
  // cut; d belongs to somebody else.
  const std::string report = desk.Get("r");
  const std::size_t second = report.find(R"(  {"input":"in/b.txt)");
  desk.Put("r.former", report.substr(0, second));
  desk.Put("r.unfinished", report.substr(0, report.find('\n') + 1) +
                               report.substr(second, report.find("in/c.txt") + 100 - second));
  std::filesystem::remove(desk.Path("work/r"));
  std::filesystem::remove(desk.Path("work/d/d.json"));
  using namespace std::chrono_literals;
  std::filesystem::last_write_time(desk.Path("work/o/d.csv"),
                                   std::filesystem::file_time_type::clock::now() - 1h);
  EXPECT_EQ(desk.Run(line).exit_code, 1) << "would begin anew";
  desk.Put("o/a.csv", "");
  for (const char* outcome : {"1 skipped, 2 done, 1 failed", "3 skipped, 0 done, 1 failed"}) {
    const Ran ran = desk.Run(line + " --continue --jobs 2");
    EXPECT_EQ(ran.exit_code, 1);
    EXPECT_NE(ran.errors.find("o/d.csv: it exists already"), std::string::npos) << ran.errors;
    const auto now = nlohmann::json::parse(desk.Get("r"), nullptr, false);
    ExpectFit(now, "report");
    const auto count = [&](const char* what) { return now["totals"][what].get<int>(); };
    const int skipped = count("skipped");
    EXPECT_EQ(std::to_string(skipped) + " skipped, " + std::to_string(count("done") - skipped) +
                  " done, " + std::to_string(count("failed")) + " failed",
              outcome);
    EXPECT_EQ(now["files"][1].value("skipped", false), true);
  }
  EXPECT_EQ(desk.Get("o/a.csv") + desk.Get("o/b.csv") + desk.Get("o/c.csv"), "1,2\n1,2\n1,2\n");
  EXPECT_EQ(desk.Listing().find("r."), std::string::npos) << desk.Listing();
  desk.Put("r", "{}\n");
  EXPECT_EQ(desk.Run(line + " --continue").exit_code, 1);
  EXPECT_EQ(desk.Get("r"), "{}\n");
}

TEST(ManyFiles, OneTableOfAll) {
  const Desk desk;
  std::filesystem::create_directory(desk.Path("work/d"));
  desk.Put("a.csv", "id,v,v\n1,2,3\n");
  desk.Put("b.txt", "v;id;file;\n\n5;\xe4;f;g\n");
  desk.Put("n.csv", "1,2\n3,4\n");
  desk.Put("d/s.csv", "Name,1100,1102.0000001,1105\ns,.1,.2,.3\n");
  desk.Put("d/t.csv", "Name,1105,1102,1099\nt,7,8,9\n");
  desk.Put("open.csv", "a\n\"");
  desk.Put("d/x.png", kPicture);
  const struct {
    std::string words;
    std::string table;
    std::string errors = "";  // a part of them
    int exit_code = 0;
  } kCases[] = {
      {"a.csv b.txt", "file,id,v,v_2,file_2,column 4\na.csv,1,2,3,,\nb.txt,ä,5,,f,g\n"},
      {"n.csv a.csv --columns 2-3,id,file",
       "column 1,column 2,id,file\n1,2,,n.csv\n3,4,,n.csv\n,,1,a.csv\n",
       "n.csv: its first row is taken for cells"},
      {"n.csv a.csv --header yes --skip-rows 1", "file,3,4,1,2,3_2\n", "2 done"},
      {"d", "file,Name,1099,1100,1102,1102.0000001,1105\nd/s.csv,s,,.1,,.2,.3\nd/t.csv,t,9,,8,,7\n",
       "note: 2 of 2 sheets with x values lack some of the 5 x values"},
      {"d/t.csv d/s.csv --grid first --columns 1,1102,\"1105\"",
       "file,1105\nd/t.csv,7\nd/s.csv,.3\n", "left out"},
      {"d/s.csv --to jsonl --x-names exact --columns 3,4",
       "[1100,1102.0000001]\n[\".1\",\".2\"]\n"},
      {"a.csv open.csv n.csv --keep-going",
       "file,id,v,v_2,column 1,column 2\na.csv,1,2,3,,\nn.csv,,,,1,2\nn.csv,,,,3,4\n",
       "3 files: 2 done, 1 failed", 1},
      {"a.csv open.csv", "", "standard output: --keep-going leaves out", 1},
      {"a.csv --columns w", "", "There is no column \"w\".\n  the columns are file, id, v, v_2\n",
       2},
  };
  for (const auto& c : kCases)
    for (const std::string jobs : {"", " --jobs 2"}) {
      SCOPED_TRACE(c.words + jobs);
      const Ran ran = desk.Run("convert --combine -o - " + c.words + jobs);
      EXPECT_EQ(ran.out, c.table);
      EXPECT_EQ(ran.exit_code, c.exit_code);
      EXPECT_NE(ran.errors.find(c.errors), std::string::npos) << ran.errors;
    }
  EXPECT_EQ(desk.Run("convert --combine d -o d/all.csv --report r --describe j --quiet").exit_code,
            0);
  EXPECT_EQ(desk.Run("convert --combine d -o d/all.csv --quiet --force").exit_code, 0);
  EXPECT_EQ(std::ranges::count(desk.Get("d/all.csv"), '\n'), 3);
  const auto report = nlohmann::json::parse(desk.Get("r"), nullptr, false);
  ExpectFit(report, "report");
  EXPECT_EQ(report["files"].size(), 2U);
  EXPECT_EQ(nlohmann::json::parse(desk.Get("j"))["axes"]["x"]["values"][3], 1102.0000001);
}

TEST(ManyFiles, EachSheetByItself) {
  const Desk desk;
  std::filesystem::copy_file(NVIMPORT_TEST_SAMPLES "/ovens.xls", desk.Path("work/ovens.xls"));
  desk.Put("ovens.Settings.txt", "1;2\n");
  const std::string line = "convert ovens.xls ovens.Settings.txt --quiet --outdir o ";
  const Ran ran = desk.Run(line + "--each-sheet --describe d --report -");
  EXPECT_EQ(ran.exit_code, 0) << ran.errors;
  const auto report = nlohmann::json::parse(ran.out, nullptr, false);
  ExpectFit(report, "report");
  EXPECT_EQ(report["files"][0]["outputs"][1]["output"], "o/ovens.Settings_2.csv");
  EXPECT_EQ(desk.Listing(),
            "d d/ovens.Runs.json d/ovens.Settings.json d/ovens.Settings_2.json o o/ovens.Runs.csv "
            "o/ovens.Settings.csv o/ovens.Settings_2.csv ovens.Settings.txt ovens.xls");
  EXPECT_EQ(desk.Get("o/ovens.Settings_2.csv"), "Oven 1,0.85\nOven 2,1.1\nOven 3,0.97\n");
  const std::string worts = "convert " NVIMPORT_TEST_SAMPLES "/worts.mat --outdir v --each-sheet";
  EXPECT_EQ(desk.Run(worts + " --quiet").exit_code, 0);
  EXPECT_NE(desk.Get("v/worts.wort.csv"), "");
  const std::string rows = desk.Run("convert ovens.xls --with-source --sheet 2,1 -o - --quiet").out;
  EXPECT_TRUE(
      rows.starts_with("file,sheet,column 1,column 2,Run,Date,"
                       "Peak °C,Held min,Remark\novens.xls,Settings,Oven 1,0.85,"))
      << rows;
  EXPECT_NE(rows.find("\novens.xls,Runs,,,Oven 2,2024-03-04,181.75,26,\n"), std::string::npos);
}

}  // namespace nvimport
