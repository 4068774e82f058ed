#pragma once

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <memory>
#include <nlohmann/json.hpp>

#include "AppDelegate.h"
#include "DesktopActions.h"
#include "OutputMenuAdaptor.h"
#include "PanelWindow.h"

namespace sorix {

// Sorix on a desktop: the tray icon, and the panel that a click on it opens and closes. Without
// a tray the panel opens at once in the top-right corner of the screen and stays open.
class DesktopShell : public QObject {
    Q_OBJECT

  public:
    explicit DesktopShell(AppDelegate& delegate, QObject* parent = nullptr);
    ~DesktopShell() override;

    // The tray icon's click: opens the panel, or closes it with the fade.
    void togglePanel();
    PanelWindow& panel() { return *panel_; }

  private:
    void showPanel();
    QPoint panelPosition() const;
    // With SORIX_PANEL_LAYOUT_FILE set, the desktop tests learn from that file where the named
    // parts of the shown panel are on the screen, to click them as a user would.
    void reportLayout() const;
    // Beside it, in "<file>.menu": the output menu's items and where each is on the screen.
    static void reportMenu(const QMenu& menu);
    static void writeReport(const std::string& suffix, const nlohmann::json& report);
    // The output menu as a native menu; the panel stays open while it is.
    void popUpOutputMenu(const std::vector<OutputMenuItem>& items, QPoint where);

    AppDelegate& delegate_;
    DesktopActions actions_;
    OutputMenuAdaptor outputMenu_;
    std::unique_ptr<PanelWindow> panel_;
    std::unique_ptr<QSystemTrayIcon> tray_;
    QPoint clickPoint_;
};

}  // namespace sorix
