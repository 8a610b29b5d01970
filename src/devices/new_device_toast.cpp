#include "devices/new_device_toast.h"

namespace qv {

namespace {
NewDeviceToastFactory& Factory() {
    static NewDeviceToastFactory factory;
    return factory;
}
}  // namespace

void SetNewDeviceToastFactory(NewDeviceToastFactory factory) { Factory() = std::move(factory); }
const NewDeviceToastFactory& GetNewDeviceToastFactory() { return Factory(); }

}  // namespace qv
