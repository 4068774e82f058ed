#include "PanelState.h"

#include <vector>

#include "BoostCardRules.h"
#include "BoostRange.h"
#include "EQControls.h"
#include "QtText.h"
#include "SettingsKeys.h"
#include "SorixRuntime.h"

namespace sorix {

PanelState::PanelState(SettingsStore& settings, EngineAdaptor& engine, QObject* parent)
    : QObject(parent), settings_(settings), engine_(engine) {
    connect(this, &PanelState::volumeBoostChanged, this, &PanelState::boostDisplayChanged);
    connect(this, &PanelState::safeModeChanged, this, &PanelState::boostDisplayChanged);
}

double PanelState::volumeBoost() const {
    return settings_.number(SettingsKeys::volumeBoost).value_or(SettingsKeys::volumeBoostDefault);
}

void PanelState::setVolumeBoost(double value) {
    settings_.setDouble(SettingsKeys::volumeBoost, value);
    Q_EMIT volumeBoostChanged();
}

bool PanelState::boostActive() const {
    return settings_.boolean(SettingsKeys::boostActive).value_or(SettingsKeys::boostActiveDefault);
}

void PanelState::setBoostActive(bool value) {
    settings_.setBool(SettingsKeys::boostActive, value);
    Q_EMIT boostActiveChanged();
}

bool PanelState::safeMode() const {
    return settings_.boolean(SettingsKeys::safeMode).value_or(SettingsKeys::safeModeDefault);
}

void PanelState::setSafeMode(bool value) {
    settings_.setBool(SettingsKeys::safeMode, value);
    Q_EMIT safeModeChanged();
}

QString PanelState::eqPreset() const {
    return QString::fromStdString(settings_.string(SettingsKeys::eqPreset)
                                      .value_or(std::string(SettingsKeys::eqPresetDefault)));
}

void PanelState::setEqPreset(const QString& value) {
    settings_.setString(SettingsKeys::eqPreset, value.toStdString());
    Q_EMIT eqPresetChanged();
}

QString PanelState::customEQGains() const {
    return QString::fromStdString(settings_.string(SettingsKeys::customEQGains)
                                      .value_or(std::string(SettingsKeys::customEQGainsDefault)));
}

void PanelState::setCustomEQGains(const QString& value) {
    settings_.setString(SettingsKeys::customEQGains, value.toStdString());
    Q_EMIT customEQGainsChanged();
}

double PanelState::effectiveBoost() const {
    return BoostCardRules::effectiveBoost(volumeBoost(), safeMode());
}

QString PanelState::percentText() const {
    return QString::fromStdString(BoostCardRules::percentText(effectiveBoost()));
}

QString PanelState::subtitle() const {
    return QString::fromStdString(BoostCardRules::subtitle(volumeBoost(), safeMode()));
}

bool PanelState::subtitleWarns() const {
    return BoostCardRules::subtitleWarns(volumeBoost(), safeMode());
}

QString PanelState::limiterTitle() const {
    return QString::fromStdString(BoostCardRules::limiterRow(safeMode(), volumeBoost()).title);
}

QString PanelState::limiterSubtitle() const {
    return QString::fromStdString(BoostCardRules::limiterRow(safeMode(), volumeBoost()).subtitle);
}

bool PanelState::limiterWarns() const {
    return BoostCardRules::limiterRow(safeMode(), volumeBoost()).warns;
}

double PanelState::sliderCap() const { return safeMode() ? BoostRange::safeModeCap : 0.0; }

QString PanelState::presetTitle() const {
    return qString(EQProcessor::title(storedPreset(eqPreset().toStdString())));
}

bool PanelState::presetIsFlat() const {
    return storedPreset(eqPreset().toStdString()) == EQProcessor::Preset::flat;
}

QList<double> PanelState::customGains() const {
    QList<double> gains;
    for (const float gain : parseCustomEQGains(customEQGains().toStdString()))
        gains.push_back(static_cast<double>(gain));
    return gains;
}

void PanelState::setCard(bool showSafeConfirm, bool showEQ) {
    if (showSafeConfirm == showSafeConfirm_ && showEQ == showEQ_) return;
    showSafeConfirm_ = showSafeConfirm;
    showEQ_ = showEQ;
    Q_EMIT cardChanged();
}

void PanelState::appear() {
    if (safeMode() && volumeBoost() > BoostRange::safeModeCap)
        setVolumeBoost(BoostRange::safeModeCap);
    if (SorixRuntime::snapshotShowsEQ) setCard(showSafeConfirm_, true);
    applyBoost();
    applyEQ();
    engine_.engine().refreshAvailableOutputs();
    engine_.engine().refreshDeviceVolumes();
    if (boostActive()) engine_.start();
}

void PanelState::applyBoost() {
    engine_.engine().loudness().setBoost(BoostRange::effective(volumeBoost(), safeMode()));
}

void PanelState::applyEQ() {
    const EQProcessor::Preset preset = storedPreset(eqPreset().toStdString());
    if (preset == EQProcessor::Preset::custom) {
        const auto gains = parseCustomEQGains(customEQGains().toStdString());
        engine_.engine().setEQGains(gains);
    } else {
        engine_.engine().setEQPreset(preset);
    }
}

void PanelState::setBoostFromSlider(double value) {
    setVolumeBoost(value);
    applyBoost();
}

void PanelState::openEQ() { setCard(showSafeConfirm_, true); }

void PanelState::closeEQ() { setCard(showSafeConfirm_, false); }

void PanelState::toggleSafeMode() {
    if (safeMode()) {
        // Lifting the cap needs the user's confirmation.
        setCard(true, showEQ_);
        return;
    }
    setSafeMode(true);
    if (volumeBoost() > BoostRange::safeModeCap) setVolumeBoost(BoostRange::safeModeCap);
    applyBoost();
}

void PanelState::disableSafeMode() {
    setSafeMode(false);
    setCard(false, showEQ_);
    applyBoost();
}

void PanelState::keepSafeMode() { setCard(false, showEQ_); }

void PanelState::selectPreset(const QString& rawValue) {
    setEqPreset(rawValue);
    applyEQ();
}

void PanelState::changeCustomGains(const QList<double>& gains) {
    std::vector<float> values;
    for (const double gain : gains)
        values.push_back(static_cast<float>(gain));
    setCustomEQGains(QString::fromStdString(formatCustomEQGains(values)));
    engine_.engine().setEQGains(values);
}

void PanelState::setMasterSwitch(bool on) {
    setBoostActive(on);
    on ? engine_.start() : engine_.stop();
}

}  // namespace sorix
