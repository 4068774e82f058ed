#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace sorix {

// Turns SIGINT and SIGTERM into a call on the Qt main thread, so that a stopped Sorix shuts its
// pipeline down like a quitting one. The handler itself only writes one byte to a socket.
class SignalBridge : public QObject {
  public:
    explicit SignalBridge(std::function<void(int signal)> onSignal);
    ~SignalBridge() override;

  private:
    std::function<void(int)> onSignal_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace sorix
