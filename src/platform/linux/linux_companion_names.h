// How the companion app that shows this system's toasts is found on Linux,
// where there are no store packages and no app services: the companion is
// a program on the user's session bus, and both the app-service port and
// the companion itself (tools/companion) take its names from here.
//
// - A package family name becomes the well-known bus name
//   "com.quorvane.Companion." followed by the family name in which every
//   character outside [A-Za-z0-9] is turned into '_'. The package is
//   installed when that name has an owner or the bus can start it
//   (ListActivatableNames).
// - An app service name becomes the object path
//   "/com/quorvane/Companion/<service name, turned the same way>"; there the
//   companion serves the interface "com.quorvane.Companion1":
//     Ping()                     answers when the service is offered
//     SendMessage(a{ss}) -> a{ss} a message and its response, UTF-8
//     signal Request(a{ss})      a request of the companion, addressed to
//                                the connection that sent the message
//     signal Closed()            the companion leaves (it is closing)
//
// A name part that would be empty or begin with a digit, which a bus name
// forbids, gets a leading '_'. A bus name longer than the bus allows (255)
// comes back empty: no companion can own it, so it is never installed.
#pragma once

#include <string>
#include <string_view>

namespace qv {

inline constexpr const char* kCompanionInterface = "com.quorvane.Companion1";

std::string CompanionBusName(std::wstring_view packageFamilyName);
std::string CompanionObjectPath(std::wstring_view appServiceName);

}  // namespace qv
