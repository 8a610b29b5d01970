// The port's ValueSet (text keys, text values) and the runtime's
// Windows.Foundation.Collections.ValueSet, in both directions. Activation of
// the runtime classes needs COM on the calling thread.
#pragma once

#include "core/ref.h"
#include "platform/app_service.h"
#include "platform/win32/win32_winrt_abi.h"

namespace qv::winrt {

// RoActivateInstance of the class.
HRESULT ActivateInstance(const wchar_t* classId, CRefPtr<::IInspectable>& instance);

// A new runtime ValueSet holding every pair, each value boxed as a string
// PropertyValue.
HRESULT CreateValueSet(const ValueSet& values, CRefPtr<IPropertySet>& set);

// Every pair of the runtime's set whose value is a string; the others (a
// number, a nested set...) are not text and are left out. values is emptied
// first.
HRESULT ReadValueSet(::IInspectable* set, ValueSet& values);

}  // namespace qv::winrt
