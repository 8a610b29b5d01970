// The companion apps that can show this system's toasts: per app family, the
// package family names of their publications in order of preference, each
// with the name of its app service. Deployment data of the companion apps.
#pragma once

#include <array>
#include <span>
#include <string_view>

namespace qv {

struct SupportedApp {
    std::wstring_view packageFamilyName;
    std::wstring_view appServiceName;
};

// AppFamily 0: the companion app in its publications (store, preview, OEM
// and regional builds); AppFamily 1: a second app with a service of its own.
inline constexpr int kAppFamilyCount = 2;
std::span<const SupportedApp> SupportedAppList(int appFamily);

}  // namespace qv
