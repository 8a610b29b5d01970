// The few Windows Runtime interfaces that the app-service port calls, at the
// ABI level: mingw-w64 has no usable projection of
// Windows.ApplicationModel.AppService or of the Foundation collections. Each
// interface lists its methods in the order of its metadata, which fixes the
// vtable; the methods this program never calls keep their slot with a
// simplified signature. Enumerations cross as int32_t and runtime classes as
// their default interface.
//
// A parameterized interface (IAsyncOperation<T>, TypedEventHandler<S, R>,
// IMap<K, V>...) has no fixed IID: it is derived from its type signature,
// whose texts are here beside the interfaces (see win32_winrt_iid.h).
#pragma once

#include <cstdint>

#include "platform/win32/windows_api.h"

#include <eventtoken.h>
#include <hstring.h>
#include <inspectable.h>

namespace qv::winrt {

// ---- Foundation

// IInspectable's IID, which mingw-w64's libuuid does not define.
inline constexpr ::GUID kIidInspectable = {
    0xaf86e2e0, 0xb12d, 0x4c6a, {0x9c, 0x5a, 0xd7, 0xaa, 0x65, 0x10, 0x1e, 0x90}};

// Windows.Foundation.IClosable.
inline constexpr ::GUID kIidClosable = {0x30d5a829, 0x7fa4, 0x4026, {0x83, 0xbb, 0xd7, 0x5b, 0xae, 0x4e, 0xa9, 0x9e}};
struct IClosable : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE Close() = 0;
};

// Windows.Foundation.AsyncStatus.
inline constexpr int32_t kAsyncStarted = 0;
inline constexpr int32_t kAsyncCompleted = 1;

// IAsyncOperation<T> for a T that crosses as TAbi (an enumeration's
// int32_t, or a runtime class's default interface pointer).
template <class TAbi>
struct IAsyncOperation;

// AsyncOperationCompletedHandler<T>: a delegate, so IUnknown-based.
template <class TAbi>
struct IAsyncOperationCompletedHandler : ::IUnknown {
    virtual ::HRESULT STDMETHODCALLTYPE Invoke(IAsyncOperation<TAbi>* operation, int32_t status) = 0;
};

template <class TAbi>
struct IAsyncOperation : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE put_Completed(IAsyncOperationCompletedHandler<TAbi>* handler) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE get_Completed(IAsyncOperationCompletedHandler<TAbi>** handler) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetResults(TAbi* results) = 0;
};

// Windows.Foundation.PropertyType.String.
inline constexpr int32_t kPropertyTypeString = 12;

// Windows.Foundation.IPropertyValue: the boxes that a ValueSet holds.
inline constexpr ::GUID kIidPropertyValue = {
    0x4bd682dd, 0x7554, 0x40e9, {0x9a, 0x9b, 0x82, 0x65, 0x4e, 0xde, 0x7e, 0x62}};
