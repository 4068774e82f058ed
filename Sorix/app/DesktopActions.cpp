#include "DesktopActions.h"

namespace sorix {

DesktopActions::DesktopActions(LoginItem loginItem, SoundSettings soundSettings,
                               std::function<void()> quit, QObject* parent)
    : QObject(parent),
      loginItem_(std::move(loginItem)),
      soundSettings_(std::move(soundSettings)),
      quit_(std::move(quit)),
      soundSettingsAvailable_(soundSettings_.available()),
      launchAtLogin_(loginItem_.isEnabled()) {}

QString DesktopActions::version() const { return QStringLiteral(SORIX_VERSION); }

void DesktopActions::showLaunchAtLogin(bool on) {
    if (on == launchAtLogin_) return;
    launchAtLogin_ = on;
    Q_EMIT launchAtLoginChanged();
}

void DesktopActions::setLaunchAtLogin(bool on) {
    loginItem_.setEnabled(on);
    showLaunchAtLogin(on);
}

void DesktopActions::refreshLaunchAtLogin() { showLaunchAtLogin(loginItem_.isEnabled()); }

void DesktopActions::openSoundSettings() const { soundSettings_.open(); }

void DesktopActions::quit() const {
    if (quit_) quit_();
}

}  // namespace sorix
