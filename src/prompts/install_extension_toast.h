// The offer of the browser add-on, made when a supported browser plays on an
// endpoint with the automatic preset and its add-on is missing. What shows
// the offer comes from the prompts subsystem through the factory; without
// one no offer is made.
#pragma once

#include <functional>
#include <string>

#include "core/async.h"
#include "core/trace.h"

namespace qv {

class CContentClassifierLog;

struct IInstallBrowserExtensionToast : virtual IAddReleaseRef {
    // True while an offer is open and the user has not answered.
    virtual bool IsConnected() const = 0;
    virtual void Connect() = 0;
};

struct BrowserExtensionOffer {
    std::wstring endpointId;
    std::wstring extensionId;  // the add-on's id in the browser maker's store
    std::wstring vendor;       // "Microsoft" or "Google"
    std::wstring browserName;  // "Edge" or "Chrome"
    std::wstring browserArguments;
};

using InstallBrowserExtensionToastFactory = std::function<CRefPtr<IInstallBrowserExtensionToast>(
    const CRefPtr<ITraceFuncCallTarget>&, const CRefPtr<IAsyncActionDispatcher>&,
    const CRefPtr<CContentClassifierLog>&, const BrowserExtensionOffer&)>;

void SetInstallBrowserExtensionToastFactory(InstallBrowserExtensionToastFactory factory);
const InstallBrowserExtensionToastFactory& GetInstallBrowserExtensionToastFactory();

}  // namespace qv
