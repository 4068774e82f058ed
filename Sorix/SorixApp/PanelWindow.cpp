#include "PanelWindow.h"

#include <QtGui/qguiapplication_platform.h>
#include <xcb/xcb.h>

#include <QGuiApplication>
#include <QKeyEvent>
#include <cstdlib>
#include <cstring>

namespace sorix {

namespace {

constexpr int kFadeMilliseconds = 350;

}  // namespace

PanelWindow::PanelWindow(bool compositing) : fade_(this, "opacity") {
    setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    setResizeMode(QQuickView::SizeViewToRootObject);
    if (compositing) {
        QSurfaceFormat surface = format();
        surface.setAlphaBufferSize(8);
        setFormat(surface);
        setColor(Qt::transparent);
    } else {
        setColor(QColor(0x07, 0x0A, 0x12));
    }
    fade_.setDuration(kFadeMilliseconds);
    fade_.setEasingCurve(QEasingCurve::OutCubic);
    fade_.setStartValue(1.0);
    fade_.setEndValue(0.0);
    connect(&fade_, &QPropertyAnimation::finished, this, [this] {
        hide();
        setOpacity(1.0);
        fadingOut_ = false;
        Q_EMIT closed();
    });
    connect(this, &QWindow::activeChanged, this, &PanelWindow::focusChanged);
}

void PanelWindow::present(const QPoint& topLeft) {
    fade_.stop();
    fadingOut_ = false;
    setOpacity(1.0);
    setPosition(topLeft);
    show();
    raise();
    requestActivate();
}

void PanelWindow::closeWithFade() {
    if (!isVisible() || fadingOut_) return;
    fadingOut_ = true;
    fade_.start();
}

void PanelWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && dismissible_) {
        closeWithFade();
        event->accept();
        return;
    }
    QQuickView::keyPressEvent(event);
}

void PanelWindow::focusChanged() {
    // Only the focus going away counts: a panel that has yet to be activated is still opening.
    const bool active = isActive();
    const bool lost = wasActive_ && !active;
    wasActive_ = active;
    if (lost && dismissible_ && !holdOpen_) closeWithFade();
}

bool desktopComposites() {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (x11 == nullptr || x11->connection() == nullptr) return false;
    xcb_connection_t* connection = x11->connection();
    const char* name = "_NET_WM_CM_S0";
    const auto atomCookie =
        xcb_intern_atom(connection, 1, static_cast<uint16_t>(std::strlen(name)), name);
    xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(connection, atomCookie, nullptr);
    if (atom == nullptr) return false;
    const auto ownerCookie = xcb_get_selection_owner(connection, atom->atom);
    std::free(atom);
    xcb_get_selection_owner_reply_t* owner =
        xcb_get_selection_owner_reply(connection, ownerCookie, nullptr);
    const bool owned = owner != nullptr && owner->owner != XCB_NONE;
    std::free(owner);
    return owned;
}

}  // namespace sorix
