#include "nvimport/hosting/export/Combination.h"
#include "nvimport/hosting/export/OutputTarget.h"
#include "nvimport/hosting/export/ShapedSheet.h"
#include "tests/support/Cases.h"

namespace nvimport {

namespace {

SheetColumns Named(std::vector<SheetColumns::Named> named, std::vector<double> x = {}) {
  SheetColumns sheet{.named = std::move(named), .x = std::move(x), .x_name = {"", "nm"}};
  sheet.first_x_column = static_cast<int>(sheet.named.size()) + 1;
  return sheet;
}

std::string NamesOf(CombinedColumns columns) {
  columns.Settle();
  std::string names;
  for (const std::string& name : columns.Names({"file"})) names += name + "|";
  return names + std::to_string(columns.CountOtherAxes());
}

}  // namespace

// Whichever way the columns of sheets come together, and however they travel.
TEST(Combination, PartsMergeAsTheWholeDoes) {
  const std::vector<SheetColumns> sheets = {
      Named({{1, "a"}, {2, ""}, {3, "a"}}),
      Named({{1, "file"}, {2, "a_2"}}, {4000, 3998, 3998, 400}),
      Named({{1, "b"}, {2, ""}}, {400, 3998.00001, -0.0 + 0.0}),
      Named({{2, "b"}}, {400, 3998.00001, 0})};
  for (const auto grid : {CombinedColumns::Grid::kUnion, CombinedColumns::Grid::kFirst}) {
    CombinedColumns whole(grid);
    CombinedColumns parts[] = {CombinedColumns(grid), CombinedColumns(grid)};
    for (std::size_t i = 0; i < sheets.size(); ++i) {
      const auto travelled = SheetColumns::Parse(sheets[i].Bytes());
      ASSERT_TRUE(travelled);
      whole.Add(*travelled);
      parts[i / 2].Add(sheets[i]);
    }
    parts[1].Settle();
    const std::string bytes = parts[1].Bytes();
    for (std::size_t size = 0; size < bytes.size(); ++size)
      ASSERT_FALSE(CombinedColumns::Parse(bytes.substr(0, size))) << size;
    const auto travelled = CombinedColumns::Parse(bytes);
    ASSERT_TRUE(travelled);
    parts[0].Add(*travelled);
    const bool is_union = grid == CombinedColumns::Grid::kUnion;
    const std::string expected =
        std::string("file|a|column 2|a_2|file_2|a_2_2|b|") +
        (is_union ? "4000|3998.00001|3998|3998_2|400|0|3" : "4000|3998|3998_2|400|2");
    EXPECT_EQ(NamesOf(whole), expected);
    EXPECT_EQ(NamesOf(parts[0]), expected);
    whole.Settle();
    EXPECT_EQ(whole.PositionsOf(sheets[1])[5], is_union ? 9U : 8U);
    EXPECT_EQ(whole.x_name().unit, "nm");
  }
  const std::string bytes = sheets[1].Bytes();
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_FALSE(SheetColumns::Parse(bytes.substr(0, size))) << size;
}

// What changes after it was read for its columns ends up in no table, by halves or otherwise.
TEST(Combination, AFileThatChangesIsLeftOut) {
  const TempFolder folder;
  ImportRequest requests[2];
  CombinedColumns columns;
  std::vector<SurveyedSheet> sheets;
  for (const char* name : {"a.csv", "b.csv"}) {
    ImportRequest& request = requests[sheets.size()];
    request.files = {folder.Put(name, "x,y\n1,2\n")};
    auto parsed = SurveyedSheet::Parse(SurveyedSheet::Bytes(SurveyFile(request, {}).sheets));
    ASSERT_TRUE(parsed && parsed->size() == 1);
    sheets.push_back(parsed->front());
    columns.Add(sheets.back().columns);
  }
  columns.Settle();
  sheets[0].is_in_order = false;  // through memory, to the same end
  folder.Put("b.csv", "x,z\n1,2\n3,4\n");
  const ExportRequest output{.path = folder.path() + "/o.csv", .format = *FindOutputFormat("csv")};
  const CombinationRules rules;
  OutputTarget target(output.path, false);
  CombinedFile table(columns, rules, output, target);
  ASSERT_FALSE(target.Check() || table.Settle() || table.Begin(""));
  EXPECT_FALSE(table.Add(requests[0], "a", sheets[0]).failure);
  auto added = table.Add(requests[1], "b", sheets[1]);
  EXPECT_EQ(added.failure ? added.failure->text : "", "The file changed while the table was made.");
  EXPECT_FALSE(added.is_fatal);
  // Even if nothing but the cells tells.
  sheets[1].stamps = SurveyFile(requests[1], {}).sheets.front().stamps;
  added = table.Add(requests[1], "b", sheets[1]);
  EXPECT_EQ(added.failure ? added.failure->text : "", "The file changed while the table was made.");
  EXPECT_FALSE(added.is_fatal);
  EXPECT_FALSE(table.Finish());
  EXPECT_EQ(Contents(output.path), "file,x,y\na,1,2\n");
}

TEST(ColumnChoice, NumbersAndNames) {
  const NamedColumns columns{{"Name", "1", "a,\"b", "1100", "Name"}, 4, {1100.5}};
  const struct {
    const char* text;
    const char* taken;  // the positions of the columns, or what is wrong
  } kCases[] = {{"1", "1----"},         {"Name", "1---2"},
                {R"("1",1)", "21---"},  {R"("a,""b")", "--1--"},
                {"1100.5,2-", "-2314"}, {"5-,1,4-9", "2--31"},
                {"3-9,1-4,1", "45123"}, {"x", "x"},
                {"1,,2", "no list"},    {"5-3", "no list"},
                {"\"a", "no list"},     {"\"a\"b", "no list"}};
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.text);
    const auto choice = ColumnChoice::Parse(c.text);
    std::string taken = choice ? "" : "no list";
    NumberRanges numbers;
    if (choice && choice->Resolve(columns, numbers)) taken = "x";
    numbers.FitTo(5);
    for (int column = 1; column <= 5 && taken.size() < 5U && taken != "x"; ++column) {
      const int position = numbers.PositionOf(column);
      taken += position == 0 ? "-" : std::to_string(position);
    }
    EXPECT_EQ(taken, c.taken);
  }
}

}  // namespace nvimport
