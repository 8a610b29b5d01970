#include "platform/win32/win32_winrt_iid.h"

#include <array>
#include <cstdint>
#include <vector>

#include "platform/win32/win32_winrt_abi.h"

#include <bcrypt.h>

namespace qv::winrt {

namespace {

// {11F47AD5-7B73-42C0-ABAE-878B1E16ADEE}, in the byte order that the hash
// takes (big-endian fields).
constexpr std::array<uint8_t, 16> kWinRtNamespace = {0x11, 0xf4, 0x7a, 0xd5, 0x7b, 0x73, 0x42, 0xc0,
                                                     0xab, 0xae, 0x87, 0x8b, 0x1e, 0x16, 0xad, 0xee};

// A CNG handle, given back by its own function when the holder goes.
template <class Handle, NTSTATUS(WINAPI* Free)(Handle)>
class CCngHandle {
public:
    CCngHandle() = default;
    CCngHandle(const CCngHandle&) = delete;
    CCngHandle& operator=(const CCngHandle&) = delete;
    ~CCngHandle() {
        if (m_handle) Free(m_handle);
    }
    Handle* put() { return &m_handle; }
    Handle get() const { return m_handle; }

private:
    Handle m_handle = nullptr;
};

NTSTATUS WINAPI CloseAlgorithm(BCRYPT_ALG_HANDLE algorithm) { return ::BCryptCloseAlgorithmProvider(algorithm, 0); }
using CHashAlgorithm = CCngHandle<BCRYPT_ALG_HANDLE, CloseAlgorithm>;
using CHash = CCngHandle<BCRYPT_HASH_HANDLE, ::BCryptDestroyHash>;

HRESULT FromStatus(NTSTATUS status) { return status >= 0 ? S_OK : HRESULT_FROM_NT(status); }

HRESULT Sha1(const std::vector<uint8_t>& data, std::array<uint8_t, 20>& digest) {
    CHashAlgorithm algorithm;
    HRESULT hr = FromStatus(::BCryptOpenAlgorithmProvider(algorithm.put(), BCRYPT_SHA1_ALGORITHM, nullptr, 0));
    if (FAILED(hr)) return hr;
    // The hash object is left to CNG (null buffer), which every version
    // since Windows 7 allows.
    CHash hash;
    hr = FromStatus(::BCryptCreateHash(algorithm.get(), hash.put(), nullptr, 0, nullptr, 0, 0));
    if (FAILED(hr)) return hr;
    hr = FromStatus(::BCryptHashData(hash.get(), const_cast<PUCHAR>(data.data()), static_cast<ULONG>(data.size()), 0));
    if (FAILED(hr)) return hr;
    return FromStatus(::BCryptFinishHash(hash.get(), digest.data(), static_cast<ULONG>(digest.size()), 0));
}

}  // namespace

std::string ParameterizedSignature(std::string_view genericGuid, std::initializer_list<std::string_view> arguments) {
    std::string signature = "pinterface(";
    signature += genericGuid;
    for (std::string_view argument : arguments) {
        signature += ';';
        signature += argument;
    }
    signature += ')';
    return signature;
}

HRESULT ParameterizedIid(std::string_view signature, ::GUID& iid) {
    std::vector<uint8_t> data(kWinRtNamespace.begin(), kWinRtNamespace.end());
    data.insert(data.end(), signature.begin(), signature.end());
    std::array<uint8_t, 20> digest{};
    HRESULT hr = Sha1(data, digest);
    if (FAILED(hr)) return hr;
    digest[6] = static_cast<uint8_t>((digest[6] & 0x0f) | 0x50);  // version 5
    digest[8] = static_cast<uint8_t>((digest[8] & 0x3f) | 0x80);  // RFC 4122 variant
    iid.Data1 = (uint32_t{digest[0]} << 24) | (uint32_t{digest[1]} << 16) | (uint32_t{digest[2]} << 8) | digest[3];
    iid.Data2 = static_cast<uint16_t>((digest[4] << 8) | digest[5]);
    iid.Data3 = static_cast<uint16_t>((digest[6] << 8) | digest[7]);
    for (int i = 0; i < 8; ++i) iid.Data4[i] = digest[8 + i];
    return S_OK;
}

const AppServiceIids& AppServiceInterfaceIds() {
    static const AppServiceIids ids = [] {
        using namespace signature;
        const std::string keyValuePair = ParameterizedSignature(kKeyValuePair, {"string", "cinterface(IInspectable)"});
        const std::pair<std::string, ::GUID AppServiceIids::*> wanted[] = {
            {ParameterizedSignature(kAsyncOperationCompletedHandler, {kConnectionStatus}),
             &AppServiceIids::openCompletedHandler},
            {ParameterizedSignature(kAsyncOperationCompletedHandler, {kAppServiceResponse}),
             &AppServiceIids::sendCompletedHandler},
            {ParameterizedSignature(kTypedEventHandler, {kAppServiceConnection, kRequestReceivedEventArgs}),
             &AppServiceIids::requestReceivedHandler},
            {ParameterizedSignature(kTypedEventHandler, {kAppServiceConnection, kClosedEventArgs}),
             &AppServiceIids::serviceClosedHandler},
            {ParameterizedSignature(kMap, {"string", "cinterface(IInspectable)"}), &AppServiceIids::stringObjectMap},
            {ParameterizedSignature(kIterable, {keyValuePair}), &AppServiceIids::keyValuePairIterable},
        };
        AppServiceIids result;
        for (const auto& [text, member] : wanted) {
            result.result = ParameterizedIid(text, result.*member);
            if (FAILED(result.result)) break;
        }
        return result;
    }();
    return ids;
}

}  // namespace qv::winrt
