#include <ostra/wizard/ResourceDependency.h>

#include <ostra/registry/Registry.h>
#include <platform/base/format.h>
#include <platform/base/output.h>
#include <platform/base/registry_types.h>

#include <algorithm>

namespace {

constexpr int blockSize = 10;
constexpr wchar_t dependenciesPath[] = L"SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\Dependencies\\";

bool IsThere(const std::wstring& path) {
    HKEY opened = nullptr;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &opened);
    return platform::SharedHandle<HKEY, RegCloseKey>(opened).Get() != nullptr;
}

}  // namespace

ResourceDependency::ResourceDependency(const std::wstring& resourceKind) : CObList(blockSize) {
    const std::wstring path = dependenciesPath + resourceKind;
    platform::ViewRegistry([&] {
        if (!IsThere(path)) return;  // the registry would report what most kinds rightly lack
        Registry registry(L"HKEY_LOCAL_MACHINE\\" + path + L"\\", L"");
        if (registry.Open(nullptr, 1)) _dependentResources = registry.SubKeys();
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
