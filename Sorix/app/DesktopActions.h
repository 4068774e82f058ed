#pragma once

#include <QObject>
#include <QString>
#include <functional>

#include "LoginItem.h"
#include "SoundSettings.h"

namespace sorix {

// What the panel's footer does outside the audio: the version it shows, launch at login, the
// desktop's sound settings, and quitting.
class DesktopActions : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString version READ version CONSTANT)
    Q_PROPERTY(bool launchAtLogin READ launchAtLogin NOTIFY launchAtLoginChanged)
    Q_PROPERTY(bool soundSettingsAvailable READ soundSettingsAvailable CONSTANT)

  public:
    DesktopActions(LoginItem loginItem, SoundSettings soundSettings, std::function<void()> quit,
                   QObject* parent = nullptr);

    QString version() const;
    bool launchAtLogin() const { return launchAtLogin_; }
    bool soundSettingsAvailable() const { return soundSettingsAvailable_; }

    // The user's choice shows at once, whether or not the desktop took it; it is read back from
    // the autostart entry the next time the settings are shown.
    Q_INVOKABLE void setLaunchAtLogin(bool on);
    Q_INVOKABLE void refreshLaunchAtLogin();
    Q_INVOKABLE void openSoundSettings() const;
    Q_INVOKABLE void quit() const;

  Q_SIGNALS:
    void launchAtLoginChanged();

  private:
    void showLaunchAtLogin(bool on);

    LoginItem loginItem_;
    SoundSettings soundSettings_;
    std::function<void()> quit_;
    bool soundSettingsAvailable_;
    bool launchAtLogin_;
};

}  // namespace sorix
