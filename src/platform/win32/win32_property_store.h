// An endpoint's IPropertyStore behind the model's: each read converts the
// platform's PROPVARIANT into the model's and clears it, whatever its type.
#pragma once

#include <utility>

#include "core/ref.h"
#include "platform/audio.h"
#include "platform/win32/windows_api.h"

#include <propsys.h>

namespace qv {

// VT_UI4 keeps its number and VT_LPWSTR its text (a null text is empty);
// any other type keeps its type and the first 32 bits of its value, so that
// the model can say what it found where it expected something else.
PROPVARIANT FromWindowsPropVariant(const ::PROPVARIANT& value);

class CWin32PropertyStore : public CAddReleaseRef, public IPropertyStore {
public:
    explicit CWin32PropertyStore(CRefPtr<::IPropertyStore> store) : m_store(std::move(store)) {}
    HRESULT GetValue(const PROPERTYKEY& key, PROPVARIANT& value) override;

private:
    const CRefPtr<::IPropertyStore> m_store;
};

}  // namespace qv
