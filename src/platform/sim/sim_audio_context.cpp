#include "platform/sim/sim_audio_context.h"

namespace qv {

CSimAudioContext::CSimAudioContext()
    : Failures({
          L"CreateDeviceEnumerator",
          L"IMMDeviceEnumerator::EnumAudioEndpoints",
          L"IMMDeviceEnumerator::GetDevice",
          L"IMMDeviceEnumerator::GetDefaultAudioEndpoint",
          L"IMMDeviceEnumerator::RegisterEndpointNotificationCallback",
          L"IMMDeviceEnumerator::UnregisterEndpointNotificationCallback",
          L"IMMDeviceCollection::GetCount",
          L"IMMDeviceCollection::Item",
          L"IMMDevice::Activate",
          L"IMMDevice::OpenPropertyStore",
          L"IMMDevice::GetId",
          L"IMMDevice::GetState",
          L"IMMDevice::QueryInterface",
          L"IMMEndpoint::GetDataFlow",
          L"IPropertyStore::GetValue",
          L"IAudioSessionManager2::GetSessionEnumerator",
          L"IAudioSessionManager2::RegisterSessionNotification",
          L"IAudioSessionManager2::UnregisterSessionNotification",
          L"IAudioSessionEnumerator::GetCount",
          L"IAudioSessionEnumerator::GetSession",
          L"IAudioSessionControl::GetState",
          L"IAudioSessionControl::GetDisplayName",
          L"IAudioSessionControl::GetIconPath",
          L"IAudioSessionControl::GetGroupingParam",
          L"IAudioSessionControl::RegisterAudioSessionNotification",
          L"IAudioSessionControl::UnregisterAudioSessionNotification",
          L"IAudioSessionControl::QueryInterface",
          L"IAudioSessionControl2::GetSessionIdentifier",
          L"IAudioSessionControl2::GetSessionInstanceIdentifier",
          L"IAudioSessionControl2::GetProcessId",
          L"IAudioSessionControl2::IsSystemSoundsSession",
      }) {}

}  // namespace qv
