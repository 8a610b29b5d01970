#include "platform/registry_store.h"

#include "core/text.h"
#include "platform/codes.h"

namespace qv {

namespace {

// Windows gives up after a few dozen reparse steps; a handful is plenty for
// any link that someone made on purpose.
constexpr int kMaxLinkHops = 16;

std::vector<std::wstring_view> SplitPath(std::wstring_view path) {
    std::vector<std::wstring_view> names;
    std::size_t start = 0;
    while (start <= path.size()) {
        std::size_t end = path.find(L'\\', start);
        if (end == std::wstring_view::npos) end = path.size();
        if (end > start) names.push_back(path.substr(start, end - start));
        start = end + 1;
    }
    return names;
}

std::wstring Join(const std::wstring& parent, std::wstring_view name) {
    return parent.empty() ? std::wstring(name) : parent + L"\\" + std::wstring(name);
}

// Strips a prefix (without regard to case) and the backslashes after it.
bool ConsumePrefix(std::wstring_view& text, std::wstring_view prefix) {
    if (!StartsWithNoCase(text, prefix)) return false;
    std::wstring_view rest = text.substr(prefix.size());
    if (!rest.empty() && rest.front() != L'\\') return false;
    while (!rest.empty() && rest.front() == L'\\') rest.remove_prefix(1);
    text = rest;
    return true;
}

}  // namespace

CRegistryStore::CRegistryStore() {
    ClearRoot(RegistryRoot::LocalMachine);
    ClearRoot(RegistryRoot::CurrentUser);
}

void CRegistryStore::ClearRoot(RegistryRoot root) {
    auto& keys = m_roots[Index(root)];
    keys.clear();
    keys.emplace(std::wstring(), RegistryKeyData{});
}

std::wstring CRegistryStore::CanonicalPath(std::wstring_view path) {
    std::wstring canonical;
    for (std::wstring_view name : SplitPath(path)) canonical = Join(canonical, ToLowerWide(name));
    return canonical;
}

RegistryKeyData& CRegistryStore::PutKey(RegistryRoot root, std::wstring_view path) {
    auto& keys = m_roots[Index(root)];
    std::wstring lower;
    std::wstring display;
    for (std::wstring_view name : SplitPath(path)) {
        lower = Join(lower, ToLowerWide(name));
        auto it = keys.find(lower);
        if (it == keys.end()) {
            display = Join(display, name);
            it = keys.emplace(lower, RegistryKeyData{display, {}}).first;
        }
        display = it->second.path;
    }
    return keys.find(lower)->second;
}

std::vector<uint8_t> CRegistryStore::LinkData(RegistryRoot targetRoot, std::wstring_view targetPath) {
    std::wstring text = targetRoot == RegistryRoot::LocalMachine ? L"\\REGISTRY\\MACHINE" : L"\\REGISTRY\\USER\\CurrentUser";
    for (std::wstring_view name : SplitPath(targetPath)) text = Join(text, name);
    return WideToUtf16Le(text);
}

CRegistryStore::Link CRegistryStore::LinkTarget(const RegistryKeyData& key, RegistryRoot& root, std::wstring& path) {
    auto it = key.values.find(ToLowerWide(kLinkValueName));
    if (it == key.values.end() || it->second.type != kRegLink) return Link::None;
    std::wstring text = Utf16LeToWide(it->second.data.data(), it->second.data.size());
    while (!text.empty() && text.back() == L'\0') text.pop_back();
    std::wstring_view rest = text;
    if (ConsumePrefix(rest, L"\\REGISTRY\\MACHINE")) {
        root = RegistryRoot::LocalMachine;
    } else if (ConsumePrefix(rest, L"\\REGISTRY\\USER") && !rest.empty()) {
        // The first name below USER is the user; this registry has only one.
        std::size_t end = rest.find(L'\\');
        rest = end == std::wstring_view::npos ? std::wstring_view() : rest.substr(end + 1);
        root = RegistryRoot::CurrentUser;
    } else {
        return Link::Broken;
    }
    path = std::wstring(rest);
    return Link::Target;
}

Win32Error CRegistryStore::OpenKey(RegistryRoot root, std::wstring_view subKey, bool followLast, bool create,
                                   RegistryKeyLocation& location, RegistryRootSet& created) {
    created = {};
    int hops = 0;
    return Resolve(root, subKey, followLast, create, location, created, hops);
}

Win32Error CRegistryStore::Resolve(RegistryRoot root, std::wstring_view subKey, bool followLast, bool create,
                                   RegistryKeyLocation& location, RegistryRootSet& created, int& hops) {
    const std::vector<std::wstring_view> names = SplitPath(subKey);
    RegistryRoot currentRoot = root;
    std::wstring current;  // lower-case path of the key reached so far
    for (std::size_t i = 0; i < names.size(); ++i) {
        auto& keys = m_roots[Index(currentRoot)];
        std::wstring next = Join(current, ToLowerWide(names[i]));
        auto it = keys.find(next);
        if (it == keys.end()) {
            if (!create) return ERROR_FILE_NOT_FOUND;
            std::wstring display = Join(keys.at(current).path, names[i]);
            keys.emplace(next, RegistryKeyData{std::move(display), {}});
            created.Mark(currentRoot);
            current = std::move(next);
            continue;
        }
        // A link on the way is always followed; the last one only without
        // REG_OPTION_OPEN_LINK, which is how a caller gets to see it.
        const bool last = i + 1 == names.size();
        RegistryRoot targetRoot = currentRoot;
        std::wstring targetPath;
        const Link link = (!last || followLast) ? LinkTarget(it->second, targetRoot, targetPath) : Link::None;
        if (link == Link::Broken) return ERROR_FILE_NOT_FOUND;
        if (link == Link::Target) {
            if (++hops > kMaxLinkHops) return kErrorCantResolveFilename;
            RegistryKeyLocation target;
            if (Win32Error error = Resolve(targetRoot, targetPath, true, create, target, created, hops)) return error;
            currentRoot = target.root;
            current = std::move(target.path);
            continue;
        }
        current = std::move(next);
    }
    location.root = currentRoot;
    location.path = std::move(current);
    return ERROR_SUCCESS;
}

Win32Error CRegistryStore::QueryValue(const RegistryKeyLocation& key, std::wstring_view name, uint32_t& type,
                                      std::vector<uint8_t>& data) const {
    const auto& keys = m_roots[Index(key.root)];
    auto k = keys.find(key.path);
    if (k == keys.end()) return kErrorKeyDeleted;
    auto v = k->second.values.find(ToLowerWide(name));
    if (v == k->second.values.end()) return ERROR_FILE_NOT_FOUND;
    type = v->second.type;
    data = v->second.data;
    return ERROR_SUCCESS;
}

Win32Error CRegistryStore::SetValue(const RegistryKeyLocation& key, std::wstring_view name, uint32_t type,
                                    std::vector<uint8_t> data) {
    auto& keys = m_roots[Index(key.root)];
    auto k = keys.find(key.path);
    if (k == keys.end()) return kErrorKeyDeleted;
    auto [v, inserted] = k->second.values.try_emplace(ToLowerWide(name), RegistryValue{std::wstring(name), 0, {}});
    v->second.type = type;
    v->second.data = std::move(data);
    return ERROR_SUCCESS;
}

}  // namespace qv
