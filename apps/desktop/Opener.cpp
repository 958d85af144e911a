#include "apps/desktop/Opener.h"

#include <QMessageBox>
#include <algorithm>
#include <utility>

#include "apps/desktop/DatabaseDialog.h"
#include "apps/desktop/FileDialogs.h"
#include "apps/desktop/FileNames.h"
#include "apps/desktop/Jobs.h"
#include "apps/desktop/RecentFiles.h"
#include "apps/desktop/Settings.h"
#include "apps/desktop/Trouble.h"
#include "apps/desktop/WindowDialogs.h"
#include "nvimport/hosting/batch/FileWalk.h"
#include "nvimport/hosting/import/Complete.h"
#include "nvimport/hosting/import/DatabaseSource.h"
#include "nvimport/hosting/import/Detecting.h"

namespace nvimport {

namespace {

constexpr const char* kKeptRules = "kept-rules";

// As chosen last, or as the environment has it.
bool KeptRules() {
  bool kept = false;
  static_cast<void>(TakeRulesOfEnvironment(kept));
  return Settings().value(kKeptRules, kept).toBool();
}

}  // namespace

Opener::Opener(QWidget& window, Jobs& jobs, WindowDialogs& dialogs,
               std::function<void(OpenResult)> shows)
    : QObject(&window),
      window_(window),
      jobs_(jobs),
      dialogs_(dialogs),
      shows_(std::move(shows)),
      kept_rules_(KeptRules()) {}

void Opener::SetKeptRules(bool kept) {
  kept_rules_ = kept;
  Settings().setValue(kKeptRules, kept);
}

void Opener::Choose(bool each) {
  if (jobs_.Refuses()) return;
  const auto files = AskFiles(&window_);
  if (!files) return;
  each ? OpenEach(files->paths) : OpenFiles(files->paths, files->filter);
}

void Opener::OpenFiles(const QStringList& paths, std::optional<int> filter) {
  if (paths.isEmpty()) return;
  OpenRequest request;
  request.files = Paths(paths);
  request.filter = filter.value_or(0) + 1;
  request.kept_rules = kept_rules_;
  Start(request, filter.has_value());
}

void Opener::OpenEach(const QStringList& paths) {
  queue_.insert(queue_.end(), paths.begin(), paths.end());
  OpenNext();
}

void Opener::OpenDropped(const QStringList& paths) {
  const std::vector<std::string> dropped = Paths(paths);
  if (std::ranges::none_of(dropped, IsFolderOfFiles)) return OpenFiles(paths);
  jobs_.Run(
      tr("Looking for files"),
      [report = jobs_.Reporting(), dropped, kept_rules = kept_rules_] {
        QStringList files;
        for (const std::string& path : dropped) {
          if (!IsFolderOfFiles(path)) {
            files.push_back(ShownPath(path));
            continue;
          }
          for (const std::string& below : FileWalk({.is_recursive = true}).Find(path).files) {
            if (!report(0, 0)) return QStringList();
            const std::string file = PathBelow(path, below);
            if (IsReadable(file, kept_rules)) files.push_back(ShownPath(file));
          }
        }
        return files;
      },
      [this](const QStringList& files) {
        constexpr int kMany = 10;
        if (files.isEmpty()) {
          jobs_.Tell(tr("No file in there can be read."));
        } else if (files.size() <= kMany ||
                   QMessageBox::question(&window_, tr("Open"),
                                         tr("Open %1 files, each in a tab?").arg(files.size())) ==
                       QMessageBox::Yes) {
          OpenEach(files);
        }
      });
}

void Opener::ChooseDatabase() {
  if (databases_ == nullptr) {
    databases_ = new DatabaseDialog(&window_, jobs_, dialogs_);
    connect(databases_, &DatabaseDialog::Wanted, this, &Opener::OpenDatabase);
  }
  databases_->show();
  databases_->activateWindow();
}

void Opener::OpenDatabase(const DatabaseQuery& query) {
  OpenRequest request;
  request.files = {DatabaseSource::Shown(query.name)};
  request.kept_rules = kept_rules_;
  request.database = query;
  Start(request, false);
}

void Opener::OpenNext() {
  if (queue_.empty() || jobs_.busy()) return;
  const QString path = queue_.front();
  queue_.pop_front();
  OpenFiles({path});
}

void Opener::ReadAgain(const OpenResult& last) {
  OpenRequest request = last.again;
  request.kept_rules = kept_rules_;
  Start(request, false);
}

void Opener::ChooseAgain(const OpenResult& last) {
  OpenRequest request;
  request.files = last.again.files;
  request.format = last.again.format;
  request.kept_rules = last.again.kept_rules;
  request.text = last.again.text;
  request.database = last.again.database;
  request.chooses = last.reads_unasked;
  Start(request, false);
}

void Opener::Start(const OpenRequest& request, bool remembers) {
  jobs_.Run(
      tr("Reading %1").arg(NameOf(request.files)),
      [this, request] { return Open(request, dialogs_, jobs_.library().progress()); },
      [this, remembers](OpenResult result) { Take(std::move(result), remembers); });
}

void Opener::Take(OpenResult result, bool remembers) {
  if (result.sheet == nullptr) {
    // What was to follow one that is cancelled is not wanted either.
    if (!result.trouble) queue_.clear();
    emit Failed();
    result.trouble ? ShowTrouble(&window_, *result.trouble)
                   : jobs_.Tell(tr("Nothing was imported."));
    return OpenNext();
  }
  const OpenRequest& again = result.again;
  if (remembers) {
    // The first filter and the last one take every type.
    int first = 0;
    const bool any = again.filter == 1 || again.filter == OpenFilters(first).size();
    RememberFormat(any ? 0 : again.format);
  }
  if (!again.database) RecentFiles::Remember(again.files);
  shows_(std::move(result));
}

}  // namespace nvimport
