// What files of spectra say of themselves, in cases that tests of all descriptions take, and where
// several files or hundreds of pages say it.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string_view>

#include "nvimport/formats/DescriptionKeys.h"
#include "nvimport/formats/matrix/NetCDFFile.h"
#include "nvimport/formats/spectra/BrimroseFile.h"
#include "nvimport/formats/spectra/BrukerOPUSFile.h"
#include "nvimport/formats/spectra/ChemStationFile.h"
#include "nvimport/formats/spectra/GalacticSPCFile.h"
#include "nvimport/formats/spectra/JCAMPDate.h"
#include "nvimport/formats/spectra/JCAMPFile.h"
#include "nvimport/formats/spectra/NsasFile.h"
#include "nvimport/framework/Description.h"
#include "nvimport/framework/FileSelection.h"
#include "tests/support/BrimroseFixture.h"
#include "tests/support/ChemStationFixture.h"
#include "tests/support/Described.h"
#include "tests/support/JCAMPFixture.h"
#include "tests/support/NetcdfFixture.h"
#include "tests/support/NsasFixture.h"
#include "tests/support/OpusFixture.h"
#include "tests/support/Samples.h"
#include "tests/support/SpcFixture.h"

namespace nvimport {

namespace {

constexpr const char* kTitle = "row 2 TITLE [title] = A\n";
constexpr const char* kType = "row 2 DATA TYPE [data-type] = INFRARED SPECTRUM\n";
constexpr const char* kNumbers =
    "row 2 FIRSTX [] = 10\nrow 2 LASTX [] = 12\nrow 2 NPOINTS [] = 3\n";
constexpr const char* kData = "row 2 XYDATA [] = (X++(Y..Y))\n";

// Fields that are put over those of a file.
std::string Patched(std::string bytes,
                    const std::vector<std::pair<std::size_t, std::string>>& put) {
  for (const auto& [at, field] : put) bytes.replace(at, field.size(), field);
  return bytes;
}

template <typename Number>
std::string Bytes(Number number) {
  return SpcFixture::Values(std::vector<Number>{number});
}

void AddJcamp(std::vector<Described>& all) {
  const auto add = [&](const char* why, std::string bytes, std::string expected,
                       const JCAMPRules& rules = {}, std::string options = "") {
    all.push_back({"JCAMP-DX", why, By<JCAMPFile>(rules), std::move(bytes), std::move(expected),
                   std::move(options)});
  };
  const auto with = [](std::string labels) {
    return JCAMPFixture{.labels = std::move(labels)}.Bytes();
  };
  const auto said = [](const std::string& statements) {
    return std::string(kTitle) + kType + kNumbers + statements + kData;
  };
  // Each but those of dates, units and pages as it stands.
  std::string labels;
  std::string keys;
  constexpr std::string_view kOthers[] = {"TITLE", "DATA TYPE", "DATE", "LONG DATE",
                                          "PAGE",  "VAR_NAME",  "$$",   "##="};
  for (const auto& [label, key] : kJcampKeys) {
    if (std::ranges::count(kOthers, label) > 0 || label.ends_with("UNITS") ||
        label.ends_with("LABEL"))
      continue;
    const std::string name(label);
    const std::string means(key);
    labels += "##" + name + "= " + means + "\n";
    keys += "row 2 " + name + " [" + means + "] = " + means + "\n";
  }
  add("every key", with(labels), said(keys));
  add("dates",
      with("##DATE= 98/10/01\n##LONG DATE= 2023/10/08 11:01:32.50 -0400\n##da_te = soon\n"),
      said("row 2 DATE [] = 98/10/01\nrow 2 DATE [date] = 1998-10-01\n"
           "row 2 LONG DATE [] = 2023/10/08 11:01:32.50 -0400\n"
           "row 2 LONG DATE [date] = 2023-10-08T11:01:32.50-04:00\nrow 2 da_te [] = soon\n"));
  add("axes", with("##XUNITS= 1/CM\n##XLABEL= Wavenumber\n##YUNITS= A\n##YLABEL= Light\n"),
      said("row 2 XUNITS [x-units] = 1/CM\nrow 2 XLABEL [x-label] = Wavenumber\n"
           "row 2 YUNITS [y-units] = A\nrow 2 YLABEL [y-label] = Light\n") +
          "x: Wavenumber (1/CM)\ny: Light (A)\n");
  const std::string lines =
      "##= by hand\n##$OWN= 1 $$ one\n##$EMPTY=\n$$ all\n##NOTE=\n  two\n\nlines $$ here  \n$$ and "
      "there\n   \n";
  const std::string noted = said(
      "row 2 ##= [comment] = by hand\nrow 2 $OWN [] = 1\nrow 2 $$ [comment] = one\nrow 2 $EMPTY [] "
      "= \n"
      "row 2 $$ [comment] = all\nrow 2 NOTE [] =   two\n\nlines\n"
      "row 2 $$ [comment] = here\nand there\n");
  add("labels of one's own, lines and comments", with(lines), noted);
  add("comments below a title", JCAMPFixture{.title = "A\n$$ here"}.Bytes(),
      kTitle + std::string("row 2 $$ [comment] = here\n") + kType + kNumbers + kData);
  add("the same by the rules", with(lines), noted, JCAMPRules::Off());
  const std::string longer(300, 'x');
  add("a long line", with("##NOTE= " + longer + "\n"), said("row 2 NOTE [] = " + longer + "\n"));

  const auto block = [](const char* title, const char* units) {
    return JCAMPFixture{.title = title, .labels = "##XUNITS= "s + units + "\n"}.Bytes();
  };
  const std::string structure =
      "##TITLE= S\n##JCAMP-CS= 3.7\n##NAMES= water\n##DATA TYPE= STRUCTURE\n##END=\n";
  const auto of_b = [](const std::string& row) {
    std::string text =
        "TITLE [title] = B\nDATA TYPE [data-type] = INFRARED SPECTRUM\nFIRSTX [] = "
        "10\nLASTX [] = 12\nNPOINTS [] = 3\nXUNITS [x-units] = NM\nXYDATA [] = "
        "(X++(Y..Y))\n";
    for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) text.insert(at, row);
    return text;
  };
  const std::string link = "TITLE [title] = link\nDATA TYPE [data-type] = LINK\nBLOCKS [] = 2\n";
  add("a block chosen, and a structure",
      JCAMPFixture::Link(block("A", "1/CM") + structure + block("B", "NM") + "##NOTE= last\n"),
      link +
          "TITLE [title] = S\nJCAMP-CS [] = 3.7\nNAMES [other-names] = water\n"
          "DATA TYPE [data-type] = STRUCTURE\n" +
          of_b("row 2 ") + "NOTE [] = last\nx:  (NM)\n",
      JCAMPRules::Off(), "blocks=3");
  add("blocks chosen, below a row of x",
      JCAMPFixture::Link(block("B", "NM") + block("A", "1/CM") + block("B", "NM")),
      link + of_b("row 3 ") + of_b("row 4 ") + "x:  (NM)\n", {}, "blocks=1,3;xrow=1");

