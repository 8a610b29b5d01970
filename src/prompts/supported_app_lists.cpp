#include "prompts/supported_app_lists.h"

namespace qv {

namespace {

constexpr std::wstring_view kToastService = L"com.quorvane.toastservice";
constexpr std::wstring_view kSecondToastService = L"com.quorvane.toastservice.twq";

constexpr SupportedApp kCompanionApps[] = {
    {L"Quorvane.AudioCompanion_h4x7v2kq9w3te", kToastService},
    {L"Quorvane.AudioCompanionPreview_h4x7v2kq9w3te", kToastService},
    {L"Quorvane.AudioCompanionOEM_h4x7v2kq9w3te", kToastService},
    {L"Quorvane.AudioCompanionOEM2_h4x7v2kq9w3te", kToastService},
    {L"Quorvane.AudioCompanionOEM3_h4x7v2kq9w3te", kToastService},
    {L"Quorvane.AudioCompanionEDU_h4x7v2kq9w3te", kToastService},
    {L"Quorvane.AudioCompanionCN_h4x7v2kq9w3te", kToastService},
    {L"Quorvane.AudioCompanionJP_h4x7v2kq9w3te", kToastService},
    {L"Quorvane.AudioCompanionKR_h4x7v2kq9w3te", kToastService},
    {L"Quorvane.AudioCompanionLegacy_h4x7v2kq9w3te", kToastService},
    {L"Quorvane.AudioCompanionDev_h4x7v2kq9w3te", kToastService},
};

constexpr SupportedApp kSecondApps[] = {
    {L"Quorvane.AudioTuner_h4x7v2kq9w3te", kSecondToastService},
};

}  // namespace

std::span<const SupportedApp> SupportedAppList(int appFamily) {
    // An AppFamily outside the table searches nothing.
    if (appFamily == 0) return kCompanionApps;
    if (appFamily == 1) return kSecondApps;
    return {};
}

}  // namespace qv
