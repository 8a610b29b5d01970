// What a test makes the simulated machine do at one of its platform calls:
// fail with a chosen code, for every object or for one (an endpoint id, a
// session's instance identifier, a process id...), once or until cleared.
// It also counts the calls, so that a test can tell that no call was made.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qv {

class CSimFailures {
public:
    static constexpr uint32_t kUntilCleared = 0xFFFFFFFFu;

    // The operations that this area of the machine has, by their platform
    // names ("IMMDevice::OpenPropertyStore").
    explicit CSimFailures(std::initializer_list<const wchar_t*> operations);

    // Makes the next `times` calls of the operation on the target fail with
    // the code; an empty target means every object. When several rules match
    // a call, the latest one set wins. An operation that this area does not
    // have throws std::invalid_argument: a misspelt name would otherwise
    // quietly fail nothing and the test would prove nothing.
    void Fail(const std::wstring& operation, uint32_t code, const std::wstring& target = {},
              uint32_t times = kUntilCleared);
    // Removes the rules of that operation and target.
    void Clear(const std::wstring& operation, const std::wstring& target = {});
    void ClearAll();

    // Called by the machine at the start of each operation: counts the call
    // once for the operation and once for each target, and gives the code
    // the call must fail with, if any.
    std::optional<uint32_t> Enter(const std::wstring& operation, std::initializer_list<std::wstring_view> targets = {});

    // Calls of the operation so far, on any object or on the target.
    uint64_t CallCount(const std::wstring& operation, const std::wstring& target = {}) const;

private:
    struct Rule {
        std::wstring operation;
        std::wstring target;
        uint32_t code = 0;
        uint32_t left = 0;
    };
    void CheckKnown(const std::wstring& operation) const;

    const std::set<std::wstring, std::less<>> m_operations;
    mutable std::mutex m_mutex;
    std::vector<Rule> m_rules;  // oldest first
    std::map<std::pair<std::wstring, std::wstring>, uint64_t, std::less<>> m_calls;
};

}  // namespace qv
