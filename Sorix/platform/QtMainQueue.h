#pragma once

#include <QObject>

#include "MainQueue.h"

namespace sorix {

// The main queue on Qt's event loop (QtCore only, no display needed). Tasks run in the thread of
// the context object, which is the application object by default.
class QtMainQueue : public MainQueue {
  public:
    explicit QtMainQueue(QObject* context = nullptr);

    void async(Task task) override;
    void asyncAfter(double seconds, Task task) override;
    std::unique_ptr<Timer> repeating(double intervalSeconds, Task task) override;
    double now() const override;

  private:
    bool onMainThread() const;

    QObject* context_;
};

}  // namespace sorix
