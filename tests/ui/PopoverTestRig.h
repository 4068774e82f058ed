#pragma once

#include <QObject>
#include <QString>
#include <filesystem>
#include <memory>

#include "DesktopActions.h"
#include "EngineAdaptor.h"
#include "FakeAudioHardware.h"
#include "ManualMainQueue.h"
#include "PanelState.h"
#include "SettingsStore.h"

namespace sorix::testing {

// A real engine on the fake audio system and a virtual clock, with the panel state and the
// desktop actions the panel is built on, for tests of the whole panel's view. QML reaches it as
// `rig`.
class PopoverTestRig : public QObject {
    Q_OBJECT
    Q_PROPERTY(QObject* panel READ panel CONSTANT)
    Q_PROPERTY(QObject* engine READ engine CONSTANT)
    Q_PROPERTY(QObject* desktop READ desktop CONSTANT)

  public:
    PopoverTestRig();
    ~PopoverTestRig() override;

    QObject* panel() { return panel_.get(); }
    QObject* engine() { return adaptor_.get(); }
    QObject* desktop() { return desktop_.get(); }

    // Starts afresh: default settings, a working audio system, the engine off.
    Q_INVOKABLE void reset();
    // Every build of a pipeline fails from now on.
    Q_INVOKABLE void breakTheAudioSystem();
    // Runs what is due on the virtual clock, `seconds` of it.
    Q_INVOKABLE void advance(double seconds);
    Q_INVOKABLE QString state() const;
    Q_INVOKABLE double engineBoost() const;

  private:
    std::filesystem::path folder_;
    ManualMainQueue queue_;
    std::unique_ptr<FakeAudioHardware> hardware_;
    MemorySettingsStore settings_;
    std::unique_ptr<AudioCapturePermission> permission_;
    std::shared_ptr<TapEngine> engine_;
    std::unique_ptr<EngineAdaptor> adaptor_;
    std::unique_ptr<PanelState> panel_;
    std::unique_ptr<DesktopActions> desktop_;
};

}  // namespace sorix::testing
