// Runs the panel's views under Qt Quick Test, with the types the application registers.
#include <QtQml/qqmlextensionplugin.h>

#include <QQmlContext>
#include <QQmlEngine>
#include <QtPlugin>
#include <QtQuickTest>

#include "PopoverTestRig.h"
#include "QmlTypes.h"

Q_IMPORT_QML_PLUGIN(Sorix_UiPlugin)

class Setup : public QObject {
    Q_OBJECT

  public Q_SLOTS:
    void qmlEngineAvailable(QQmlEngine* engine) {
        sorix::registerPanelQmlTypes();
        engine->addImportPath(QStringLiteral("qrc:/"));
        engine->rootContext()->setContextProperty(QStringLiteral("rig"), &rig_);
    }

  private:
    sorix::testing::PopoverTestRig rig_;
};

QUICK_TEST_MAIN_WITH_SETUP(sorix_ui, Setup)

#include "main.moc"
