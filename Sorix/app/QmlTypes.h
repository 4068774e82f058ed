#pragma once

#include <QObject>
#include <QString>
#include <QVariantList>

namespace sorix {

// The rules the panel's views draw by, for QML: the boost slider's scale and the logo's bars.
// One instance, as the singleton "PanelRules" of the module Sorix.Panel.
class PanelRules : public QObject {
    Q_OBJECT
    // The logo's bars in its 1254-unit design space: each a map of x, y, w, h, r.
    Q_PROPERTY(QVariantList logoBars READ logoBars CONSTANT)
    Q_PROPERTY(double logoDesignSize READ logoDesignSize CONSTANT)

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

    QVariantList logoBars() const;
    double logoDesignSize() const;
};

// Registers the module Sorix.Panel: the PanelRules singleton, and the panel state and engine
// adaptor as types that QML receives but never creates. Once per process, before any QML loads.
void registerPanelQmlTypes();

}  // namespace sorix
