#pragma once

#include <QObject>
#include <QString>
#include <QVariantList>
#include <memory>

#include "TapEngine.h"

namespace sorix {

// The engine as the panel's views see it: its published state as properties that notify, and
// its operations as calls. Lives on the main thread, as the engine does.
class EngineAdaptor : public QObject {
    Q_OBJECT
    // The master switch shows the engine's real state: on while starting or active.
    Q_PROPERTY(bool isOn READ isOn NOTIFY stateChanged)
    // Audio flows: the level display moves only then.
    Q_PROPERTY(bool isActive READ isActive NOTIFY stateChanged)
    // The output card's header: what plays, and whether several outputs do.
    Q_PROPERTY(QString outputTitle READ outputTitle NOTIFY outputsChanged)
    Q_PROPERTY(QString outputSubtitle READ outputSubtitle NOTIFY outputsChanged)
    Q_PROPERTY(bool severalOutputs READ severalOutputs NOTIFY outputsChanged)
    // One row per playing output, in order: each a map of uid, name ("Volume" when it is the
    // only one), volume (1 when unknown) and delayMs (0 when none).
    Q_PROPERTY(QVariantList outputRows READ outputRows NOTIFY outputRowsChanged)
    // Three or more Bluetooth outputs play at once.
    Q_PROPERTY(bool tooManyBluetoothOutputs READ tooManyBluetoothOutputs NOTIFY outputRowsChanged)
    Q_PROPERTY(
        bool volumesLinked READ volumesLinked WRITE setVolumesLinked NOTIFY volumesLinkedChanged)

  public:
    explicit EngineAdaptor(std::shared_ptr<TapEngine> engine, QObject* parent = nullptr);
    ~EngineAdaptor() override;

    TapEngine& engine() { return *engine_; }
    const std::shared_ptr<TapEngine>& sharedEngine() const { return engine_; }

    bool isOn() const;
    bool isActive() const;
    QString outputTitle() const;
    QString outputSubtitle() const;
    bool severalOutputs() const;
    QVariantList outputRows() const;
    bool tooManyBluetoothOutputs() const;
    bool volumesLinked() const;
    void setVolumesLinked(bool linked);

    Q_INVOKABLE void start() { engine_->start(); }
    Q_INVOKABLE void stop() { engine_->stop(); }
    // The output peak of the render path's last cycle, for the level display.
    Q_INVOKABLE double latestOutputPeak() const;
    // Scans the outputs again (the default output may have changed meanwhile).
    Q_INVOKABLE void refreshOutputs();
    // Reads each playing output's own volume again.
    Q_INVOKABLE void refreshDeviceVolumes() { engine_->refreshDeviceVolumes(); }
    // A row's volume; linked volumes follow.
    Q_INVOKABLE void setOutputVolume(const QString& uid, double volume);
    Q_INVOKABLE void setOutputDelay(const QString& uid, double milliseconds);

  Q_SIGNALS:
    void stateChanged();
    void outputsChanged();
    void outputRowsChanged();
    void volumesLinkedChanged();

  private:
    std::shared_ptr<TapEngine> engine_;
    Published<TapEngine::State>::Token stateToken_;
    Published<std::vector<std::string>>::Token selectionToken_;
    Published<std::vector<OutputDevice>>::Token catalogueToken_;
    Published<std::map<std::string, float>>::Token volumesToken_;
    Published<std::map<std::string, double>>::Token delaysToken_;
    Published<bool>::Token linkToken_;
};

}  // namespace sorix