  const std::string pages =
      "##TITLE= N\n##DATA CLASS= NTUPLES\n##SYMBOL= X, R, I, T\n"
      "##VAR_NAME= Frequency, Real, Imaginary, Delay\n##VAR_DIM= 2, 2, 2, 2\n"
      "##UNITS= HZ, V, , s\n##FIRST= 1, 0, 0, 0\n##LAST= 2, 0, 0, 1\n"
      "##PAGE= T=0.5\n##DATA TABLE= (X++(R..R)), XYDATA\n1 3 4\n"
      "##PAGE= T=1\n##.SCAN= 2\n##DATA TABLE= (X++(I..I)), XYDATA\n1 5 6\n"
      "##END NTUPLES= N\n##END=\n";
  std::string alike;
  for (const char* one :
       {"TITLE [title] = N", "DATA CLASS [data-class] = NTUPLES", "SYMBOL [] = X, R, I, T",
        "VAR_NAME [] = Frequency, Real, Imaginary, Delay", "VAR_DIM [] = 2, 2, 2, 2",
        "UNITS [] = HZ, V, , s", "FIRST [] = 1, 0, 0, 0", "LAST [] = 2, 0, 0, 1"})
    alike += "row 2 "s + one + "\nrow 3 " + one + "\n";
  add("pages of n-tuples", pages,
      alike +
          "row 2 PAGE [] = T=0.5\nrow 2 PAGE [z] = 0.5\n"
          "row 2 DATA TABLE [] = (X++(R..R)), XYDATA\nrow 2 VAR_NAME [y-label] = Real\n"
          "row 2 UNITS [y-units] = V\n"
          "row 3 PAGE [] = T=1\nrow 3 PAGE [z] = 1\nrow 3 .SCAN [] = 2\n"
          "row 3 DATA TABLE [] = (X++(I..I)), XYDATA\nrow 3 VAR_NAME [y-label] = Imaginary\n"
          "row 2 END NTUPLES [] = N\nrow 3 END NTUPLES [] = N\n"
          "x: Frequency (HZ)\ny:  (V)\nz: Delay (s)\n",
      JCAMPRules::Off());
  add("a radial axis",
      "##TITLE= R\n##RUNITS= CM\n##AUNITS= mV\n##FIRSTR= 0\n##LASTR= 1\n##NPOINTS= 2\n"
      "##RADATA= (R++(A..A))\n0 1 2\n##END=\n",
      "row 2 TITLE [title] = R\nrow 2 RUNITS [x-units] = CM\nrow 2 AUNITS [y-units] = mV\n"
      "row 2 FIRSTR [] = 0\nrow 2 LASTR [] = 1\nrow 2 NPOINTS [] = 2\n"
      "row 2 RADATA [] = (R++(A..A))\nx:  (CM)\ny:  (mV)\n",
      JCAMPRules::Off());
  add(
      "UTF-16 and labels before the title",
      "\xFF\xFE"s +
          [] {
            std::string wide;
            for (const char c : "##NOTE= early\n" + JCAMPFixture().Bytes()) wide += {c, '\0'};
            return wide;
          }(),
      "row 2 NOTE [] = early\n" + said(""), JCAMPRules::Off());
}

// A file with each field of the new layout, its numbers in one byte order or the other.
std::string FullSpc(char version) {
  const auto number = [version](auto value) {
    std::string bytes = Bytes(value);
    if (version == 'L') std::ranges::reverse(bytes);
    return bytes;
  };
  std::string log = number(95U) + std::string(4, '\0') + number(64U) + number(7U) +
                    std::string(48, '\0') + "A = 1 \r\n\r\nB\n\rC";
  log += "\0left over"s;
  const std::uint32_t date = (2024U << 20) | (5U << 16) | (6U << 11) | (7U << 6) | 8U;
  const std::string sub_file = Patched(std::string(32, '\0'), {{2, number(std::uint16_t{1})},
                                                               {4, number(0.5F)},
                                                               {8, number(1.5F)},
                                                               {12, number(2.5F)},
                                                               {20, number(16U)},
                                                               {24, number(-1.0F)}});
  std::string bytes(512, '\0');
  bytes[0] = '\x24';
  bytes[1] = version;
  const std::string values = std::string(32, '\0') + number(1.0F) + sub_file + number(2.0F);
  return Patched(bytes + values + log, {{2, "\5"s},          {3, "\x80"s},
                                        {4, number(1)},      {8, number(10.0) + number(10.0)},
                                        {24, number(2)},     {28, "\1\2\5\0"s},
                                        {32, number(date)},  {36, "4 cm-1"},
                                        {45, "FT-IR"},       {54, number(std::uint16_t{3})},
                                        {88, " Memo \r\n"},  {218, "Energy (eV)\0\0Dose (a) b"s},
                                        {248, number(584U)}, {252, number(4U)},
                                        {256, "\1\2"s},      {258, number(std::uint16_t{9})},
                                        {260, number(0.1F)}, {264, "A.MET"},
                                        {312, number(2.0F)}, {316, number(1U)},
                                        {320, number(3.0F)}, {324, "\x14"s}});
}

void AddSpc(std::vector<Described>& all) {
  const auto add = [&](const char* why, std::string bytes, std::string expected,
                       std::string options = "range=1,0") {
    all.push_back({"GalacticSPC", why, By<GalacticSPCFile>(GalacticSPCRules::Off()),
                   std::move(bytes), std::move(expected), std::move(options)});
  };
  const std::string full =
      "fexper [data-type] = NIR Spectrum\nfxtype [x-units] = Wavenumber (cm-1)\n"
      "fytype [y-units] = Absorbance\nfztype [z-units] = Minutes\n"
      "fdate [date] = 2024-05-06T07:08\nfres [resolution] = 4 cm-1\n"
      "fsource [instrument] = FT-IR\nfpeakpt [] = 3\nfcmnt [comment] = Memo\n"
      "fcatxt [axis-label] = Energy (eV)\nfcatxt [axis-label] = Dose (a) b\nfmods [] = 4\n"
      "fprocs [] = 1\nflevel [] = 2\nfsampin [] = 9\nffactor [] = 0.1\nfmethod [method] = A.MET\n"
      "fzinc [] = 2\nfwplanes [] = 1\nfwinc [] = 3\nfwtype [w-units] = Temperature (C)\n"
      "logbins [log-size] = 7\nlogtxto [log] = A = 1\nlogtxto [log] = B\nlogtxto [log] = C\n"
      "row 3 subindx [] = 0\nrow 3 subtime [z] = 0\nrow 3 subwlevel [w] = 0\n"
      "row 4 subindx [] = 1\nrow 4 subtime [z] = 0.5\nrow 4 subnext [] = 1.5\n"
      "row 4 subnois [] = 2.5\nrow 4 subscan [scans] = 16\nrow 4 subwlevel [w] = -1\n"
      "x: Energy (eV)\ny: Absorbance ()\nz: Dose (a) b ()\n";
  add("every field, below a row of x", FullSpc('K'), full, "range=1,0;xrow=1");
  add("the other byte order", FullSpc('L'), full, "range=1,0;xrow=1");
  SpcFixture one;
  add("nothing", one.Add(std::vector<float>{1, 2, 3}).Bytes(), "");
  add("codes and a date that are none, labels without their flag",
      Patched(one.Bytes(),
              {{2, "c"s}, {28, "\x0F\xFA"s}, {32, Bytes(117U << 20)}, {218, "Energy"}}),
      "fexper [] = 99\nfxtype [] = 15\nfytype [] = 250\nfdate [] = 0117-00-00T00:00\n");
  SpcFixture old{.version = 'M', .flags = 4};
  old.data = {SpcFixture::Values(std::vector<float>{1, 2, 3})};
  old.Add(std::vector<float>{4, 5, 6}, -128);
  add("the old layout",
      Patched(old.Bytes(), {{16, "\x0F\x02"s},
                            {18, Bytes(static_cast<std::uint16_t>(0x1000 + 1997))},
                            {20, "\x03\x09\x08\x2E"s},
                            {24, "4.0 CM-1"},
                            {34, Bytes(std::int16_t{32})},
                            {64, "Film"},
                            {194, "Shift\0"s},
                            {228, Bytes(2.0F)}}),
      "oxtype [] = 15\noytype [y-units] = Absorbance\noztype [z-units] = Wavenumber (cm-1)\n"
      "oyear [date] = 1997-03-09T08:46\nores [resolution] = 4.0 CM-1\nonscans [scans] = 32\n"
      "ocmnt [comment] = Film\nocatxt [axis-label] = Shift\n"
      "row 2 subtime [z] = 2\nrow 3 subtime [z] = 0\n"
      "x: Shift ()\ny: Absorbance ()\nz: Wavenumber (cm-1)\n");
  add("an x code of the old layout",
      Patched(SpcFixture{.version = 'M'}.Bytes() + std::string(12, '\0'), {{16, "\x0D"s}}),
      "oxtype [x-units] = Raman Shift (cm-1)\nx: Raman Shift (cm-1)\n");
}

void AddOpus(std::vector<Described>& all) {
  using Opus = OpusFixture;
  constexpr std::uint32_t kOptics = 0x60;
  constexpr std::uint32_t kOfReference = 0x08;
  constexpr const char* kVersion = "version [version] = 920622\n";
  const auto add = [&](const char* why, const Opus& file, const std::string& expected,
                       std::string options = "") {
    all.push_back(
        {"Bruker OPUS", why, By<BrukerOPUSFile>(), file.File(), expected, std::move(options)});
  };
  // Those of parameters have three letters.
  std::string parameters;
  std::string told;
  for (const auto& [label, key] : kOpusKeys) {
    if (label.size() != 3 || label == "CPG" || label == "DAT") continue;
    parameters += Opus::Text(label, key);
    told += std::string(label) + " [" + std::string(key) + "] = " + std::string(key) + "\n";
  }
  const std::string points =
      "NPT [points] = 1\nrow 2 FXV [first-x] = 10\nrow 2 LXV [last-x] = 10\n";
  add("every key",
      Opus{}
          .Add(kOptics, parameters + Opus::Whole("CPG", 1250) + Opus::Text("OWN", "own"))
          .AddSpectrum(Opus::kAbsorbance, {1}),
      kVersion + told + "CPG [code-page] = 1250\nOWN [] = own\n" +
          "row 2 block [data-type] = Absorbance\nrow 2 " + points + "y: Absorbance ()\n");
  add("a reference, another block, what is left out",
      Opus{}
          .Add(kOptics + kOfReference, Opus::Number("RES", 0.5) + Opus::Whole("P2A", 0) +
                                           Opus::Whole("NSR", 7) + Opus::Parameter("BAD", 0, ""))
          .AddSpectrum(Opus::kSampleSpectrum, {1}, Opus::Text("DXU", "FUR"))
          .AddSpectrum(Opus::kAbsorbance, {1}, Opus::Text("DXU", "MI"))
          .Add(0x60100f, "1234")
          .Add(0x680000, "\0\0 an\0\0\n\xe4\0"s),
      kVersion +
          "RES [reference-resolution] = 0.5\nP2A [reference-P2A] = 0\n"
          "NSR [reference-scans] = 7\nBAD [reference-BAD] = \n"
          "other block [other-block] = Sample Spectrum\nNPT [other-points] = 1\n"
          "FXV [other-first-x] = 10\nLXV [other-last-x] = 10\nDXU [other-x-units] = FUR\n"
          "row 2 block [data-type] = Absorbance\nrow 2 "s +
          points +
          "row 2 DXU [x-units] = MI\nleft out [left-out] = block 60100f\n"
          "history [log] =  an\nhistory [log] = \n\u00e4\nx: Wavelength (um)\n"
          "y: Absorbance ()\n",
      "blocks=2");
  const auto dated = [](const char* date, const char* time) {
    return Opus{}.AddSpectrum(Opus::kAbsorbance, {1},
                              Opus::Text("DAT", date) + Opus::Text("TIM", time));
  };
  const struct {
    const char* date;
    const char* time;
    const char* iso;
  } kDates[] = {{"27/11/2020", "17:53:26.226 (GMT+1)", "2020-11-27T17:53:26.226+01:00"},
                {"2020/11/27", "17:53:26 (GMT-3:30)", "2020-11-27T17:53:26-03:30"},
                {"27/11/2020", "17:53:26", "2020-11-27T17:53:26"},
                {"27/11/2020", "17:53:26 (GMT)", "2020-11-27T17:53:26Z"},
                {"27/11/2020", "", "2020-11-27"},
                {"31/11/2020", "17:53:26", ""},
                {"27/11/20", "17:53:26", ""},
                {"27/11/2020", "soon", ""},
                {"27/11/2020", "17:53:26 (GMT+99)", ""},
                {"27/11/2020 or so", "17:53:26", ""},
                {"", "17:53:26", ""}};
  for (const auto& [date, time, iso] : kDates)
    add(date, dated(date, time),
        kVersion + "row 2 block [data-type] = Absorbance\nrow 2 "s + points +
            "row 2 DAT [] = " + date + "\nrow 2 TIM [time] = " + time + "\n" +
            (*iso != '\0' ? "row 2 DAT [date] = "s + iso + "\n" : ""s) + "y: Absorbance ()\n");
  const std::string said =
      Bytes(std::int32_t{64}) + std::string(132, '\0') + Bytes(0.0) + Bytes(1.5);
  const std::string spectrum = Bytes(2.0F) + said;
  add("a series",
      Opus{}.AddData(
          Opus::kAbsorbance + Opus::kSeriesOf, Opus::Status(1, 10, 10),
          Opus::Values(std::vector<std::int32_t>{0, 2, 24, 4, 152, 0}) + spectrum + spectrum),
      kVersion +
          "row 2 block [data-type] = Absorbance\nrow 3 block [data-type] = Absorbance\nrow 2 "s +
          points +
          "row 3 NPT [points] = 1\nrow 3 FXV [first-x] = 10\nrow 3 LXV [last-x] = 10\n"
          "row 2 scans [scans] = 64\nrow 2 start time [start-time] = 0\n"
          "row 2 end time [end-time] = 1.5\nrow 3 scans [scans] = 64\n"
          "row 3 start time [start-time] = 0\nrow 3 end time [end-time] = 1.5\n"
          "y: Absorbance ()\n");
}

void AddOthers(std::vector<Described>& all) {
  NsasSpectrum dated;
  dated.time = {11, 7, 2014, 15, 46, 27};
  dated.constituents = 2;
  NsasSpectrum other = dated;
  other.model = 5000;
  other.name = "";
  other.time = {98, 2, 1, 3, 4, 5};
  NsasSpectrum undated = dated;
  undated.model = 0;
  undated.time = {};
  all.push_back({"NSAS", "constituents and dates", By<NsasFile>(),
                 NsasBytes({dated, other, undated}),
                 "instrument model [instrument] = 6500\nconstituent [constituent] = Protein\n"
                 "constituent [constituent] = Moisture\n"
                 "row 3 spectrum number [id] = 7\nrow 3 sample name [sample] = Oats\n"
                 "row 3 date [] = 2014-07-11 15:46:27\nrow 3 date [date] = 2014-07-11T15:46:27\n"
                 "row 4 instrument model [instrument] = 5000\nrow 4 spectrum number [id] = 7\n"
                 "row 4 date [] = 01-02-98 03:04:05\n"
                 "row 5 spectrum number [id] = 7\nrow 5 sample name [sample] = Oats\n"
                 "x: wavelength ()\n",
                 "", NsasConstituents("Protein   Moisture  ", {{1, 2}, {3, 4}, {5, 6}})});
  all.push_back({"Brimrose", "the rows chosen", By<BrimroseFile>(), BrimroseFixture{}.Bytes(),
                 "row 3 sample text [sample] = x\nrow 3 acquisition time [] = 7200\n"
                 "row 3 acquisition time [date] = 1970-01-01T02:00:00Z\nx: wavelength ()\n",
                 "rows=3,3"});
  all.push_back({"Brimrose", "no time", By<BrimroseFile>(),
                 Patched(BrimroseFixture{.observations = 1, .size = 512 + 132}.Bytes(),
                         {{512, std::string(4, '\0')}}),
                 "row 2 sample text [sample] = x\nx: wavelength ()\n"});
}

// Of two files each says its own of its rows.
TEST(SpectraDescription, OfSeveralFilesIsOfTheirRows) {
  SpcFixture first;
  first.Add(std::vector<float>{1, 2, 3}).Add(std::vector<float>{1, 2, 3});
  SpcFixture second;
  second.Add(std::vector<float>{1, 2, 3});
  const TempFolder folder;
  const std::string path =
      FileSelection::Join({folder.Put("1", Patched(first.Bytes(), {{29, "\2"s}, {88, "one"}})),
                           folder.Put("2", Patched(second.Bytes(), {{28, "\1\3"s}, {88, "two"}}))});
  GalacticSPCFile file;
  ASSERT_EQ(file.Open(true, path.c_str(), OpenOptions::Pairs("range=1,0").get()), 0);
  EXPECT_EQ(TextOf(file),
            "row 2 fytype [y-units] = Absorbance\nrow 2 fcmnt [comment] = one\n"
            "row 3 fytype [y-units] = Absorbance\nrow 3 fcmnt [comment] = one\n"
            "row 4 fxtype [x-units] = Wavenumber (cm-1)\nrow 4 fytype [y-units] = Kubelka-Munk\n"
            "row 4 fcmnt [comment] = two\nx: Wavenumber (cm-1)\n");
}

// A file that claims the last rows that a number has.
TEST(SpectraDescription, OfMostRowsIsOfTheSheet) {
  const TempFolder folder;
  const std::string path = folder.Put(
      "1", Patched(SpcFixture{.flags = 4, .sub_files = INT_MAX - 1}.Bytes(), {{88, "one"}}));
  GalacticSPCFile file;
  ASSERT_EQ(file.Open(true, path.c_str(), OpenOptions::Pairs("range=1,0").get()), 0);
  EXPECT_EQ(TextOf(file), "fcmnt [comment] = one\n");
}

// Hundreds of pages would say what their block says until there is no room.
TEST(SpectraDescription, OfManyPagesIsOfTheSheet) {
  std::string bytes = "##TITLE= N\n##DATA CLASS= NTUPLES\n##SYMBOL= X, Y\n##VAR_DIM= 2, 2\n";
  std::string expected =
      "TITLE [title] = N\nDATA CLASS [data-class] = NTUPLES\nSYMBOL [] = X, Y\nVAR_DIM [] = 2, 2\n";
  for (int page = 1; page <= 65; ++page) {
    const std::string number = std::to_string(page);
    const std::string row = "row " + std::to_string(page + 1) + " ";
    bytes += "##PAGE= N=" + number + "\n##DATA TABLE= (XY..XY), PEAKS\n1,1 2,2\n";
    expected += row + "PAGE [] = N=" + number + "\n" + row + "PAGE [z] = " + number + "\n" + row +
                "DATA TABLE [] = (XY..XY), PEAKS\n";
  }
  const TempFile file(bytes + "##END=\n");
  JCAMPFile reader(JCAMPRules::Off());
  ASSERT_EQ(reader.Open(true, file.path(), nullptr), 0);
  EXPECT_EQ(TextOf(reader), expected);
}

TEST(SpectraDescription, IsCutWhereItIsTooLong) {
  const std::string longest(64 * 1024, 'x');
  const TempFile file(JCAMPFixture{.labels = "##A= " + longest + "\n##B= " + longest +
                                             "y\n##C= " + std::string(300 * 1024, ' ') + "\nz\n"}
                          .Bytes());
  JCAMPFile reader(JCAMPRules::Off());
  ASSERT_EQ(reader.Open(true, file.path(), nullptr), 0);
  Description description;
  EXPECT_EQ(reader.Describe(description), 0);
  EXPECT_EQ(description.cut(), 2U);
  EXPECT_EQ(description.statements().at(5).value, longest);
  EXPECT_EQ(description.statements().at(6).value, longest);
}

TEST(SpectraDescription, SaysDatesThatAreCertain) {
  for (const auto& [text, iso] : std::initializer_list<std::pair<const char*, const char*>>{
           {"30 Aug 2007 09:19:36 ", "2007-08-30T09:19:36"},
           {"05-OCT-1998", "1998-10-05"},
           {"19/12/2018", "2018-12-19"},
           {"12/19/2018", "2018-12-19"},
           {"03/30/90", "1990-03-30"},
           {"30/03/90", "1990-03-30"},
           {"04/04/1990", "1990-04-04"},
           {"05/04/1990", ""},
           {"05/04/98", ""},
           {"69/1/2 3:04", "2069-01-02T03:04"},
           {"1997/08/29  16:47:44.00  +0500", "1997-08-29T16:47:44.00+05:00"},
           {"2023-03-14T15:42:35Z", "2023-03-14T15:42:35Z"},
           {"2023/03/14 15:42:35.134 +01:00", "2023-03-14T15:42:35.134+01:00"},
           {"2023/03/14 15:42:35 PM", ""},
           {"2023/03/14 +01", ""},
           {"2023/02/29", ""},
           {"2023/03/14 24:00:00", ""},
           {"2023/03/145", ""},
           {"", ""}})
    EXPECT_EQ(IsoJCAMPDate(text), iso) << text;
}

void AddChemStation(std::vector<Described>& all) {
  using Fixture = ChemStationFixture;
  const auto add = [&](const char* why, const Fixture& file, std::string expected,
                       std::string options = "") {
    all.push_back({"HPLC ChemStation", why, By<ChemStationFile>(), file.Bytes(),
                   std::move(expected), std::move(options)});
  };
  const std::string numbers =
      "sequence line [sequence-line] = 7\nvial [vial] = 8\ninjection [injection] = 9\n"
      "scale [scale] = 0.5\n";
  const std::string body = Fixture::Segment({Fixture::Delta(1), Fixture::Delta(1)}) + "\0\0"s;
  add("a chromatogram",
      {.version = 30,
       .texts = {{24, "Juice"},
                 {86, "cloudy "},
                 {148, "AB"},
                 {178, "13-Oct-15, 16:11:35"},
                 {208, "G1"},
                 {218, "LC"},
                 {228, "J.M"},
                 {322, "Desk"},
                 {580, "mAU"},
                 {596, "DAD A"}},
       .body = body},
      "version [version] = 30\nfile type [data-type] = LC DATA FILE\nsample [sample] = Juice\n"
      "description [comment] = cloudy\noperator [operator] = AB\n"
      "date [] = 13-Oct-15, 16:11:35\ndate [date] = 2015-10-13T16:11:35\n"
      "detector [detector] = G1\ninstrument [instrument] = LC\nmethod [method] = J.M\n"
      "software [application] = Desk\nunits [y-units] = mAU\nsignal [signal] = DAD A\n" +
          numbers + "intercept [intercept] = 0\nx: time (min)\ny:  (mAU)\n");
  for (const auto& [date, iso] : std::initializer_list<std::pair<const char*, const char*>>{
           {"01 Nov 23  07:15 pm", "2023-11-01T19:15"},
           {"8/20/20 12:00:32 AM", "2020-08-20T00:00:32"},
           {"8/10/20 2:00:32 PM", ""},
           {"13-Oct-15 13:00 PM", ""},
           {"soon", ""}})
    add(date, {.texts = {{2391, date}}, .body = body},
        "version [version] = 130\nfile type [data-type] = LC DATA FILE\ndate [] = "s + date + "\n" +
            (*iso != '\0' ? "date [date] = "s + iso + "\n" : "") + numbers +
            "intercept [intercept] = 0\nx: time (min)\n");
  Fixture spectra{.version = 31};
  for (const int time : {0, 30'000}) spectra.Add(time, Fixture::Scan(time, std::string(6, '\1')));
  const std::string said =
      "version [version] = 31\nfile type [data-type] = LC DATA FILE\n" + numbers;
  add("spectra", spectra,
      said + "row 2 time [z] = 0\nrow 3 time [z] = 0.5\nx: wavelength (nm)\nz: time (min)\n");
  add("a wavelength of spectra", spectra, said + "wavelength [wavelength] = 202\nx: time (min)\n",
      "wavelength=202");
}

void AddNetcdf(std::vector<Described>& all) {
  using Net = NetcdfFixture;
  const auto add = [&](const char* why, const Net& file, std::string expected,
                       std::string options = "") {
    all.push_back(
        {"NetCDF", why, By<NetCDFFile>(), file.Bytes(), std::move(expected), std::move(options)});
  };
  Net keys{.dimensions = {{"n", 2}},
           .variables = {
               {"n", {0}, Net::kFloat, Net::Values<float>({1, 2})},
               {"v", {0}, Net::kFloat, Net::Values<float>({1, 2}), {Net::Text("units", "g")}}}};
  std::string labels = "version [version] = 1\n";
  for (const auto& [label, key] : kNetcdfKeys) {
    if (label == "version") continue;
    const std::string name(label);
    const bool is_stamp = name.ends_with("_stamp");
    keys.attributes.push_back(Net::Text(name, is_stamp ? "20240305060708" : "a\0b"s));
    if (is_stamp) labels += name + " [] = 20240305060708\n";
    labels +=
        name + " [" + std::string(key) + "] = " + (is_stamp ? "2024-03-05T06:07:08\n" : "a\n");
  }
  keys.attributes.push_back({"own", Net::kFloat, 2, Net::Values<float>({0.1F, 2})});
  add("every key", keys, labels + "own [] = 0.1 2\nv:units [] = g\n", "variables=v");
  Net stamped = Net::Chromatogram();
  stamped.attributes.push_back(Net::Text("injection_date_time_stamp", "20231029185100+0130"));
  stamped.attributes.push_back(Net::Text("dataset_date_time_stamp", "20231329185100"));
  stamped.attributes.push_back(Net::Text("experiment_date_time_stamp", "20231029185100"));
  stamped.attributes.push_back(Net::Text("netcdf_file_date_time_stamp", "1900,01,01"));
  add("a chromatogram", stamped,
      "version [version] = 1\naia_template_revision [template-revision] = 1.0\n"
      "sample_name [sample] = juice\nretention_unit [x-units] = Seconds\n"
      "detector_unit [y-units] = mAU\ninjection_date_time_stamp [] = 20231029185100+0130\n"
      "injection_date_time_stamp [date] = 2023-10-29T18:51:00+01:30\n"
      "dataset_date_time_stamp [] = 20231329185100\n"
      "experiment_date_time_stamp [] = 20231029185100\n"
      "experiment_date_time_stamp [date] = 2023-10-29T18:51:00\n"
      "netcdf_file_date_time_stamp [] = 1900,01,01\nx: time (s)\ny:  (mAU)\n");
  Net spectra = Net::MassSpectra();
  spectra.dimensions.push_back({"_4_byte_string", 4});
  spectra.variables.push_back({"instrument_name", {2}, Net::kChar, "MS\0\0"s});
  add("mass spectra", spectra,
      "version [version] = 1\nms_template_revision [template-revision] = 1.0.1\n"
      "instrument_name [instrument] = MS\nmass_values:scale_factor [] = 0.5\n"
      "x: m/z ()\nz: time (s)\n");
}

}  // namespace

void AddSpectra(std::vector<Described>& all) {
  AddJcamp(all);
  AddSpc(all);
  AddOpus(all);
  AddOthers(all);
  AddChemStation(all);
  AddNetcdf(all);
}

void AddSpectraBombs(std::vector<Described>& bombs) {
  const auto jcamp = By<JCAMPFile>(JCAMPRules::Off());
  const auto add = [&](const char* why, std::string labels, const std::string& data) {
    JCAMPFixture file{.labels = std::move(labels)};
    bombs.push_back({"JCAMP-DX", why, jcamp, file.Bytes() + data, ""});
  };
  const std::string many = Repeated("##A=\n", 1'000'000);
  add("a million records", many, "");
  add("a million records of 60 pages", many,
      Repeated("##PAGE= N=1\n##DATA TABLE= (X++(Y..Y))\n10 1 2 3\n", 60));
  add("records of 60,000 bytes of 60 pages", Repeated("##A=" + std::string(60'000, 'x') + "\n", 60),
      Repeated("##PAGE= N=1\n##DATA TABLE= (X++(Y..Y))\n10 1 2 3\n", 60));
  add("60,000 blocks", "", Repeated("##TITLE=\n##END=\n", 60'000));
  add("a value of megabytes", "##A=" + Repeated("x\n", 5'000'000), "");
  bombs.push_back(
      {"JCAMP-DX", "points that are only claimed", jcamp,
       JCAMPFixture{.labels = "##A=" + std::string(200'000, 'x') + "\n", .points = "13000000"}
           .Bytes(),
       ""});
  SpcFixture spc{.points = 0};
  for (int i = 0; i < 100'000; ++i) spc.Add(std::vector<float>{});
  const std::string head = Bytes(~0U) + Bytes(0U) + Bytes(64U) + std::string(52, '\0');
  const std::string bytes = Patched(spc.Bytes(), {{248, Bytes(512U + 3'200'000U)}}) + head;
  const auto reader = By<GalacticSPCFile>(GalacticSPCRules::Off());
  bombs.push_back({"GalacticSPC", "lines", reader, bytes + Repeated("x\n", 3'000'000), ""});
  bombs.push_back({"GalacticSPC", "a line", reader, bytes + Repeated("x", 30'000'000), ""});

  OpusFixture opus = OpusFixture{}.AddSpectrum(OpusFixture::kAbsorbance, {1});
  opus.Add(0x60, Repeated(OpusFixture::Parameter("AAA", 2, ""), 1'000'000));
  opus.Add(0x680000, Repeated("x\0"s, 3'000'000));
  const auto opus_reader = By<BrukerOPUSFile>();
  bombs.push_back({"Bruker OPUS", "a million parameters, lines", opus_reader, opus.File(), ""});
}

}  // namespace nvimport
