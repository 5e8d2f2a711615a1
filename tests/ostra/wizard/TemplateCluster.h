#pragma once

#include <ostra/registry/Registry.h>
#include <ostra/wizard/ExpertWizard.h>
#include <ostra/wizard/WizardRegistry.h>
#include <platform/base/registry_types.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/EmbeddedCluster.h>
#include <tests/support/FailingClusterService.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tests {

/// The parameter lists of a template's kinds.
struct Lists {
    std::vector<StringArray> strings = std::vector<StringArray>(5);

    /// For as long as this object stays as it is.
    std::vector<StringArray*> Pointers() {
        std::vector<StringArray*> pointers;
        for (StringArray& list : strings) pointers.push_back(&list);
        return pointers;
    }
};

/// The cluster Test with nodes N1 and N2, the network Public and the free disks E: (signature 0x9A3F) and F: (signature
/// 0xF0000001, whose top bit is set), on a machine with the default templates.
class TemplateCluster : public EmbeddedClusterTest {
protected:
    TemplateCluster() {
        Expect(platform::BeginRegistryRehearsal(), L"the registry");
        WizardRegistry(L"").Create();
        Given({.networks = {{.name = L"Public"}},
               .disks = {{0x9A3F, 1, 1, {{L"E:", L"Data", 1}}}, {0xF0000001, 2, 2, {{L"F:", L"Data", 2}}}}});
    }
    ~TemplateCluster() override {
        CloseCluster(cluster);
        platform::EndRegistryRehearsal();
    }

    /// A template without controls; without kinds too when `kinds` is null.
    static void WriteTemplate(const std::wstring& name, const wchar_t* kinds) {
        const std::wstring path = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Norvane\\Ostra\\ExpertWizard\\Groups\\" + name;
        Registry(path + L"\\GUI\\", L"").Open(nullptr, 0);
        if (!kinds) return;
        Registry components(path + L"\\Components\\", L"");
        components.AddValue(components.Open(nullptr, 0), L"Names", kinds, REG_SZ);
    }

    /// The lists that the controls of a template fill, with their values by prompt, each kind's list in its place.
    static Lists FilledIn(const std::wstring& templateName, const StringMap& values) {
        ExpertWizardGUIPage page(*ExpertWizard().GetPage(templateName));
        for (const auto& [prompt, value] : values) page.SetValue(prompt, value);
        Lists lists;
        page.GetParameters(lists.Pointers());
        if (templateName == L"Print Spooler") std::swap(lists.strings[3], lists.strings[4]);
        return lists;
    }
    /// Controls of every template that makes a service, with the rest.
    static StringMap ControlValues(const std::wstring& address, const std::wstring& signature, StringMap values) {
        values.insert({{L"Network Name:", L"FILES"},
                       {L"Network Interface:", L"Public"},
                       {L"Subnet Mask:", L"255.255.255.0"},
                       {L"IP Address:", address},
                       {L"Disk Drive:", signature}});
        return values;
    }

    /// The resources made since the last Forget, in that order, each as "NAME needs NAME, NAME {NAME=VALUE, ...}". A
    /// star stands for " for " and that base name.
    StringArray Made(const std::wstring& baseName) {
        StringArray lines;
        for (const std::wstring& name : NamesMade()) {
            std::wstring line = Described(name);
            const std::wstring ending = L" for " + baseName;
            for (std::size_t at = line.find(ending); at != std::wstring::npos; at = line.find(ending))
                line.replace(at, ending.size(), L"*");
            lines.push_back(line);
        }
        return lines;
    }
    StringArray NamesMade() {
        StringArray names;
        for (const platform::ClusterChange& change : Changes())
            if (change.notification == CLUSTER_CHANGE_RESOURCE_ADDED) names.push_back(change.object);
        return names;
    }
    std::map<std::wstring, std::wstring> ParametersOf(const std::wstring& resource) {
        return Get(Resource(resource), CLUSCTL_GET_PRIVATE_PROPERTIES);
    }
    bool IsOnline(const std::wstring& group) {
        const StringArray resources = Members(Group(group), CLUSTER_GROUP_ENUM_CONTAINS);
        return StateOf(group) == ClusterGroupOnline && std::ranges::all_of(resources, [&](const std::wstring& name) {
                   return StateOf(name) == ClusterResourceOnline;
               });
    }

    CapturedEvents events;
    FailingCluster failing{L"Test", service};
    HCLUSTER cluster = OpenCluster(L"Test");

private:
    std::wstring Described(const std::wstring& resource) {
        std::wstring line = resource;
        const wchar_t* separator = L" needs ";
        for (const std::wstring& need : Members(Resource(resource), CLUSTER_RESOURCE_ENUM_DEPENDS)) {
            line += separator + need;
            separator = L", ";
        }
        line += L" {";
        separator = L"";
        for (const auto& [name, value] : ParametersOf(resource)) {
            line += separator + name + L"=" + value;
            separator = L", ";
        }
        return line + L"}";
    }
};

}  // namespace tests
