#pragma once

#include <QObject>
#include <QPoint>
#include <QString>
#include <QStringList>
#include <filesystem>
#include <memory>
#include <vector>

#include "DesktopActions.h"
#include "EngineAdaptor.h"
#include "FakeAudioHardware.h"
#include "ManualMainQueue.h"
#include "OutputMenuAdaptor.h"
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
    Q_PROPERTY(QObject* outputMenu READ outputMenu CONSTANT)

  public:
    PopoverTestRig();
    ~PopoverTestRig() override;

    QObject* panel() { return panel_.get(); }
    QObject* engine() { return adaptor_.get(); }
    QObject* desktop() { return desktop_.get(); }
    QObject* outputMenu() { return outputMenu_.get(); }

    // Starts afresh: default settings, a working audio system, the engine off.
    Q_INVOKABLE void reset();
    // Every build of a pipeline fails from now on.
    Q_INVOKABLE void breakTheAudioSystem();
    // Runs what is due on the virtual clock, `seconds` of it.
    Q_INVOKABLE void advance(double seconds);
    Q_INVOKABLE QString state() const;

    // The outputs: one more device (the speakers are always there, and the default), pinning
    // one, and what the engine holds for each.
    Q_INVOKABLE void addOutput(const QString& uid, const QString& name, bool bluetooth);
    Q_INVOKABLE void pin(const QString& uid);
    Q_INVOKABLE QStringList selection() const;
    Q_INVOKABLE double outputVolume(const QString& uid) const;
    Q_INVOKABLE double outputDelay(const QString& uid) const;
    Q_INVOKABLE bool volumesLinked() const;

    // The output menu last popped up, "[x] " before the title of a checked item and "---" for a
    // separator, and where it opened in the scene; and a choice in it.
    Q_INVOKABLE QStringList menu() const;
    Q_INVOKABLE QPoint menuPoint() const { return menuPoint_; }
    Q_INVOKABLE void pickMenuItem(int index);

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
    std::unique_ptr<OutputMenuAdaptor> outputMenu_;
    std::vector<AudioObjectID> addedOutputs_;
    std::vector<OutputMenuItem> menu_;
    QPoint menuPoint_;
};

}  // namespace sorix::testing
