#include "apps/desktop/Pages.h"

#include "apps/desktop/FileNames.h"
#include "apps/desktop/Page.h"
#include "apps/desktop/Settings.h"
#include "apps/desktop/SheetText.h"

namespace nvimport {

namespace {

constexpr const char* kSplit = "split";

}  // namespace

Pages::Pages() {
  setDocumentMode(true);
  setTabsClosable(true);
  setMovable(true);
  setTabBarAutoHide(true);
  setElideMode(Qt::ElideMiddle);
  setAccessibleName(tr("Files"));
  // Its bar has the focus itself, and is hidden while there is one file: Tab would end there.
  setFocusProxy(nullptr);
  setFocusPolicy(Qt::NoFocus);
  connect(this, &QTabWidget::tabCloseRequested, this, &Pages::Close);
}

Page* Pages::current() const { return static_cast<Page*>(currentWidget()); }

std::vector<Page*> Pages::all() const {
  std::vector<Page*> pages;
  pages.reserve(static_cast<std::size_t>(count()));
  for (int i = 0; i < count(); ++i) pages.push_back(static_cast<Page*>(widget(i)));
  return pages;
}

Page& Pages::For(const OpenRequest& read) {
  for (Page* page : all()) {
    const OpenRequest& shown = page->read().again;
    if (shown.files != read.files || shown.database != read.database) continue;
    setCurrentWidget(page);
    return *page;
  }
  auto* const made = new Page;
  made->restoreState(current() != nullptr ? current()->saveState()
                                          : Settings().value(kSplit).toByteArray());
  emit Made(made);
  return *made;
}

void Pages::Show(Page& page) {
  if (indexOf(&page) >= 0) return;
  const int made = addTab(&page, page.name().replace('&', "&&"));
  const OpenRequest& read = page.read().again;
  // Of a database there may be several.
  setTabToolTip(
      made, read.database ? FromBytes(read.database->statement) : ShownPath(read.files.front()));
  setCurrentIndex(made);
}

void Pages::Close(int index) {
  QWidget* const page = widget(index);
  removeTab(index);
  delete page;
}

void Pages::Remember() const {
  if (current() != nullptr) Settings().setValue(kSplit, current()->saveState());
}

}  // namespace nvimport
