#include "companion_options.h"

#include <string_view>

#include "core/text.h"
#include "prompts/supported_app_lists.h"

namespace qv::companion {

const char* const kUsage =
    "Usage: qv_companion [--app FAMILY=SERVICE]... [--notifications-off]\n"
    "\n"
    "The companion app on the Linux desktop: owns the session-bus names of the\n"
    "companion's package families, serves their app service, and shows the\n"
    "classifier's toasts through the desktop's notifications. Runs until\n"
    "SIGINT or SIGTERM.\n"
    "\n"
    "  --app FAMILY=SERVICE  serve only this package family with this app\n"
    "                        service (repeatable); by default every supported\n"
    "                        app of both app families\n"
    "  --notifications-off   answer every toast with \"Disabled\", as when the\n"
    "                        user has turned the app's notifications off\n"
    "  --help                this text\n";

Options ParseOptions(int argc, char** argv) {
    Options options;
    bool appsGiven = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "--help" || argument == "-h") {
            options.help = true;
        } else if (argument == "--notifications-off") {
            options.notificationsOff = true;
        } else if (argument == "--app" && i + 1 < argc) {
            const std::string_view app = argv[++i];
            const auto equals = app.find('=');
            if (equals == 0 || equals == std::string_view::npos || equals + 1 == app.size()) {
                options.error = "--app needs FAMILY=SERVICE, not \"" + std::string(app) + "\"";
                return options;
            }
            options.apps.push_back({Utf8ToWide(app.substr(0, equals)), Utf8ToWide(app.substr(equals + 1))});
            appsGiven = true;
        } else {
            options.error = "unknown argument \"" + std::string(argument) + "\"";
            return options;
        }
    }
    if (!appsGiven) {
        for (int family = 0; family < kAppFamilyCount; ++family) {
            for (const SupportedApp& app : SupportedAppList(family))
                options.apps.push_back({std::wstring(app.packageFamilyName), std::wstring(app.appServiceName)});
        }
    }
    return options;
}

}  // namespace qv::companion
