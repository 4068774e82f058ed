#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string_view>

#include "MainQueue.h"

namespace sorix {

// Whether Sorix may capture other programs' audio. Where the desktop has a privacy service for
// this, it is reached through a loader; where it has none (Linux desktops today) capture is
// allowed and any real refusal shows up later as a failure to create the tap.
class AudioCapturePermission {
  public:
    enum class Status { granted, denied, undetermined };
    static std::string_view name(Status status);

    // The privacy service's two calls; either may be missing.
    struct Service {
        // Current decision without asking: 0 granted, 1 denied, anything else undetermined.
        std::function<int32_t(std::string_view service)> preflight;
        // Asks the user; the completion may arrive on any thread.
        std::function<void(std::string_view service, std::function<void(bool)> completion)> request;
    };
    using ServiceLoader = std::function<Service()>;
    using SettingsOpener = std::function<void()>;

    // The name under which the service files the permission.
    static constexpr std::string_view service = "kTCCServiceAudioCapture";

    explicit AudioCapturePermission(MainQueue& mainQueue, ServiceLoader loader = loadSystemService,
                                    SettingsOpener openSettings = openSoundSettings);

    // The current decision, without a dialog.
    Status preflight();
    // Asks if needed; the completion runs exactly once, on the main queue, never inside the call.
    void request(std::function<void(bool granted)> completion);
    // Shows the user where the setting lives.
    void openPrivacy() { openSettings_(); }

    // This desktop's service: none on Linux.
    static Service loadSystemService() { return {}; }
    // Starts the first sound-settings program found: GNOME's, KDE's, then pavucontrol.
    static void openSoundSettings();

  private:
    const Service& loaded();

    MainQueue& mainQueue_;
    ServiceLoader loader_;
    SettingsOpener openSettings_;
    std::once_flag loadOnce_;
    Service service_;
};

}  // namespace sorix
