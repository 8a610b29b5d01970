// What the reference ORBENT64 asks of the operating system: its parameter
// file, the browsers' extension folders, and starting a browser. One
// implementation per platform (orbent_system_linux.cpp, _win32.cpp).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orbent {

enum class Browser { Unknown, Chrome, Edge };

// ("Google", "Chrome") or ("Microsoft", "Edge"), in any case.
Browser BrowserOf(const std::wstring& vendor, const std::wstring& browser);
// Letters and digits only, so that an id can never leave the folder it is
// looked up in.
bool IsPlainExtensionId(const std::wstring& id);
// The arguments split on blanks; double quotes keep blanks and are removed.
std::vector<std::wstring> SplitArguments(const std::wstring& arguments);

// The whole parameter file; false when it cannot be read (absent included).
bool ReadParameterText(std::string& text);
// Replaces the parameter file as a whole, through a temporary file beside it.
// 0 or an error number.
uint32_t WriteParameterText(const std::string& text);

enum class ExtensionState { NoProfile, Missing, Installed };
// Looks in the browser's default profile (Chromium's counts as Chrome's on
// Linux) for the add-on's folder.
ExtensionState ExtensionStateOf(Browser browser, const std::wstring& extensionId);
bool StartBrowser(Browser browser, const std::wstring& arguments);

}  // namespace orbent
