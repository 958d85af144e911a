#pragma once

#include <QTabWidget>
#include <vector>

namespace nvimport {

struct OpenRequest;
class Page;

// What is open, a tab for each.
class Pages : public QTabWidget {
  Q_OBJECT
 public:
  Pages();

  // The one that is seen, null for none.
  Page* current() const;
  std::vector<Page*> all() const;
  // The one for what was read; where there is none a new one, which Show gives its tab.
  Page& For(const OpenRequest& read);
  void Show(Page& page);
  void Close(int index);
  // How its parts are sized, for those that come.
  void Remember() const;

 signals:
  void Made(Page* page);
};

}  // namespace nvimport
