#include <ostra/wizard/WizardRegistry.h>

#include <ostra/wizard/wizard_root.h>
#include <platform/base/output.h>

#include <string_view>
#include <vector>

namespace {

struct ControlTemplate {
    const wchar_t* prompt;
    const wchar_t* owner;
    const wchar_t* registryName;
    const wchar_t* dataFormat;
};

/// The two controls of a template's own, and those of the address, the name and the disk that its group needs.
std::vector<ControlTemplate> WithAddressAndDisk(const ControlTemplate& first, const ControlTemplate& second) {
    return {
        first,
        second,
        {L"Network Name:", L"Network Name", L"Name", L"REG_SZ"},
        {L"Network Interface:", L"IP Address", L"Network", L"REG_SZ"},
        {L"Subnet Mask:", L"IP Address", L"SubnetMask", L"REG_SZ"},
        {L"IP Address:", L"IP Address", L"Address", L"REG_SZ"},
        {L"Disk Drive:", L"Physical Disk", L"Signature", L"REG_DWORD"},
    };
}

struct SampleNetwork {
    const wchar_t* name;
    const wchar_t* range;
    const wchar_t* subnetMask;
};

constexpr SampleNetwork sampleNetworks[] = {
    {L"Network0", L"192.168.10.100:192.168.10.199", L"255.255.255.0"},
    {L"Network1", L"172.16.32.100:172.16.32.199", L"255.255.240.0"},
};

constexpr std::wstring_view kinds[] = {
    L"File Share",   L"Generic Applicaion", L"Generic Service", L"IIS Virtual Root", L"IP Address",
    L"Network Name", L"Physical Disk",      L"Print Spooler",   L"Time Service",
};

/// Fails to compile for a kind that is none of `kinds`.
consteval std::size_t IndexOf(std::wstring_view kind) {
    std::size_t index = 0;
    while (kinds[index] != kind) ++index;
    return index;
}

struct Dependency {
    std::size_t kind;  // its index
    const wchar_t* needed;
};

constexpr Dependency dependencies[] = {
    {IndexOf(L"Network Name"), L"IP Address"},     {IndexOf(L"File Share"), L"Network Name"},
    {IndexOf(L"File Share"), L"Physical Disk"},    {IndexOf(L"Print Spooler"), L"Network Name"},
    {IndexOf(L"Print Spooler"), L"Physical Disk"}, {IndexOf(L"IIS Virtual Root"), L"IP Address"},
    {IndexOf(L"IIS Virtual Root"), L"File Share"},
};

}  // namespace

struct WizardRegistry::Template {
    const wchar_t* progress;
    const wchar_t* name;
    const wchar_t* kinds;  // null leaves the list of kinds out
    std::vector<ControlTemplate> controls;
};

WizardRegistry::WizardRegistry(const std::wstring&) : Registry(WizardPath(L""), L"") {}

