#pragma once

#include <QPropertyAnimation>
#include <QQuickView>

namespace sorix {

// The panel: a frameless, always-on-top window of its content's size that hangs under the tray
// icon. It takes the keyboard when shown; Escape and the focus moving to another window close it
// with a 0.35 s fade, during which a second click on the icon is ignored. Without a tray nothing
// could bring it back, so then it stays open.
class PanelWindow : public QQuickView {
    Q_OBJECT

  public:
    // `compositing`: whether the desktop draws transparency, so corners can be round.
    explicit PanelWindow(bool compositing);

    // Whether Escape and a loss of focus close the panel.
    void setDismissible(bool dismissible) { dismissible_ = dismissible; }
    // While something of the panel's own has the focus (its menu), a loss of focus is not a
    // click elsewhere.
    void setHoldOpen(bool hold) { holdOpen_ = hold; }

    // Shows the panel with its top-left corner there, opaque, on top, with the focus.
    void present(const QPoint& topLeft);
    void closeWithFade();
    bool isFadingOut() const { return fadingOut_; }

  Q_SIGNALS:
    void closed();

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void focusChanged();

    QPropertyAnimation fade_;
    bool dismissible_ = true;
    bool holdOpen_ = false;
    bool fadingOut_ = false;
    bool wasActive_ = false;
};

// Whether the X11 screen has a compositing manager (one owns the _NET_WM_CM_S0 selection).
bool desktopComposites();

}  // namespace sorix
