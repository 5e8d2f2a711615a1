#include <ostra/wizard/ResourceDependency.h>

#include <ostra/wizard/RegistryCache.h>
#include <ostra/wizard/wizard_root.h>
#include <platform/base/SharedHandle.h>
#include <platform/base/error_codes.h>
#include <platform/base/format.h>
#include <platform/base/last_error.h>
#include <platform/base/output.h>
#include <platform/base/registry_types.h>

#include <algorithm>
#include <array>

namespace error = platform::error;

namespace {

constexpr int blockSize = 10;
constexpr DWORD mostKinds = 1000;
constexpr DWORD nameRoom = 256;  // characters, the null included

/// The names of the subkeys, as far as they can be read; the code that ended the reading.
DWORD ReadNames(HKEY key, StringArray& names) {
    std::array<wchar_t, nameRoom> name{};
    for (DWORD index = 0; index < mostKinds; ++index) {
        DWORD size = nameRoom;
        const auto code =
            static_cast<DWORD>(RegEnumKeyExW(key, index, name.data(), &size, nullptr, nullptr, nullptr, nullptr));
        if (code == error::NoMoreItems) break;
        if (code != error::Success && code != error::MoreData) return code;
        names.emplace_back(name.data());
    }
    return error::Success;
}

/// A kind without a key depends on nothing, which is no failure.
DWORD ReadDependencies(const std::wstring& kind, StringArray& names) {
    const DWORD before = GetLastError();
    const std::wstring path = std::wstring(wizardKey) + L"Dependencies\\" + kind;
    HKEY opened = nullptr;
    const auto code = static_cast<DWORD>(RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &opened));
    const platform::SharedHandle<HKEY, RegCloseKey> key(opened);
    if (code == error::Success) return ReadNames(key.Get(), names);
    if (code != error::FileNotFound) return code;
    SetLastError(before);
    return error::Success;
}

RegistryCache<StringArray>& KnownDependencies() {
    static auto& known = *new RegistryCache<StringArray>;
    return known;
}

}  // namespace

ResourceDependency::ResourceDependency(const std::wstring& resourceKind) : CObList(blockSize) {
    platform::ViewRegistry([&] {
        if (const auto known = KnownDependencies().Find(resourceKind)) {
            _dependentResources = *known;
        } else if (ReadDependencies(resourceKind, _dependentResources) == error::Success) {
            KnownDependencies().Keep(resourceKind, _dependentResources);
        }
    });
}

ResourceDependency::ResourceDependency(int) : CObList(blockSize) {}

ResourceDependency::~ResourceDependency() = default;

int ResourceDependency::IsDependent(const std::wstring& resourceKind) const {
    return std::ranges::find(_dependentResources, resourceKind) != _dependentResources.end() ? 1 : 0;
}

void ResourceDependency::Info() const {
    platform::WriteOutputLine(L"ResourceDependency::Info( void ). On entry.");
    platform::WriteOutput(
        platform::Format(L"ResourceDependency::Info( ). NumberOfDependencies:%d\n", NumberOfDependencies()));
    for (const std::wstring& kind : _dependentResources) platform::WriteOutputLine(kind);
}