struct IPropertyValue : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE get_Type(int32_t* type) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE get_IsNumericScalar(boolean* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetUInt8(BYTE* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetInt16(INT16* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetUInt16(UINT16* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetInt32(INT32* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetUInt32(UINT32* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetInt64(INT64* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetUInt64(UINT64* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetSingle(FLOAT* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetDouble(DOUBLE* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetChar16(WCHAR* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetBoolean(boolean* value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetString(HSTRING* value) = 0;
    // GetGuid ... GetRectArray follow; never called.
};

// Windows.Foundation.IPropertyValueStatics: the factory of
// Windows.Foundation.PropertyValue.
inline constexpr wchar_t kPropertyValueClass[] = L"Windows.Foundation.PropertyValue";
inline constexpr ::GUID kIidPropertyValueStatics = {
    0x629bdbc8, 0xd932, 0x4ff4, {0x96, 0xb9, 0x8d, 0x96, 0xc5, 0xc1, 0xe8, 0x58}};
struct IPropertyValueStatics : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE CreateEmpty(::IInspectable** value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateUInt8(BYTE, ::IInspectable**) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateInt16(INT16, ::IInspectable**) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateUInt16(UINT16, ::IInspectable**) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateInt32(INT32, ::IInspectable**) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateUInt32(UINT32, ::IInspectable**) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateInt64(INT64, ::IInspectable**) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateUInt64(UINT64, ::IInspectable**) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateSingle(FLOAT, ::IInspectable**) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateDouble(DOUBLE, ::IInspectable**) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateChar16(WCHAR, ::IInspectable**) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateBoolean(boolean, ::IInspectable**) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE CreateString(HSTRING value, ::IInspectable** boxed) = 0;
    // CreateInspectable ... CreateRectArray follow; never called.
};

// ---- Foundation.Collections, for ValueSet (IMap<String, Object>)

inline constexpr wchar_t kValueSetClass[] = L"Windows.Foundation.Collections.ValueSet";

// IKeyValuePair<String, Object>.
struct IKeyValuePair : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE get_Key(HSTRING* key) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE get_Value(::IInspectable** value) = 0;
};

// IIterator<IKeyValuePair<String, Object>>.
struct IKeyValuePairIterator : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE get_Current(IKeyValuePair** current) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE get_HasCurrent(boolean* hasCurrent) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE MoveNext(boolean* hasCurrent) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetMany(UINT32 capacity, IKeyValuePair** items, UINT32* actual) = 0;
};

// IIterable<IKeyValuePair<String, Object>>.
struct IKeyValuePairIterable : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE First(IKeyValuePairIterator** first) = 0;
};

// IMap<String, Object>.
struct IStringObjectMap : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE Lookup(HSTRING key, ::IInspectable** value) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE get_Size(UINT32* size) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE HasKey(HSTRING key, boolean* found) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetView(::IInspectable** view) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE Insert(HSTRING key, ::IInspectable* value, boolean* replaced) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE Remove(HSTRING key) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE Clear() = 0;
};

// Windows.Foundation.Collections.IPropertySet, ValueSet's default
// interface: what the app-service calls take and give. It adds no methods of
// its own; the map is reached through QueryInterface.
inline constexpr ::GUID kIidPropertySet = {
    0x8a43ed9f, 0xf4e6, 0x4421, {0xac, 0xf9, 0x1d, 0xab, 0x29, 0x86, 0x82, 0x0c}};
struct IPropertySet : ::IInspectable {};

// ---- ApplicationModel.AppService

inline constexpr wchar_t kAppServiceConnectionClass[] = L"Windows.ApplicationModel.AppService.AppServiceConnection";

struct IAppServiceConnection;
struct IAppServiceRequestReceivedEventArgs;
struct IAppServiceClosedEventArgs;

// TypedEventHandler<AppServiceConnection, TArgs>: a delegate.
template <class TArgs>
struct IConnectionEventHandler : ::IUnknown {
    virtual ::HRESULT STDMETHODCALLTYPE Invoke(IAppServiceConnection* sender, TArgs* args) = 0;
};

struct IAppServiceResponse : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE get_Message(IPropertySet** message) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE get_Status(int32_t* status) = 0;
};

struct IAppServiceConnection : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE get_AppServiceName(HSTRING* name) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE put_AppServiceName(HSTRING name) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE get_PackageFamilyName(HSTRING* name) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE put_PackageFamilyName(HSTRING name) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE OpenAsync(IAsyncOperation<int32_t>** operation) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE SendMessageAsync(IPropertySet* message,
                                                         IAsyncOperation<IAppServiceResponse*>** operation) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE add_RequestReceived(
        IConnectionEventHandler<IAppServiceRequestReceivedEventArgs>* handler, EventRegistrationToken* token) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE remove_RequestReceived(EventRegistrationToken token) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE add_ServiceClosed(IConnectionEventHandler<IAppServiceClosedEventArgs>* handler,
                                                          EventRegistrationToken* token) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE remove_ServiceClosed(EventRegistrationToken token) = 0;
};

struct IAppServiceRequest : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE get_Message(IPropertySet** message) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE SendResponseAsync(IPropertySet* message, ::IInspectable** operation) = 0;
};

struct IAppServiceRequestReceivedEventArgs : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE get_Request(IAppServiceRequest** request) = 0;
    virtual ::HRESULT STDMETHODCALLTYPE GetDeferral(::IInspectable** deferral) = 0;
};

struct IAppServiceClosedEventArgs : ::IInspectable {
    virtual ::HRESULT STDMETHODCALLTYPE get_Status(int32_t* status) = 0;
};

// The fixed IIDs of the app-service interfaces, and the GUIDs that their
// runtime classes' signatures carry.
inline constexpr ::GUID kIidAppServiceConnection = {
    0x9dd474a2, 0x871f, 0x4d52, {0x89, 0xa9, 0x9e, 0x09, 0x05, 0x31, 0xbd, 0x27}};

// ---- Type signatures of the parameterized interfaces this port uses

namespace signature {
inline constexpr char kConnectionStatus[] = "enum(Windows.ApplicationModel.AppService.AppServiceConnectionStatus;i4)";
inline constexpr char kAppServiceConnection[] =
    "rc(Windows.ApplicationModel.AppService.AppServiceConnection;{9dd474a2-871f-4d52-89a9-9e090531bd27})";
inline constexpr char kAppServiceResponse[] =
    "rc(Windows.ApplicationModel.AppService.AppServiceResponse;{8d503cec-9aa3-4e68-9559-9de63e372ce4})";
inline constexpr char kRequestReceivedEventArgs[] =
    "rc(Windows.ApplicationModel.AppService.AppServiceRequestReceivedEventArgs;"
    "{6e122360-ff65-44ae-9e45-857fe4180681})";
inline constexpr char kClosedEventArgs[] =
    "rc(Windows.ApplicationModel.AppService.AppServiceClosedEventArgs;{de6016f6-cb03-4d35-ac8d-cc6303239731})";

inline constexpr char kAsyncOperation[] = "{9fc2b0bb-e446-44e2-aa61-9cab8f636af2}";
inline constexpr char kAsyncOperationCompletedHandler[] = "{fcdcf02c-e5d8-4478-915a-4d90b74b83a5}";
inline constexpr char kTypedEventHandler[] = "{9de1c534-6ae1-11e0-84e1-18a905bcc53f}";
inline constexpr char kMap[] = "{3c2925fe-8519-45c1-aa79-197b6718c1c1}";
inline constexpr char kIterable[] = "{faa585ea-6214-4217-afda-7f46de5869b3}";
inline constexpr char kKeyValuePair[] = "{02b51929-c1c4-4a7e-8940-0312b5c18500}";
}  // namespace signature

}  // namespace qv::winrt
