#include "platform/sim/sim_failures.h"

#include <stdexcept>

#include "core/text.h"

namespace qv {

CSimFailures::CSimFailures(std::initializer_list<const wchar_t*> operations)
    : m_operations(operations.begin(), operations.end()) {}

void CSimFailures::CheckKnown(const std::wstring& operation) const {
    if (!m_operations.contains(operation))
        throw std::invalid_argument("the simulated machine has no operation " + WideToUtf8(operation));
}

void CSimFailures::Fail(const std::wstring& operation, uint32_t code, const std::wstring& target, uint32_t times) {
    CheckKnown(operation);
    if (times == 0) return;
    std::lock_guard lock(m_mutex);
    m_rules.push_back(Rule{operation, target, code, times});
}

void CSimFailures::Clear(const std::wstring& operation, const std::wstring& target) {
    CheckKnown(operation);
    std::lock_guard lock(m_mutex);
    std::erase_if(m_rules, [&](const Rule& r) { return r.operation == operation && r.target == target; });
}

void CSimFailures::ClearAll() {
    std::lock_guard lock(m_mutex);
    m_rules.clear();
}

std::optional<uint32_t> CSimFailures::Enter(const std::wstring& operation,
                                            std::initializer_list<std::wstring_view> targets) {
    std::lock_guard lock(m_mutex);
    ++m_calls[{operation, std::wstring()}];
    for (std::wstring_view target : targets)
        if (!target.empty()) ++m_calls[{operation, std::wstring(target)}];

    for (auto rule = m_rules.rbegin(); rule != m_rules.rend(); ++rule) {
        if (rule->operation != operation) continue;
        bool matches = rule->target.empty();
        for (std::wstring_view target : targets) matches = matches || rule->target == target;
        if (!matches) continue;
        uint32_t code = rule->code;
        if (rule->left != kUntilCleared && --rule->left == 0) m_rules.erase(std::next(rule).base());
        return code;
    }
    return std::nullopt;
}

uint64_t CSimFailures::CallCount(const std::wstring& operation, const std::wstring& target) const {
    CheckKnown(operation);
    std::lock_guard lock(m_mutex);
    auto found = m_calls.find(std::pair{operation, target});
    return found == m_calls.end() ? 0 : found->second;
}

}  // namespace qv
