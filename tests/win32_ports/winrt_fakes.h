// Runtime objects of the tests' own, for the parts of the app-service port
// that Wine cannot run against real ones: it has no ValueSet, no
// PropertyValue and no AppServiceConnection.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "core/ref.h"
#include "platform/win32/win32_com_callback.h"
#include "platform/win32/win32_winrt_abi.h"
#include "platform/win32/win32_winrt_iid.h"

#include <winstring.h>

namespace qv::test {

// IInspectable's own methods, which the port never calls, and the answer to
// QueryInterface for the one interface a fake stands for.
template <class Interface>
class CFake : public CComCallback<Interface> {
public:
    ::HRESULT STDMETHODCALLTYPE GetIids(ULONG*, IID**) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel*) override { return E_NOTIMPL; }

protected:
    ::HRESULT Answer(REFIID iid, const ::GUID& own, void** object) {
        *object = nullptr;
        if (iid != ::IID_IUnknown && iid != winrt::kIidInspectable && iid != own) return E_NOINTERFACE;
        this->AddRef();
        *object = static_cast<Interface*>(this);
        return S_OK;
    }
};

// A boxed value: a string, or an Int32 (PropertyType 5) that the port must
// leave out.
class FakePropertyValue : public CFake<winrt::IPropertyValue> {
public:
    explicit FakePropertyValue(std::wstring text) : m_type(winrt::kPropertyTypeString), m_text(std::move(text)) {}
    explicit FakePropertyValue(INT32 number) : m_type(5), m_number(number) {}

    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return Answer(iid, winrt::kIidPropertyValue, object);
    }
    ::HRESULT STDMETHODCALLTYPE get_Type(int32_t* type) override {
        *type = m_type;
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE get_IsNumericScalar(boolean*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetUInt8(BYTE*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetInt16(INT16*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetUInt16(UINT16*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetInt32(INT32* value) override {
        *value = m_number;
        return m_type == 5 ? S_OK : E_NOTIMPL;
    }
    ::HRESULT STDMETHODCALLTYPE GetUInt32(UINT32*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetInt64(INT64*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetUInt64(UINT64*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetSingle(FLOAT*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetDouble(DOUBLE*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetChar16(WCHAR*) override { return E_NOTIMPL; }
    ::HRESULT STDMETHODCALLTYPE GetBoolean(boolean*) override { return E_NOTIMPL; }
    // Like the runtime's, a box that holds something else refuses.
    ::HRESULT STDMETHODCALLTYPE GetString(HSTRING* value) override {
        if (m_type != winrt::kPropertyTypeString) return E_NOTIMPL;
        return ::WindowsCreateString(m_text.c_str(), static_cast<UINT32>(m_text.size()), value);
    }

private:
    const int32_t m_type;
    const std::wstring m_text;
    const INT32 m_number = 0;
};

using FakeEntries = std::vector<std::pair<std::wstring, CRefPtr<::IInspectable>>>;

class FakeKeyValuePair : public CFake<winrt::IKeyValuePair> {
public:
    FakeKeyValuePair(std::wstring key, CRefPtr<::IInspectable> value)
        : m_key(std::move(key)), m_value(std::move(value)) {}
    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return Answer(iid, ::IID_IUnknown, object);
    }
    ::HRESULT STDMETHODCALLTYPE get_Key(HSTRING* key) override {
        return ::WindowsCreateString(m_key.c_str(), static_cast<UINT32>(m_key.size()), key);
    }
    ::HRESULT STDMETHODCALLTYPE get_Value(::IInspectable** value) override {
        *value = m_value.get();
        if (*value) (*value)->AddRef();
        return S_OK;
    }

private:
    const std::wstring m_key;
    const CRefPtr<::IInspectable> m_value;
};

class FakeIterator : public CFake<winrt::IKeyValuePairIterator> {
public:
    explicit FakeIterator(const FakeEntries& entries) : m_entries(entries) {}
    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return Answer(iid, ::IID_IUnknown, object);
    }
    ::HRESULT STDMETHODCALLTYPE get_Current(winrt::IKeyValuePair** current) override {
        if (m_next >= m_entries.size()) return static_cast<::HRESULT>(0x8000000B);  // E_BOUNDS
        *current = MakeRef<FakeKeyValuePair>(m_entries[m_next].first, m_entries[m_next].second).Detach();
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE get_HasCurrent(boolean* hasCurrent) override {
        *hasCurrent = m_next < m_entries.size();
        return S_OK;
    }
    ::HRESULT STDMETHODCALLTYPE MoveNext(boolean* hasCurrent) override {
        ++m_next;
        return get_HasCurrent(hasCurrent);
    }
    ::HRESULT STDMETHODCALLTYPE GetMany(UINT32, winrt::IKeyValuePair**, UINT32*) override { return E_NOTIMPL; }

private:
    const FakeEntries m_entries;
    size_t m_next = 0;
};

// A ValueSet as the port reads it: iterable over its pairs.
class FakeValueSet : public CFake<winrt::IKeyValuePairIterable> {
public:
    explicit FakeValueSet(FakeEntries entries) : m_entries(std::move(entries)) {}
    ::HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return Answer(iid, winrt::AppServiceInterfaceIds().keyValuePairIterable, object);
    }
    ::HRESULT STDMETHODCALLTYPE First(winrt::IKeyValuePairIterator** first) override {
        *first = MakeRef<FakeIterator>(m_entries).Detach();
        return S_OK;
    }

private:
    const FakeEntries m_entries;
};

inline CRefPtr<::IInspectable> Boxed(std::wstring text) {
    return CRefPtr<::IInspectable>(MakeRef<FakePropertyValue>(std::move(text)).get());
}
inline CRefPtr<::IInspectable> Boxed(INT32 number) {
    return CRefPtr<::IInspectable>(MakeRef<FakePropertyValue>(number).get());
}

}  // namespace qv::test
