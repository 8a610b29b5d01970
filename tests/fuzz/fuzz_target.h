// The entry point of every fuzz target, as libFuzzer calls it. The targets
// link with fuzz_driver.cpp, which runs them over their seeds and over
// deterministic mutations of them, so that the sanitizer builds fuzz every
// reader of outside data on each test run; built with clang and
// -fsanitize=fuzzer instead, the same targets run under libFuzzer.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
