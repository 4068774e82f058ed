#pragma once

#include <QObject>
#include <QString>
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

  public:
    explicit EngineAdaptor(std::shared_ptr<TapEngine> engine, QObject* parent = nullptr);
    ~EngineAdaptor() override;

    TapEngine& engine() { return *engine_; }

    bool isOn() const;
    bool isActive() const;
    QString outputTitle() const;
    QString outputSubtitle() const;
    bool severalOutputs() const;

    Q_INVOKABLE void start() { engine_->start(); }
    Q_INVOKABLE void stop() { engine_->stop(); }
    // The output peak of the render path's last cycle, for the level display.
    Q_INVOKABLE double latestOutputPeak() const;
    // Scans the outputs again (the default output may have changed meanwhile).
    Q_INVOKABLE void refreshOutputs();

  Q_SIGNALS:
    void stateChanged();
    void outputsChanged();

  private:
    std::shared_ptr<TapEngine> engine_;
    Published<TapEngine::State>::Token stateToken_;
    Published<std::vector<std::string>>::Token selectionToken_;
    Published<std::vector<OutputDevice>>::Token catalogueToken_;
};

}  // namespace sorix