void WizardRegistry::Create() {
    _failures = 0;
    Registry company(L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Norvane\\", L"");
    _productKey = MakeKey(company.Open(nullptr, 0), L"Ostra");
    platform::WriteOutputLine(L"Adding root key.....");
    if (!_productKey) return;
    _expertWizardKey = MakeKey(_productKey.Get(), L"ExpertWizard");
    platform::WriteOutputLine(L"Adding Expert Wizard......");
    _groupsKey = MakeKey(_expertWizardKey.Get(), L"Groups");
    platform::WriteOutputLine(L"Adding Expert Wizard Groups......");
    if (_groupsKey) {
        BuildFileShareRegistry();
        BuildIIServiceRegistry();
        BuildMarlinRegistry();
        BuildPrintSpoolerRegistry();
    }
    if (const Key stack = MakeKey(_expertWizardKey.Get(), L"IPStack")) BuildIPStack(stack.Get());
    if (const Key kindsKey = MakeKey(_expertWizardKey.Get(), L"Dependencies")) BuildDependencies(kindsKey.Get());
    if (const Key scheduler = MakeKey(_productKey.Get(), L"Scheduler"))
        WriteValue(scheduler.Get(), L"Persistence", L"0");
}

void WizardRegistry::BuildFileShareRegistry() {
    BuildTemplate({L"Building File Share Registry......", L"File Share",
                   L"Physical Disk,IP Address,Network Name,File Share",
                   WithAddressAndDisk({L"Share Name:", L"File Share", L"ShareName", L"REG_SZ"},
                                      {L"Path:", L"File Share", L"Path", L"REG_SZ"})});
}

void WizardRegistry::BuildIIServiceRegistry() {
    BuildTemplate({L"Building IIS Service Registry......", L"IIS Virtual Root",
                   L"Physical Disk,IP Address,Network Name,File Share,IIS Virtual Root",
                   WithAddressAndDisk({L"Directory:", L"IIS Virtual Root", L"Directory", L"REG_SZ"},
                                      {L"Alias:", L"IIS Virtual Root", L"Alias", L"REG_SZ"})});
}

void WizardRegistry::BuildMarlinRegistry() {
    BuildTemplate({L"Building Marlin Registry......",
                   L"Marlin",
                   nullptr,
                   {{L"Marlin Server Name", L"File Share", L"???", L"REG_SZ"},
                    {L"Path", L"File Share", L"???", L"REG_SZ"},
                    {L"ODBC Driver Name", L"Network Name", L"???", L"REG_SZ"}}});
}

void WizardRegistry::BuildPrintSpoolerRegistry() {
    BuildTemplate(
        {L"Building Print Spooler Registry......", L"Print Spooler",
         L"Physical Disk,IP Address,Network Name,Print Spooler",
         WithAddressAndDisk({L"Spool Foler:", L"Print Spooler", L"DefaultSpoolDirectory", L"REG_SZ"},
                            {L"Job Completion Timeout:", L"Print Spooler", L"JobCompletionTimeout", L"REG_DWORD"})});
}

void WizardRegistry::BuildIPStack(HKEY stackKey) {
    for (const SampleNetwork& network : sampleNetworks) {
        const Key key = MakeKey(stackKey, network.name);
        WriteValue(key.Get(), L"Initialized", L"No");
        WriteValue(key.Get(), L"IP Range", network.range);
        WriteValue(key.Get(), L"IP Used", L"", REG_BINARY);
        WriteValue(key.Get(), L"Persistence", L"", REG_BINARY);
        WriteValue(key.Get(), L"Subnet Mask", network.subnetMask);
    }
}

void WizardRegistry::BuildDependencies(HKEY dependenciesKey) {
    platform::WriteOutputLine(L"Building Dependencies Registry......");
    std::vector<Key> kindKeys;
    for (const std::wstring_view kind : kinds) kindKeys.push_back(MakeKey(dependenciesKey, std::wstring(kind)));
    for (const Dependency& dependency : dependencies) MakeKey(kindKeys[dependency.kind].Get(), dependency.needed);
}

void WizardRegistry::BuildTemplate(const Template& description) {
    platform::WriteOutputLine(description.progress);
    const Key key = MakeKey(_groupsKey.Get(), description.name);
    const Key page = MakeKey(key.Get(), L"GUI");
    const Key components = MakeKey(key.Get(), L"Components");
    if (description.kinds) WriteValue(components.Get(), L"Names", description.kinds);

    std::vector<Key> controls;
    for (std::size_t number = 1; number <= description.controls.size(); ++number)
        controls.push_back(MakeKey(page.Get(), std::to_wstring(number)));
    const auto writeAll = [&](const wchar_t* valueName, auto&& textOf) {
        for (std::size_t index = 0; index < controls.size(); ++index)
            WriteValue(controls[index].Get(), valueName, textOf(description.controls[index]));
    };
    writeAll(L"Prompt", [](const ControlTemplate& control) { return control.prompt; });
    writeAll(L"Value", [](const ControlTemplate&) { return L""; });
    writeAll(L"Owner", [](const ControlTemplate& control) { return control.owner; });
    writeAll(L"Registry Name", [](const ControlTemplate& control) { return control.registryName; });
    writeAll(L"Data Format", [](const ControlTemplate& control) { return control.dataFormat; });
}

WizardRegistry::Key WizardRegistry::MakeKey(HKEY parent, const std::wstring& name) {
    Key made(AddKey(parent, name, L"", L"", REG_SZ));
    if (!made) ++_failures;
    return made;
}

void WizardRegistry::WriteValue(HKEY key, const std::wstring& name, const std::wstring& data, DWORD type) {
    if (!AddValue(key, name, data, type)) ++_failures;
}
