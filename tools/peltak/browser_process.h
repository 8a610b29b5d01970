// The browser that started PELTAK64 as its native-messaging host: its
// process id and executable path go into every request to the classifier,
// which ties the pages reported to that browser's audio. One
// implementation per platform (browser_process_linux.cpp,
// browser_process_win32.cpp).
#pragma once

#include <cstdint>
#include <string>

namespace qv::peltak {

struct BrowserProcess {
    uint32_t processId = 0;  // 0 when not found
    std::wstring path;       // empty when not found
};

// The process that started this one, asked once at start: a browser keeps
// its host for as long as the add-on's port is open, so the answer holds.
// On failure what was found is kept, and problem says what is missing.
bool FindBrowserProcess(BrowserProcess& browser, std::string& problem);

}  // namespace qv::peltak
