#pragma once

#include <QList>
#include <QObject>
#include <QString>

#include "EngineAdaptor.h"
#include "SettingsStore.h"

namespace sorix {

// The panel's state and the one place where its settings reach the engine. The five panel keys
// are properties backed by the settings store: a write is stored at once, and every view bound to
// the key follows. Beside them: which card the middle of the panel shows, what the cards derive
// from the keys, and the actions of the cards. Main thread only.
class PanelState : public QObject {
    Q_OBJECT
    Q_PROPERTY(double volumeBoost READ volumeBoost WRITE setVolumeBoost NOTIFY volumeBoostChanged)
    Q_PROPERTY(bool boostActive READ boostActive WRITE setBoostActive NOTIFY boostActiveChanged)
    Q_PROPERTY(bool safeMode READ safeMode WRITE setSafeMode NOTIFY safeModeChanged)
    Q_PROPERTY(QString eqPreset READ eqPreset WRITE setEqPreset NOTIFY eqPresetChanged)
    Q_PROPERTY(
        QString customEQGains READ customEQGains WRITE setCustomEQGains NOTIFY customEQGainsChanged)

    // Which card the middle of the panel shows; the confirmation wins over the equaliser.
    Q_PROPERTY(bool showSafeConfirm READ showSafeConfirm NOTIFY cardChanged)
    Q_PROPERTY(bool showEQ READ showEQ NOTIFY cardChanged)

    // What the boost card shows.
    Q_PROPERTY(double effectiveBoost READ effectiveBoost NOTIFY boostDisplayChanged)
    Q_PROPERTY(QString percentText READ percentText NOTIFY boostDisplayChanged)
    Q_PROPERTY(QString subtitle READ subtitle NOTIFY boostDisplayChanged)
    Q_PROPERTY(bool subtitleWarns READ subtitleWarns NOTIFY boostDisplayChanged)
    Q_PROPERTY(QString limiterTitle READ limiterTitle NOTIFY boostDisplayChanged)
    Q_PROPERTY(QString limiterSubtitle READ limiterSubtitle NOTIFY boostDisplayChanged)
    Q_PROPERTY(bool limiterWarns READ limiterWarns NOTIFY boostDisplayChanged)
    // The slider's highest value: 2 in Safe Mode, else 0 for none.
    Q_PROPERTY(double sliderCap READ sliderCap NOTIFY boostDisplayChanged)
    // The chosen preset, as the equaliser button names it, and whether it is flat.
    Q_PROPERTY(QString presetTitle READ presetTitle NOTIFY eqPresetChanged)
    Q_PROPERTY(bool presetIsFlat READ presetIsFlat NOTIFY eqPresetChanged)
    Q_PROPERTY(QList<double> customGains READ customGains NOTIFY customEQGainsChanged)

  public:
    PanelState(SettingsStore& settings, EngineAdaptor& engine, QObject* parent = nullptr);

    double volumeBoost() const;
    void setVolumeBoost(double value);
    bool boostActive() const;
    void setBoostActive(bool value);
    bool safeMode() const;
    void setSafeMode(bool value);
    QString eqPreset() const;
    void setEqPreset(const QString& value);
    QString customEQGains() const;
    void setCustomEQGains(const QString& value);

    bool showSafeConfirm() const { return showSafeConfirm_; }
    bool showEQ() const { return showEQ_; }

    double effectiveBoost() const;
    QString percentText() const;
    QString subtitle() const;
    bool subtitleWarns() const;
    QString limiterTitle() const;
    QString limiterSubtitle() const;
    bool limiterWarns() const;
    double sliderCap() const;
    QString presetTitle() const;
    bool presetIsFlat() const;
    QList<double> customGains() const;

    // Each time the panel appears: Safe Mode's cap on the stored boost, the snapshot's card,
    // boost and equaliser to the engine, a fresh output scan, and a start if the switch is on.
    Q_INVOKABLE void appear();
    // The boost and the equaliser setting, handed to the engine.
    Q_INVOKABLE void applyBoost();
    Q_INVOKABLE void applyEQ();

    // The cards' actions.
    Q_INVOKABLE void setBoostFromSlider(double value);
    Q_INVOKABLE void openEQ();
    Q_INVOKABLE void closeEQ();
    Q_INVOKABLE void toggleSafeMode();
    Q_INVOKABLE void disableSafeMode();
    Q_INVOKABLE void keepSafeMode();
    Q_INVOKABLE void selectPreset(const QString& rawValue);
    Q_INVOKABLE void changeCustomGains(const QList<double>& gains);
    // The header's switch: stored, then the engine started or stopped.
    Q_INVOKABLE void setMasterSwitch(bool on);

  Q_SIGNALS:
    void volumeBoostChanged();
    void boostActiveChanged();
    void safeModeChanged();
    void eqPresetChanged();
    void customEQGainsChanged();
    void cardChanged();
    void boostDisplayChanged();

  private:
    void setCard(bool showSafeConfirm, bool showEQ);

    SettingsStore& settings_;
    EngineAdaptor& engine_;
    bool showSafeConfirm_ = false;
    bool showEQ_ = false;
};

}  // namespace sorix
