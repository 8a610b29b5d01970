// Registers the native-messaging host with the browsers of one registry
// root (for instance "SOFTWARE\\Google\\Chrome\\NativeMessagingHosts"): the
// manifest template with the host's path filled in, written where those
// browsers look for it. Nothing is written when what is there already says
// the same, and nothing through a link that someone else put in its place.
// Failures end the registration quietly; the program works without it.
//
// On Windows (and the Windows-like simulated machine) the manifest goes to
// %LOCALAPPDATA%\Quorvane\NativeMessaging\<host>.json and the default value
// of HKCU\<root>\<host> names it. On Linux the browsers read a folder of
// their own instead of the registry, and the manifest file in it is the
// pointer (native_host_folders.h).
#pragma once

#include <string>

namespace qv {

void RegisterNativeHost(std::wstring registryRoot, std::wstring hostName);

}  // namespace qv
