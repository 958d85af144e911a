#pragma once

#include <QObject>
#include <functional>
#include <vector>

class QAction;
class QKeySequence;
class QMainWindow;
class QMenu;

namespace nvimport {

class Exporter;
class FindBar;
class LookMenu;
class Opener;
class Page;
class Pages;
class PlotOutput;
class Plotter;
class SheetWork;

// The menus, the tool bar, and the menus of the right button: what can be done, and by what.
class Menus : public QObject {
  Q_OBJECT
 public:
  struct Parts {
    Opener& opener;
    Pages& pages;
    SheetWork& sheets;
    Plotter& plotter;
    PlotOutput& output;
    Exporter& exporter;
    FindBar& find_bar;
  };
  // The window's panels are there.
  Menus(QMainWindow& window, const Parts& parts);

  // What can be done now.
  void Update(bool idle);
  // Marks what holds of a page.
  void Mark(const Page& page);
  // Gives a page the menus of its parts.
  void Serve(const Page& page);
  bool shows_sheet() const;
  bool shows_plot() const;
  bool fits() const;

 signals:
  // Other parts of a page are to be seen.
  void Changed();

 private:
  void MakeFile();
  void MakeEdit();
  void MakeView();
  void MakeHelpAndTools();
  QAction* Add(QMenu& menu, const QString& text, const QKeySequence& keys,
               std::function<void()> does);
  // An action that needs a sheet and an idle library.
  QAction* AddForSheet(QMenu& menu, const QString& text, const QKeySequence& keys,
                       std::function<void()> does);
  void Write(bool only_selected);
  Page& page() const;

  QMainWindow& window_;
  Parts parts_;
  QMenu* recent_;
  QAction* open_;
  QAction* again_;
  QAction* choose_;
  QAction* kept_rules_;
  QAction* close_;
  QAction* write_;
  QAction* find_;
  QAction* go_to_;
  QAction* copy_plot_;
  QAction* shows_sheet_;
  QAction* shows_plot_;
  QAction* reverse_;
  QAction* whole_;
  QAction* fits_;
  QAction* settings_;
  LookMenu* look_;
  QMenu* overlays_;
  std::vector<QAction*> writing_;
  std::vector<QAction*> drawing_;
  std::vector<QAction*> of_sheet_;  // of the menu that opens there
  std::vector<QAction*> of_plot_;
  std::vector<QAction*> for_sheet_;
};

}  // namespace nvimport
