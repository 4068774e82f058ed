#pragma once

#include <QSocketNotifier>
#include <functional>
#include <initializer_list>
#include <memory>
#include <vector>

namespace sorix {

// Turns stop signals into one call on the Qt main thread, so that a stopped Sorix takes its
// pipeline down like a quitting one. The handler only writes the signal's number to a socket;
// the main thread reads it. Once the call has been made the signals are back to their default
// action, so a second Ctrl-C ends a shut-down that hangs. One bridge at a time.
class SignalBridge {
  public:
    SignalBridge(std::initializer_list<int> stopSignals, std::function<void(int signal)> onSignal);
    ~SignalBridge();
    SignalBridge(const SignalBridge&) = delete;
    SignalBridge& operator=(const SignalBridge&) = delete;

  private:
    void received();
    void restoreDefaults();

    std::vector<int> signals_;
    std::function<void(int)> onSignal_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace sorix
