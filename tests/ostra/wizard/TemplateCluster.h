#pragma once

#include <ostra/registry/Registry.h>
#include <ostra/wizard/ExpertWizard.h>
#include <ostra/wizard/WizardRegistry.h>
#include <platform/base/registry_types.h>
#include <tests/support/CapturedEvents.h>
#include <tests/support/EmbeddedCluster.h>
#include <tests/support/FailingClusterService.h>

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

    /// The lists that the controls of a template fill, with their values by prompt, each kind's list in its place.
    static Lists FilledIn(const std::wstring& templateName, const std::wstring& address, const std::wstring& signature,
                          StringMap values) {
        values.insert({{L"Network Name:", L"FILES"},
                       {L"Network Interface:", L"Public"},
                       {L"Subnet Mask:", L"255.255.255.0"},
                       {L"IP Address:", address},
                       {L"Disk Drive:", signature}});
        ExpertWizardGUIPage page(*ExpertWizard().GetPage(templateName));
        for (const auto& [prompt, value] : values) page.SetValue(prompt, value);
        Lists lists;
        page.GetParameters(lists.Pointers());
        return lists;
    }
    static Lists ForFileShare(const std::wstring& address, const std::wstring& signature) {
        return FilledIn(L"File Share", address, signature, {{L"Share Name:", L"public"}});
    }

    /// The resources made since the last Forget, in that order, each as "NAME needs NAME, NAME {NAME=VALUE, ...}". A
    /// star stands for " for " and that base name.
    StringArray Made(const std::wstring& baseName) {
        StringArray lines;
        for (const std::wstring& name : NamesMade()) {
            std::wstring line = name + Joined(L" needs ", Members(Resource(name), CLUSTER_RESOURCE_ENUM_DEPENDS));
            StringArray parameters;
            for (const auto& [parameter, value] : ParametersOf(name)) parameters.push_back(parameter + L"=" + value);
            line += L" {" + Joined(L"", parameters) + L"}";
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
    bool IsOnline(const std::wstring& group) { return StateOf(group) == ClusterGroupOnline; }

    CapturedEvents events;
    FailingCluster failing{L"Test", service};
    HCLUSTER cluster = OpenCluster(L"Test");

private:
    static std::wstring Joined(const wchar_t* before, const StringArray& items) {
        std::wstring text;
        for (const std::wstring& item : items) text += (text.empty() ? before : L", ") + item;
        return text;
    }
};

}  // namespace tests
