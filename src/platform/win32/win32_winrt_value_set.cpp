#include "platform/win32/win32_winrt_value_set.h"

#include "platform/win32/win32_hstring.h"
#include "platform/win32/win32_winrt_iid.h"

#include <roapi.h>

namespace qv::winrt {

namespace {

template <class Interface>
HRESULT QueryFor(::IUnknown* object, const ::GUID& iid, CRefPtr<Interface>& result) {
    if (!object) return E_POINTER;
    return object->QueryInterface(iid, reinterpret_cast<void**>(result.put()));
}

HRESULT BoxString(IPropertyValueStatics* statics, const std::wstring& text, CRefPtr<::IInspectable>& boxed) {
    CHString value;
    HRESULT hr = value.Set(text);
    if (FAILED(hr)) return hr;
    return statics->CreateString(value.get(), boxed.put());
}

// The pair's key, and its value when that is a string; S_FALSE for a value
// of another kind.
HRESULT ReadPair(IKeyValuePair* pair, std::wstring& key, std::wstring& text) {
    CHString name;
    HRESULT hr = pair->get_Key(name.put());
    if (FAILED(hr)) return hr;
    key = name.ToWide();
    CRefPtr<::IInspectable> value;
    hr = pair->get_Value(value.put());
    if (FAILED(hr)) return hr;
    CRefPtr<IPropertyValue> property;
    if (!value || FAILED(QueryFor(value.get(), kIidPropertyValue, property)) || !property) return S_FALSE;
    int32_t type = 0;
    hr = property->get_Type(&type);
    if (FAILED(hr) || type != kPropertyTypeString) return S_FALSE;
    CHString string;
    hr = property->GetString(string.put());
    if (FAILED(hr)) return hr;
    text = string.ToWide();
    return S_OK;
}

}  // namespace

HRESULT ActivateInstance(const wchar_t* classId, CRefPtr<::IInspectable>& instance) {
    CHString name;
    HRESULT hr = name.Set(classId);
    if (FAILED(hr)) return hr;
    hr = ::RoActivateInstance(name.get(), instance.put());
    if (SUCCEEDED(hr) && !instance) hr = E_POINTER;
    return hr;
}

HRESULT CreateValueSet(const ValueSet& values, CRefPtr<IPropertySet>& set) {
    set = nullptr;
    const AppServiceIids& iids = AppServiceInterfaceIds();
    if (FAILED(iids.result)) return iids.result;
    CRefPtr<::IInspectable> instance;
    HRESULT hr = ActivateInstance(kValueSetClass, instance);
    if (FAILED(hr)) return hr;
    CRefPtr<IStringObjectMap> map;
    hr = QueryFor(instance.get(), iids.stringObjectMap, map);
    if (FAILED(hr)) return hr;
    CHString factoryName;
    hr = factoryName.Set(kPropertyValueClass);
    if (FAILED(hr)) return hr;
    CRefPtr<IPropertyValueStatics> statics;
    hr = ::RoGetActivationFactory(factoryName.get(), kIidPropertyValueStatics, reinterpret_cast<void**>(statics.put()));
    if (FAILED(hr)) return hr;
    for (const auto& [key, text] : values) {
        CHString name;
        hr = name.Set(key);
        if (FAILED(hr)) return hr;
        CRefPtr<::IInspectable> boxed;
        hr = BoxString(statics.get(), text, boxed);
        if (FAILED(hr)) return hr;
        boolean replaced = false;
        hr = map->Insert(name.get(), boxed.get(), &replaced);
        if (FAILED(hr)) return hr;
    }
    return QueryFor(instance.get(), kIidPropertySet, set);
}

HRESULT ReadValueSet(::IInspectable* set, ValueSet& values) {
    values.clear();
    const AppServiceIids& iids = AppServiceInterfaceIds();
    if (FAILED(iids.result)) return iids.result;
    CRefPtr<IKeyValuePairIterable> iterable;
    HRESULT hr = QueryFor(set, iids.keyValuePairIterable, iterable);
    if (FAILED(hr)) return hr;
    CRefPtr<IKeyValuePairIterator> iterator;
    hr = iterable->First(iterator.put());
    if (FAILED(hr)) return hr;
    boolean hasCurrent = false;
    for (hr = iterator->get_HasCurrent(&hasCurrent); SUCCEEDED(hr) && hasCurrent;
         hr = iterator->MoveNext(&hasCurrent)) {
        CRefPtr<IKeyValuePair> pair;
        hr = iterator->get_Current(pair.put());
        if (FAILED(hr)) return hr;
        std::wstring key, text;
        hr = ReadPair(pair.get(), key, text);
        if (FAILED(hr)) return hr;
        if (hr == S_OK) values[key] = text;
    }
    return FAILED(hr) ? hr : S_OK;
}

}  // namespace qv::winrt
