#include "apps/desktop/Plotter.h"

#include <QMenu>
#include <QPointer>
#include <QTimer>
#include <algorithm>
#include <utility>

#include "apps/desktop/Jobs.h"
#include "apps/desktop/Page.h"
#include "apps/desktop/Pages.h"
#include "apps/desktop/PlotChoiceDialog.h"

namespace nvimport {

Plotter::Plotter(QWidget& window, Jobs& jobs, Pages& pages)
    : QObject(&window), window_(window), jobs_(jobs), pages_(pages) {}

Page* Plotter::page() const { return pages_.current(); }

void Plotter::Prepare(Page* page) {
  if (page == nullptr) return;
  if (jobs_.busy()) {
    constexpr int kWait = 100;  // ms
    QTimer::singleShot(kWait, this, [this, later = QPointer(page)] { Prepare(later); });
    return;
  }
  jobs_.Run(
      tr("Preparing the plot"),
      [make = page->MakingCurves(), report = jobs_.Reporting()] { return make(report); },
      [this, shown = QPointer(page)](const Page::Plotted& plotted) {
        if (shown != nullptr && plotted.all->complete && plotted.seen->complete) {
          shown->SetCurves(plotted);
          emit Plotted(shown);
        } else if (shown != nullptr) {
          jobs_.Tell(tr("The plot was cancelled; Import again makes it."));
        }
        emit Finished();
      });
}

void Plotter::Choose() {
  const Curves* const curves = page()->plot().curves();
  if (curves == nullptr) return;
  if (const auto choice = AskPlotChoice(&window_, *page()->read().sheet, *curves, page()->choice()))
    DrawAs(*choice);
}

void Plotter::DrawAs(const PlotChoice& choice) {
  page()->Choose(choice);
  Prepare(page());
}

void Plotter::LookAs(const Look& look) {
  if (jobs_.Refuses()) return emit Refused();
  page()->SetLook(look);
  Prepare(page());
}

void Plotter::ListOverlays(QMenu& menu) {
  menu.clear();
  for (Page* const other : pages_.all()) {
    if (other == page() || other->curves() == nullptr || other->curves()->size() == 0) continue;
    const auto is_over = [curves = other->curves()](const OtherCurves& shown) {
      return shown.curves == curves;
    };
    QAction* const action = menu.addAction(other->name().replace('&', "&&"));
    action->setCheckable(true);
    action->setChecked(std::ranges::any_of(page()->others(), is_over));
    connect(action, &QAction::triggered, this, [this, other, is_over](bool wanted) {
      std::vector<OtherCurves> others = page()->others();
      std::erase_if(others, is_over);
      if (wanted) others.push_back({other->name(), other->curves()});
      OverlayWith(std::move(others));
    });
  }
  if (menu.isEmpty()) menu.addAction(tr("No other file is open"))->setEnabled(false);
}

void Plotter::OverlayWith(std::vector<OtherCurves> others) {
  if (jobs_.Refuses()) return;
  page()->SetOthers(std::move(others));
  Prepare(page());
}

}  // namespace nvimport
