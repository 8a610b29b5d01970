// Another process that holds a named mutex, for the tests of the
// synchronisation port:
//
//   qv_test_mutex_holder NAME
//
// Creates the mutex owned through the port, prints "held", then takes
// commands on standard input: "release" (answers "released") and "exit",
// which ends the process without releasing anything: an abandoned mutex,
// as when the holder is killed.
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

#include "core/text.h"
#include "platform/linux/linux_sync.h"

int main(int argc, char** argv) {
    if (argc < 2) return 2;
    auto sync = qv::MakeRef<qv::CLinuxSync>();
    qv::CRefPtr<qv::INamedMutex> mutex;
    if (sync->CreateMutex(qv::Utf8ToWide(argv[1]), true, mutex) != 0) return 1;
    std::printf("held\n");
    std::fflush(stdout);
    std::string line;
    while (std::getline(std::cin, line)) {
        if (line == "release") {
            std::printf(mutex->ReleaseMutex() == 0 ? "released\n" : "not released\n");
            std::fflush(stdout);
        } else if (line == "exit") {
            break;
        }
    }
    // Leaves without closing anything: the kernel lets go of the lock.
    std::fflush(stdout);
    std::_Exit(0);
}
