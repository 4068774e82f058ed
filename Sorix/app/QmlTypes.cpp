#include "QmlTypes.h"

#include <QQmlEngine>
#include <QVariantMap>

#include "BoostCardRules.h"
#include "DesktopActions.h"
#include "EQCardRules.h"
#include "EQControls.h"
#include "EngineAdaptor.h"
#include "LogoBars.h"
#include "OutputCardRules.h"
#include "OutputMenuAdaptor.h"
#include "PanelState.h"
#include "QtText.h"

namespace sorix {

double PanelRules::sliderValue(double fraction, double cap) const {
    return BoostCardRules::sliderValue(fraction, cap > 0 ? std::optional(cap) : std::nullopt);
}

double PanelRules::sliderFraction(double value) const {
    return BoostCardRules::sliderFraction(value);
}

double PanelRules::scaleLabelCentre(double value, double width) const {
    return BoostCardRules::scaleLabelCentre(value, width);
}

QString PanelRules::percentText(double value) const {
    return QString::fromStdString(BoostCardRules::percentText(value));
}

QVariantList PanelRules::logoBars() const {
    QVariantList bars;
    for (const auto* group : {&LogoBars::left, &LogoBars::right}) {
        for (const LogoBar& bar : *group) {
            bars.push_back(
                QVariantMap{{"x", bar.x}, {"y", bar.y}, {"w", bar.w}, {"h", bar.h}, {"r", bar.r}});
        }
    }
    return bars;
}

double PanelRules::logoDesignSize() const { return LogoBars::designSize; }

QVariantList PanelRules::presets() const {
    QVariantList presets;
    for (const EQProcessor::Preset preset : EQProcessor::allPresets) {
        if (preset == EQProcessor::Preset::custom) continue;
        presets.push_back(QVariantMap{{"rawValue", qString(EQProcessor::rawValue(preset))},
                                      {"title", qString(EQProcessor::title(preset))},
                                      {"symbol", qString(EQProcessor::symbolName(preset))}});
    }
    return presets;
}

QStringList PanelRules::bandLabels() const {
    QStringList labels;
    for (const std::string_view label : EQProcessor::bandLabels)
        labels.push_back(qString(label));
    return labels;
}

double PanelRules::maxBandGain() const { return EQCardRules::maxGain; }

double PanelRules::curveScaleDB() const { return EQCardRules::curveScaleDB; }

double PanelRules::maxDelayMs() const { return OutputCardRules::maxDelayMs; }

QList<double> PanelRules::presetGains(const QString& rawValue) const {
    QList<double> gains;
    for (const float gain : EQProcessor::gains(storedPreset(rawValue.toStdString())))
        gains.push_back(static_cast<double>(gain));
    return gains;
}

QString PanelRules::presetTitle(const QString& rawValue) const {
    return qString(EQProcessor::title(storedPreset(rawValue.toStdString())));
}

double PanelRules::bandGainAt(double y, double height, double maxGain) const {
    return EQCardRules::bandGainAt(y, height, maxGain);
}

QString PanelRules::gainText(double gain) const {
    return QString::fromStdString(EQCardRules::gainText(gain));
}

QList<double> PanelRules::responseCurve(const QList<double>& gains) const {
    std::vector<float> values;
    for (const double gain : gains)
        values.push_back(static_cast<float>(gain));
    QList<double> curve;
    for (const float point : EQCardRules::responseCurve(values))
        curve.push_back(static_cast<double>(point));
    return curve;
}

double PanelRules::curvePosition(double hz) const { return EQCardRules::curvePosition(hz); }

double PanelRules::volumeAt(double x, double width) const {
    return OutputCardRules::volumeAt(x, width);
}

QString PanelRules::volumeText(double volume) const {
    return QString::fromStdString(OutputCardRules::volumeText(volume));
}

double PanelRules::delayAt(double x, double width) const {
    return OutputCardRules::delayAt(x, width);
}

double PanelRules::delayStepped(double delayMs, int steps) const {
    return OutputCardRules::delayStepped(delayMs, steps);
}

QString PanelRules::delayText(double delayMs) const {
    return QString::fromStdString(OutputCardRules::delayText(delayMs));
}

void registerPanelQmlTypes() {
    static bool registered = false;
    if (registered) return;
    registered = true;
    constexpr const char* uri = "Sorix.Panel";
    qmlRegisterSingletonType<PanelRules>(
        uri, 1, 0, "PanelRules",
        [](QQmlEngine*, QJSEngine*) -> QObject* { return new PanelRules; });
    qmlRegisterUncreatableType<PanelState>(uri, 1, 0, "PanelState",
                                           "the panel state comes from the application");
    qmlRegisterUncreatableType<EngineAdaptor>(uri, 1, 0, "EngineAdaptor",
                                              "the engine comes from the application");
    qmlRegisterUncreatableType<OutputMenuAdaptor>(uri, 1, 0, "OutputMenuAdaptor",
                                                  "the output menu comes from the application");
    qmlRegisterUncreatableType<DesktopActions>(uri, 1, 0, "DesktopActions",
                                               "the desktop's actions come from the application");
}

}  // namespace sorix
