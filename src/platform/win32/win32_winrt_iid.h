// The IID of a parameterized Windows Runtime interface or delegate
// (IAsyncOperation<T>, TypedEventHandler<S, R>, IMap<K, V>...): the runtime
// has none on file; both ends derive it from the type's signature, a UUID of
// version 5 over the SHA-1 of the WinRT namespace GUID and the signature's
// UTF-8 text. Runtime classes enter a signature as "rc(Name;{default
// interface IID})", enumerations as "enum(Name;i4)", strings as "string" and
// objects as "cinterface(IInspectable)".
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/win32/windows_api.h"

namespace qv::winrt {

// "pinterface({generic's guid};argument;argument...)".
std::string ParameterizedSignature(std::string_view genericGuid, std::initializer_list<std::string_view> arguments);

// The IID of the type with that signature; fails only where SHA-1 is
// unavailable.
HRESULT ParameterizedIid(std::string_view signature, ::GUID& iid);

// The parameterized IIDs that the app-service port needs, derived once.
struct AppServiceIids {
    HRESULT result = E_FAIL;          // a failure leaves every IID below unset
    ::GUID openCompletedHandler{};    // AsyncOperationCompletedHandler<AppServiceConnectionStatus>
    ::GUID sendCompletedHandler{};    // AsyncOperationCompletedHandler<AppServiceResponse>
    ::GUID requestReceivedHandler{};  // TypedEventHandler<AppServiceConnection, ...RequestReceivedEventArgs>
    ::GUID serviceClosedHandler{};    // TypedEventHandler<AppServiceConnection, AppServiceClosedEventArgs>
    ::GUID stringObjectMap{};         // IMap<String, Object>
    ::GUID keyValuePairIterable{};    // IIterable<IKeyValuePair<String, Object>>
};
const AppServiceIids& AppServiceInterfaceIds();

}  // namespace qv::winrt
