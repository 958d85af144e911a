#include <gtest/gtest.h>

#include <charconv>
#include <string>
#include <vector>

#include "nvimport/formats/spectra/BrimroseLayout.h"
#include "nvimport/formats/spectra/JCAMPPages.h"
#include "nvimport/formats/spectra/NsasLayout.h"
#include "nvimport/formats/spectra/SpcLayout.h"
#include "tests/support/BrimroseFixture.h"
#include "tests/support/JCAMPFixture.h"
#include "tests/support/MemoryFile.h"
#include "tests/support/NsasFixture.h"
#include "tests/support/SpcFixture.h"

namespace nvimport {

namespace {

std::string Text(double number) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

// "name first to last by spacing: values", with the x values that a file lists before these.
std::string Line(const std::string& name, const SpectrumAxis& axis,
                 const std::vector<float>& values) {
  std::string line =
      name + " " + Text(axis.first) + " to " + Text(axis.last) + " by " + Text(axis.spacing) + ":";
  for (const double x : axis.values) line += " at " + Text(x);
  for (const float x : axis.floats) line += " at " + Text(static_cast<double>(x));
  for (const float value : values) line += " " + Text(static_cast<double>(value));
  return line + "\n";
}

std::vector<float> Floats(BlockReader& reader, int count) {
  std::vector<float> values;
  const auto take = [&](int, float value) { values.push_back(value); };
  TakeStoredValues<float, std::endian::little>(reader, count, take);
  return values;
}

std::string Brimrose(InputFile file, const std::string&) {
  const auto layout = ReadBrimroseLayout(file);
  std::string lines;
  for (int i = 0; layout && i < layout->observations; ++i) {
    BlockReader reader;
    reader.Begin(file, layout->Observation(i));
    const auto head = ReadBrimroseHead(reader);
    if (!head) return lines + "cut";
    lines += Line(std::string(head->sample) + std::to_string(head->time), {layout->axis, {}},
                  Floats(reader, layout->axis.points));
  }
  return layout ? lines : "no header";
}

std::string Nsas(InputFile file, const std::string&) {
  NsasDaFile da;
  da.Begin(file);
  std::string lines;
  NsasRecord first;
  do {
    NsasRecord record;
    const int status = da.ReadDaHeader(lines.empty() ? nullptr : &first, record);
    if (status != 0) return lines + std::to_string(status);
    if (lines.empty()) first = record;
    lines += Line(record.name.data(), {record.axis, {}}, Floats(da.values(), record.axis.points));
    if (!da.SkipDa(record)) return lines + "cut";
  } while (!da.at_end());
  return lines;
}

std::string Spc(InputFile file, const std::string&) {
  BlockReader reader;
  Budget budget(file.size());
  SpcFile layout;
  if (const int status = ReadSpcLayout(file, reader, layout, budget)) return std::to_string(status);
  std::string lines;
  SpcSubFiles sub_files(layout, file, reader, budget);
  while (sub_files.number() < layout.sub_files) {
    if (!sub_files.Next() || !sub_files.is_whole()) return lines + "cut";
    SpectrumAxis axis{layout.axis, {}, layout.x};
    if (layout.has_own_x) axis = {{}, {}, sub_files.own_x()};
    std::vector<float> values;
    sub_files.TakeValues(0, sub_files.points(),
                         [&](int, double value) { values.push_back(static_cast<float>(value)); });
    lines += Line(std::to_string(sub_files.number()), axis, values);
  }
  return lines;
}

std::string Jcamp(InputFile file, const std::string& path) {
  const JCAMPRules rules = JCAMPRules::Off();
  JCAMPLines labels(path.c_str());
  JCAMPLayout layout;
  Budget budget(file.size());
  if (const int status = ReadJCAMPLayout(labels, rules, layout, budget))
    return std::to_string(status);
  const std::vector<std::string> files{path};
  JCAMPInput input(files, rules);
  std::string lines;
  for (std::size_t block = 0; block < layout.blocks.size(); ++block) {
    const JCAMPData page = layout.Get(block);
    int status = page.Problem();
    if (status == 0) {
      SpectrumAxis axis{page.Axis()};
      std::vector<float> values;
      JCAMPPageReader reader(page, rules, *input.Open(page.file));
      status = reader.ReadPoints([&](double x, double y, bool missing) {
        if (page.form != JCAMPForm::kOrdinates) axis.values.push_back(x);
        values.push_back(missing ? NAN : static_cast<float>(y));
      });
      lines += Line(layout.Text(page.title), axis, values);
    }
    if (status != 0) lines += std::to_string(status) + "\n";
  }
  return lines;
}

// Exact axes and values in their order, without a sheet.
TEST(SpectraLayout, GivesTheSpectraOfAFile) {
  const std::string brimrose = BrimroseFixture{}.Bytes();
  SpcFixture spc{.flags = 0x04, .first_x = 0.1, .last_x = 0.7};
  spc.Add(std::vector{1.F, 2.F, 3.F}, -128).Add(std::vector{1 << 30, -1 << 31, 0});
  SpcFixture own_x{.flags = 0xc4};
  own_x.AddOwnX({5, 3}, std::vector{1.F, 2.F}).AddOwnX({0.5}, std::vector{3.F});
  const std::string jcamp = JCAMPFixture{.first = "0.1", .last = "0.7"}.Bytes();
  const std::string one = "1 0.1 to 0.7 by 0.3: 1 2 3\n";
  const struct {
    const char* why;
    std::string (*read)(InputFile file, const std::string& path);
    std::string bytes;
    std::string expected;
  } kCases[] = {
      {"Brimrose", Brimrose, brimrose,
       "x3600 1100 to 1120 by 10: 10 11 12\nx7200 1100 to 1120 by 10: 20 21 22\n"},
      {"Brimrose, cut", Brimrose, brimrose.substr(0, 700),
       "x3600 1100 to 1120 by 10: 10 11 12\ncut"},
      {"Brimrose, no header", Brimrose, brimrose.substr(0, 511), "no header"},
      {"NSAS", Nsas, NsasBytes({{}, {.name = "Rye       ", .first = 1110, .end = 1140}}),
       "Oats 1100 to 1120 by 10: 1 2 3\nRye 1110 to 1130 by 10: 1 2 3\n"},
      {"NSAS, another step", Nsas, NsasBytes({{}, {.end = 1131}}),
       "Oats 1100 to 1120 by 10: 1 2 3\n1284"},
      {"SPC, floats and a sub-file of its own exponent", Spc, spc.Bytes(),
       one + "2" + one.substr(1, one.size() - 7) + "0.25 -0.5 0\n"},
      {"SPC, cut", Spc, spc.Bytes().substr(0, spc.Bytes().size() - 1), one + "cut"},
      {"SPC, x arrays of their own", Spc, own_x.Bytes(),
       "1 0 to 0 by 0: at 5 at 3 1 2\n2 0 to 0 by 0: at 0.5 3\n"},
      {"SPC, no header", Spc, spc.Bytes().substr(0, 511), "2564"},
      {"JCAMP-DX, and a block that can't be read", Jcamp, jcamp + JCAMPFixture{.last = ""}.Bytes(),
       "A" + one.substr(1) + "1557\n"},
      {"JCAMP-DX, pairs", Jcamp,
       JCAMPFixture{.form = "PEAK TABLE= (XY..XY)", .data = "2,20 1,10 3,30\n"}.Bytes(),
       "A 10 to 12 by 1: at 2 at 1 at 3 20 10 30\n"},
      {"JCAMP-DX, an illegal character", Jcamp, JCAMPFixture{.data = "10 1 2 !\n"}.Bytes(),
       "A 10 to 12 by 1: 1 2\n1561\n"},
      {"no JCAMP-DX", Jcamp, "##END=\n", "1537"},
  };
  for (const auto& c : kCases) {
    const MemoryFile file(c.bytes);
    EXPECT_EQ(c.read(InputFile(file.path()), file.path()), c.expected) << c.why;
  }
}

}  // namespace

}  // namespace nvimport
