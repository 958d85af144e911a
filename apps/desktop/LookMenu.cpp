#include "apps/desktop/LookMenu.h"

#include <QActionGroup>

namespace nvimport {

template <typename Value>
void LookMenu::Add(QMenu& menu, QActionGroup& group, const QString& text, Value Look::*part,
                   Value value) {
  QAction* const action = menu.addAction(text);
  action->setCheckable(true);
  group.addAction(action);
  marks_.emplace_back(action, [part, value](const Look& look) { return look.*part == value; });
  connect(action, &QAction::triggered, this, [this, part, value] {
    look_.*part = value;
    emit Chosen(look_);
  });
}

LookMenu::LookMenu(const QString& title) : QMenu(title) {
  const auto add = [this](const QString& heading, auto part, const auto& choices) {
    QMenu& menu = *addMenu(heading);
    auto* const group = new QActionGroup(this);
    for (const auto& [text, value] : choices) Add(menu, *group, text, part, value);
  };
  using Derivative = Look::Derivative;
  using Scaling = Look::Scaling;
  using Stacking = Look::Stacking;
  add(tr("&Derivative"), &Look::derivative,
      std::vector<std::pair<QString, Derivative>>{{tr("&none"), Derivative::kNone},
                                                  {tr("&first"), Derivative::kFirst},
                                                  {tr("&second"), Derivative::kSecond}});
  std::vector<std::pair<QString, int>> windows;
  for (const int points : {5, 7, 9, 15, 25})
    windows.emplace_back(tr("%1 points").arg(points), points);
  add(tr("Derivative &from"), &Look::window, windows);
  add(tr("&Normalise"), &Look::scaling,
      std::vector<std::pair<QString, Scaling>>{
          {tr("&not"), Scaling::kNone},
          {tr("each from &0 to 1"), Scaling::kToOne},
          {tr("each with &mean 0 and deviation 1"), Scaling::kCentered}});
  add(tr("&Stack"), &Look::stacking,
      std::vector<std::pair<QString, Stacking>>{{tr("&not"), Stacking::kNone},
                                                {tr("&offset by a tenth"), Stacking::kOffset},
                                                {tr("&above each other"), Stacking::kStacked}});
  addSeparator();
  QAction* const none = addAction(tr("As in the s&heet"));
  connect(none, &QAction::triggered, this, [this] { emit Chosen({}); });
  Mark({});
}

void LookMenu::Mark(const Look& look) {
  look_ = look;
  for (const auto& [action, is_marked] : marks_) action->setChecked(is_marked(look));
}

}  // namespace nvimport
