// The companion store app that shows toasts: finding its package and talking
// to its app service (Windows.ApplicationModel.AppService on Windows; on
// Linux a desktop notification service stands in, where there is one).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "core/ref.h"
#include "platform/types.h"

namespace qv {

// A ValueSet whose values are all text, as the companion app's protocol is.
using ValueSet = std::map<std::wstring, std::wstring>;

// AppServiceConnection. Calls block until the platform's asynchronous
// operation has completed; the handlers are called on threads of the
// platform.
struct IAppServiceConnection : virtual IAddReleaseRef {
    virtual void SetAppServiceName(const std::wstring& name) = 0;
    virtual void SetPackageFamilyName(const std::wstring& name) = 0;
    // OpenAsync: AppServiceConnectionStatus, 0 for success.
    virtual int32_t OpenAsync() = 0;
    // SendMessageAsync: AppServiceResponseStatus, 0 for success, and the
    // response's message.
    virtual int32_t SendMessageAsync(const ValueSet& message, ValueSet& response) = 0;
    // RequestReceived: the request's message. ServiceClosed.
    virtual void SetHandlers(std::function<void(const ValueSet& request)> requestReceived,
                             std::function<void()> serviceClosed) = 0;
    // IClosable::Close.
    virtual void Close() = 0;
};

struct IAppServices : virtual IAddReleaseRef {
    // FindPackagesByPackageFamily with PACKAGE_FILTER_HEAD (16): the
    // properties value of every package found. ERROR_INSUFFICIENT_BUFFER
    // never reaches the caller; 0 with no packages when there are none.
    virtual Win32Error FindPackagesByPackageFamily(const std::wstring& familyName,
                                                   std::vector<uint32_t>& packageProperties) = 0;
    virtual HRESULT CreateAppServiceConnection(CRefPtr<IAppServiceConnection>& connection) = 0;
};

}  // namespace qv
