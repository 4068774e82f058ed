#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantList>

namespace sorix {

// The rules the panel's views draw by, for QML: the boost slider's scale, the logo's bars, the
// equaliser card's presets, sliders and curve, and the output rows' bars. One instance, as the
// singleton "PanelRules" of the module Sorix.Panel.
class PanelRules : public QObject {
    Q_OBJECT
    // The logo's bars in its 1254-unit design space: each a map of x, y, w, h, r.
    Q_PROPERTY(QVariantList logoBars READ logoBars CONSTANT)
    Q_PROPERTY(double logoDesignSize READ logoDesignSize CONSTANT)
    // The six fixed presets in the grid's order: each a map of rawValue, title and symbol.
    Q_PROPERTY(QVariantList presets READ presets CONSTANT)
    // "100" ... "10K", one per band.
    Q_PROPERTY(QStringList bandLabels READ bandLabels CONSTANT)
    Q_PROPERTY(double maxBandGain READ maxBandGain CONSTANT)
    Q_PROPERTY(double curveScaleDB READ curveScaleDB CONSTANT)
    Q_PROPERTY(double maxDelayMs READ maxDelayMs CONSTANT)

  public:
    using QObject::QObject;

    // The boost a drag to `fraction` of the slider's track sets; `cap` 0 is none.
    Q_INVOKABLE double sliderValue(double fraction, double cap) const;
    // Where a boost sits on the track, as a fraction of its width.
    Q_INVOKABLE double sliderFraction(double value) const;
    // Where the scale label of `value` is centred on a track `width` wide.
    Q_INVOKABLE double scaleLabelCentre(double value, double width) const;
    // "250" for 2.5.
    Q_INVOKABLE QString percentText(double value) const;

    // The equaliser card.
    // The six gains a preset stands for; the custom setting's are the stored ones.
    Q_INVOKABLE QList<double> presetGains(const QString& rawValue) const;
    Q_INVOKABLE QString presetTitle(const QString& rawValue) const;
    // The gain a drag `y` down a band slider `height` high sets.
    Q_INVOKABLE double bandGainAt(double y, double height, double maxGain) const;
    Q_INVOKABLE QString gainText(double gain) const;
    // The equaliser's response to `gains` in dB, the curve's points from 20 Hz to 20 kHz.
    Q_INVOKABLE QList<double> responseCurve(const QList<double>& gains) const;
    // Where `hz` lies across the curve, from 0 to 1.
    Q_INVOKABLE double curvePosition(double hz) const;

    // The output card's rows.
    Q_INVOKABLE double volumeAt(double x, double width) const;
    Q_INVOKABLE QString volumeText(double volume) const;
    Q_INVOKABLE double delayAt(double x, double width) const;
    Q_INVOKABLE double delayStepped(double delayMs, int steps) const;
    Q_INVOKABLE QString delayText(double delayMs) const;

    QVariantList logoBars() const;
    double logoDesignSize() const;
    QVariantList presets() const;
    QStringList bandLabels() const;
    double maxBandGain() const;
    double curveScaleDB() const;
    double maxDelayMs() const;
};

// Registers the module Sorix.Panel: the PanelRules singleton, and the panel state and engine
// adaptor as types that QML receives but never creates. Once per process, before any QML loads.
void registerPanelQmlTypes();

}  // namespace sorix
