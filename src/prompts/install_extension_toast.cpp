#include "prompts/install_extension_toast.h"

namespace qv {

namespace {
InstallBrowserExtensionToastFactory& Factory() {
    static InstallBrowserExtensionToastFactory factory;
    return factory;
}
}  // namespace

void SetInstallBrowserExtensionToastFactory(InstallBrowserExtensionToastFactory factory) {
    Factory() = std::move(factory);
}
const InstallBrowserExtensionToastFactory& GetInstallBrowserExtensionToastFactory() { return Factory(); }

}  // namespace qv
