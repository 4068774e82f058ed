#include "QtMainQueue.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cmath>

namespace sorix {

namespace {

int milliseconds(double seconds) {
    return static_cast<int>(std::lround(std::max(seconds, 0.0) * 1000.0));
}

class QtTimer : public MainQueue::Timer {
  public:
    // Unparented, so the timer goes with its handle and never with the application object.
    QtTimer(double intervalSeconds, MainQueue::Task task) : timer_(new QTimer) {
        timer_->setTimerType(Qt::PreciseTimer);
        QObject::connect(timer_, &QTimer::timeout, timer_, std::move(task));
        timer_->start(std::max(milliseconds(intervalSeconds), 1));
    }
    // A handle may be dropped inside the timer's own tick; the QTimer is deleted once that
    // event has been handled.
    ~QtTimer() override {
        timer_->stop();
        timer_->deleteLater();
    }
    void cancel() override { timer_->stop(); }

  private:
    QTimer* timer_;
};

}  // namespace

QtMainQueue::QtMainQueue(QObject* context)
    : context_(context != nullptr ? context : QCoreApplication::instance()) {}

bool QtMainQueue::onMainThread() const { return QThread::currentThread() == context_->thread(); }

void QtMainQueue::async(Task task) {
    QMetaObject::invokeMethod(context_, std::move(task), Qt::QueuedConnection);
}

void QtMainQueue::asyncAfter(double seconds, Task task) {
    // Qt timers belong to a thread; one posted from elsewhere is started on the main thread.
    if (onMainThread()) {
        QTimer::singleShot(milliseconds(seconds), Qt::PreciseTimer, context_, std::move(task));
        return;
    }
    async([context = context_, seconds, task = std::move(task)]() mutable {
        QTimer::singleShot(milliseconds(seconds), Qt::PreciseTimer, context, std::move(task));
    });
}

std::unique_ptr<MainQueue::Timer> QtMainQueue::repeating(double intervalSeconds, Task task) {
    return std::make_unique<QtTimer>(intervalSeconds, std::move(task));
}

double QtMainQueue::now() const {
    using Seconds = std::chrono::duration<double>;
    return std::chrono::duration_cast<Seconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace sorix
