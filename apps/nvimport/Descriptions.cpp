#include "apps/nvimport/Descriptions.h"

#include <map>
#include <set>

#include "nvimport/platform/NumberText.h"

namespace nvimport {

namespace {

using Json = nlohmann::ordered_json;

std::string Text(std::string_view bytes, const TextDecoder& decoder) {
  std::string scratch;
  return std::string(decoder.Decode(bytes, scratch));
}

std::string Shown(std::string_view bytes, const TextDecoder& decoder) {
  constexpr std::size_t kMostShown = 160;
  return CutToWidth(EscapeControls(Text(bytes, decoder)), kMostShown);
}

Json NameJson(const AxisName& name, const TextDecoder& decoder) {
  return {{"label", Text(name.label, decoder)}, {"unit", Text(name.unit, decoder)}};
}

std::string ShortText(double value) {
  FloatText buffer;
  return std::string(FormatDouble(value, buffer));
}

}  // namespace

Json DescriptionJson(const Description& description, const TextDecoder& decoder, bool with_x) {
  Json json = {{"statements", Json::array()}, {"axes", Json::object()}, {"rows", Json::array()}};
  std::map<int, std::size_t> places;  // of rows
  for (const Statement& one : description.statements()) {
    Json* list = &json["statements"];
    if (one.row > 0) {
      const auto [place, is_new] = places.emplace(one.row, json["rows"].size());
      if (is_new) json["rows"].push_back({{"row", one.row}, {"statements", Json::array()}});
      list = &json["rows"][place->second]["statements"];
    }
    list->push_back({{"label", Text(one.label, decoder)},
                     {"key", one.key.empty() ? Json() : Json(Text(one.key, decoder))},
                     {"value", Text(one.value, decoder)}});
  }
  for (const auto& [axis, name] :
       {std::pair(Axis::kX, "x"), std::pair(Axis::kY, "y"), std::pair(Axis::kZ, "z")}) {
    const AxisName& said = description.name(axis);
    if (!said.label.empty() || !said.unit.empty()) json["axes"][name] = NameJson(said, decoder);
  }
  if (const auto& x = description.x(); !x.empty()) {
    Json& axis = json["axes"]["x"];
    if (axis.is_null()) axis = NameJson({}, decoder);
    axis["first_column"] = description.first_x_column();
    axis["points"] = x.size();
    axis["first"] = x.front();
    axis["last"] = x.back();
    if (with_x) axis["values"] = x;
  }
  json["cut"] = description.cut();
  return json;
}

std::vector<std::pair<std::string, std::string>> DescriptionLines(const Description& description,
                                                                  const TextDecoder& decoder) {
  std::vector<std::pair<std::string, std::string>> lines;
  for (const auto& [axis, name] :
       {std::pair(Axis::kX, "x"), std::pair(Axis::kY, "y"), std::pair(Axis::kZ, "z")}) {
    const AxisName& said = description.name(axis);
    std::string text = Shown(said.label, decoder);
    if (!said.unit.empty()) text += (text.empty() ? "in " : ", in ") + Shown(said.unit, decoder);
    if (axis == Axis::kX && !description.x().empty())
      text += (text.empty() ? "" : ", ") + std::to_string(description.x().size()) +
              " points from " + ShortText(description.x().front()) + " to " +
              ShortText(description.x().back());
    if (!text.empty()) lines.emplace_back(name, text);
  }
  std::set<int> rows;
  for (const Statement& one : description.statements())
    if (one.row > 0) rows.insert(one.row);
  for (const Statement& one : description.statements())
    if (one.row == 0 || rows.size() == 1)
      lines.emplace_back(Shown(one.key.empty() ? one.label : one.key, decoder),
                         Shown(one.value, decoder));
  if (rows.size() > 1)
    lines.emplace_back("rows", std::to_string(rows.size()) + " say more (--json tells it)");
  return lines;
}

}  // namespace nvimport
