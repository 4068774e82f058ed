#include "QmlTypes.h"

#include <QQmlEngine>
#include <QVariantMap>

#include "BoostCardRules.h"
#include "DesktopActions.h"
#include "EngineAdaptor.h"
#include "LogoBars.h"
#include "PanelState.h"

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
    qmlRegisterUncreatableType<DesktopActions>(uri, 1, 0, "DesktopActions",
                                               "the desktop's actions come from the application");
}

}  // namespace sorix
