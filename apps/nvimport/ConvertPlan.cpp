#include "apps/nvimport/ConvertPlan.h"

#include <nlohmann/json.hpp>

#include "apps/nvimport/CommandWords.h"
#include "apps/nvimport/Descriptions.h"
#include "nvimport/hosting/CellText.h"
#include "nvimport/hosting/batch/BatchReport.h"
#include "nvimport/hosting/export/OutputTarget.h"

namespace nvimport {

namespace {

using Json = nlohmann::ordered_json;

// A text that --encoding was told wrong stays readable.
std::string Told(const Description& description, const TextDecoder& decoder, bool with_x) {
  return DescriptionJson(description, decoder, with_x)
      .dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

ExportRequest OutputOf(FileTurn& turn, const ConvertPlan& plan, const std::string& output,
                       std::vector<std::string>& notes) {
  return {.path = output,
          .format = plan.format,
          .conversion = turn.plan().conversion,
          .pairs = plan.write_options,
          .is_sparse = plan.is_sparse,
          .progress = [&turn](auto row, auto rows) { return turn.progress().Advance(row, rows); },
          .note = [&notes](const std::string& note) { notes.push_back(note); },
          .words = CommandWords()};
}

std::string DescriptionHead(const ConvertPlan& plan, const Description& description,
                            const TextDecoder& decoder) {
  if (plan.format.own == SheetFormat::kJson) {
    const auto& x = description.x();
    return EscapeInJson(R"({"description":)" + Told(description, decoder, /*with_x=*/false) +
                        ",\n\"x\":" + (x.empty() ? "null" : Json(x).dump()) + ",\n");
  }
  if (!plan.describes_in_output) return {};
  return R"({"description":)" + EscapeInJson(Told(description, decoder, /*with_x=*/true)) + "}\n";
}

SheetMetadata MetadataOf(const ConvertPlan& plan, const Description& description,
                         const TextDecoder& decoder, const std::string& source) {
  SheetMetadata metadata = {{"source", ToUtf8(source)}};
  const auto add = [&](const char* name, std::string_view text) {
    std::string scratch;
    if (!text.empty()) metadata.emplace_back(name, decoder.Decode(text, scratch));
  };
  add("title", description.Find("title"));
  add("x_label", description.name(Axis::kX).label);
  add("x_unit", description.name(Axis::kX).unit);
  add("y_label", description.name(Axis::kY).label);
  add("y_unit", description.name(Axis::kY).unit);
  if (!plan.format.own) {
    // Which has fields for statements.
    for (const Statement& statement : description.statements()) {
      const std::string row = statement.row > 0 ? " of row " + std::to_string(statement.row) : "";
      add((std::string(statement.label) + row).c_str(), statement.value);
    }
    return metadata;
  }
  if (!description.x().empty()) metadata.emplace_back("x", Json(description.x()).dump());
  if (!description.empty())
    metadata.emplace_back("description", Told(description, decoder, /*with_x=*/false));
  return metadata;
}

std::optional<Failure> CheckDescription(const std::string& path, const ConvertPlan& plan) {
  return path.empty() ? std::nullopt : OutputTarget(path, plan.force, CommandWords()).Check();
}

std::optional<Failure> WriteDescription(const std::string& path, const ConvertPlan& plan,
                                        const Description& description,
                                        const TextDecoder& decoder) {
  if (path.empty()) return std::nullopt;
  BatchReport file(path, plan.force, CommandWords());
  if (auto failure = file.Begin(EscapeInJson(Told(description, decoder, /*with_x=*/true))))
    return failure;
  return file.End("\n");
}

}  // namespace nvimport
