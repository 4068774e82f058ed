#include "LaunchRequest.h"

#include "DecimalText.h"
#include "SettingsKeys.h"
#include "StoredControls.h"

namespace sorix {

void applyLaunchRequest(DesktopServices& services, const RunRequest& request) {
    const std::string settingsFile = DesktopServices::settingsFile().string();
    if (request.boost) {
        storeChosenBoost(services.settings(), *request.boost);
        services.log().log("boost %sx stored in %s, boosting on", fixedDecimal(*request.boost, 2),
                           settingsFile);
    } else if (!services.settings().boolForKey(SettingsKeys::boostActive)) {
        services.log().log(
            "boosting is off: switch it on in the panel, run with --boost "
            "FACTOR, or set \"boostActive\": true in %s",
            settingsFile);
    }
}

}  // namespace sorix
