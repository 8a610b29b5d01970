// Whether the test runs under Wine, where a few Windows behaviours are
// missing (PLATFORM-NOTES.md): tests skip those cases with a reason.
#pragma once

namespace qv::test {

bool RunningUnderWine();

}  // namespace qv::test
