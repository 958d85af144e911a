#include "apps/desktop/LibraryThread.h"

#include <malloc.h>

#include <utility>

#include "nvimport/hosting/Thrown.h"
#include "nvimport/qt-dialogs/Text.h"

namespace nvimport {

LibraryThread::LibraryThread(QObject* parent) : QObject(parent) {
  // Sheets are made there and released here: one heap for both gives their memory back to the next.
  ::mallopt(M_ARENA_MAX, 1);
  there_.moveToThread(&thread_);
  thread_.start();
}

void LibraryThread::Finish() {
  progress_.Stop();
  thread_.quit();
  thread_.wait();
}

void LibraryThread::Start(std::function<void()> job, std::function<void()> done) {
  Q_ASSERT(!busy_);
  busy_ = true;
  progress_.Begin();
  emit Changed(true);
  QMetaObject::invokeMethod(&there_, [this, job = std::move(job), done = std::move(done)] {
    Progress::Install(&progress_);
    const QString thrown = FromBytes(Thrown(job));
    Progress::Install(nullptr);
    QMetaObject::invokeMethod(this, [this, done, thrown] {
      busy_ = false;
      emit Changed(false);
      if (!thrown.isEmpty()) emit Failed(thrown);
      done();
    });
  });
}

}  // namespace nvimport
