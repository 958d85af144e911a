#include "apps/desktop/LibraryThread.h"

#include <utility>

LibraryThread::LibraryThread(QObject* parent) : QObject(parent) {
  there_.moveToThread(&thread_);
  thread_.start();
}

LibraryThread::~LibraryThread() {
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
    job();
    Progress::Install(nullptr);
    QMetaObject::invokeMethod(this, [this, done] {
      busy_ = false;
      emit Changed(false);
      done();
    });
  });
}

void LibraryThread::RunMeanwhile(std::function<void()> job) {
  QMetaObject::invokeMethod(&there_, std::move(job), Qt::QueuedConnection);
}
