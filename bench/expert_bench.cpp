#include <bench/World.h>
#include <ostra/cluster/Cluster.h>
#include <ostra/wizard/ExpertWizard.h>
#include <ostra/wizard/WizardRegistry.h>
#include <platform/cluster/ClusterAdministration.h>
#include <platform/cluster/PropertyList.h>
#include <platform/cluster/cluster_api.h>
#include <platform/cluster/control_codes.h>
#include <platform/system/event_log.h>

#include <benchmark/benchmark.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace {

using bench::World;
using platform::ObjectId;
using platform::ObjectKind;

DWORD AddNodesAndDisk(platform::ClusterService& service) {
    platform::ClusterAdministration& administration = *service.Administration();
    for (const wchar_t* node : {L"N1", L"N2"})
        if (const DWORD code = administration.AddNode(node)) return code;
    return administration.AddDisk({39487, 1, 1, {{L"E:", L"Data", 1}}});
}

/// Reports go nowhere: with the cluster in memory, the one file that is written would be most of what is timed.
class NoReports final : public platform::EventSink {
public:
    NoReports() = default;
    NoReports(const NoReports&) = delete;
    NoReports& operator=(const NoReports&) = delete;
    ~NoReports() override { platform::SetEventSink(_before); }

    void Write(const platform::EventRecord&) override {}

private:
    platform::EventSink* _before = platform::SetEventSink(this);
};

/// Resources in the reverse of their creation, so that nothing depends on what is deleted.
void DeleteGroup(platform::ClusterService& service, const std::vector<std::wstring>& resources) {
    ObjectId id;
    service.Find(ObjectKind::Group, L"Sales", id);
    service.OfflineGroup(id);
    for (auto name = resources.rbegin(); name != resources.rend(); ++name) {
        ObjectId resource;
        service.Find(ObjectKind::Resource, *name, resource);
        service.Administration()->DeleteResource(resource);
    }
    service.Administration()->DeleteGroup(id);
}

std::vector<std::wstring> ResourceNames() {
    std::vector<std::wstring> names;
    for (const wchar_t* kind : {L"Physical Disk", L"IP Address", L"Network Name", L"File Share"})
        names.push_back(std::wstring(kind) + L" for Sales of File Share(1)");
    return names;
}

bool IsOnline(const World& world) {
    ObjectId id;
    DWORD state = ClusterStateUnknown;
    std::wstring owner;
    return world.service->Find(ObjectKind::Group, L"Sales", id) == 0 &&
           world.service->GroupState(id, state, owner) == 0 && state == ClusterGroupOnline;
}

/// Creates a group and deletes it again, which is not timed.
template <typename Create>
void TimeCreation(benchmark::State& state, const World& world, const Create& create) {
    const std::vector<std::wstring> resources = ResourceNames();
    for (auto _ : state) {
        create();
        state.PauseTiming();
        if (!IsOnline(world)) state.SkipWithError("the group is not online");
        DeleteGroup(*world.service, resources);
        state.ResumeTiming();
    }
}

void CreateAGroupFromATemplate(benchmark::State& state) {
    const World world(state.range(0) != 0, &AddNodesAndDisk);
    if (!world.isReady) return state.SkipWithError("no cluster");
    WizardRegistry(L"").Create();
    ExpertWizardGUIPage page(*ExpertWizard().GetPage(L"File Share"));
    const std::array<std::array<const wchar_t*, 2>, 7> values{{{L"Share Name:", L"public"},
                                                               {L"Path:", L"E:\\Sales"},
                                                               {L"Network Name:", L"FILES"},
                                                               {L"Network Interface:", L"Public"},
                                                               {L"Subnet Mask:", L"255.255.255.0"},
                                                               {L"IP Address:", L"10.1.1.20"},
                                                               {L"Disk Drive:", L"39487"}}};
    for (const auto& [prompt, value] : values) page.SetValue(prompt, value);
    std::array<StringArray, 5> strings;
    const std::vector<StringArray*> lists{&strings[0], &strings[1], &strings[2], &strings[3], &strings[4]};
    page.GetParameters(lists);
    OstraDLL::Cluster cluster(L"bench", 0, 2);
    cluster.Open(1);
    std::optional<NoReports> reports;
    if (state.range(0) == 0) reports.emplace();
    TimeCreation(state, world, [&] { cluster.CreateGroup(L"Sales", L"File Share", lists, nullptr); });
}
BENCHMARK(CreateAGroupFromATemplate)->ArgName("disk")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->UseRealTime();

/// The questions and changes that the engine gets from the above, and nothing around them.
class BareCreation {
public:
    explicit BareCreation(HCLUSTER cluster) : _cluster(cluster) {}

    void operator()() const {
        const HGROUP group = CreateClusterGroup(_cluster, L"Sales");
        std::array<HRESOURCE, 4> resources{};
        for (std::size_t i = 0; i < resources.size(); ++i) {
            if (i == 3) LookForTheDisk(resources);
            resources[i] = CreateClusterResource(group, _names[i].c_str(), _types[i], 0);
            for (const std::vector<BYTE>& list : _lists[i]) {
                ClusterResourceControl(resources[i], nullptr, CLUSCTL_RESOURCE_SET_PRIVATE_PROPERTIES, list.data(),
                                       static_cast<DWORD>(list.size()), nullptr, 0, nullptr);
            }
        }
        AddClusterResourceDependency(resources[2], resources[1]);
        AddClusterResourceDependency(resources[3], resources[2]);
        AddClusterResourceDependency(resources[3], resources[0]);
        const HGROUP opened = OpenClusterGroup(_cluster, L"Sales");
        OnlineClusterGroup(opened, nullptr);
        for (const HRESOURCE resource : resources) CloseClusterResource(resource);
        CloseClusterGroup(opened);
        CloseClusterGroup(group);
    }

private:
    using PropertyLists = std::vector<std::vector<BYTE>>;

    static std::vector<BYTE> Texts(const std::vector<std::array<const wchar_t*, 2>>& values) {
        std::vector<platform::PropertyValue> properties;
        for (const auto& [name, value] : values) properties.push_back({name, std::wstring(value)});
        return platform::EncodePropertyList(properties);
    }
    static std::vector<BYTE> Numbers(const std::vector<platform::PropertyValue>& values) {
        return platform::EncodePropertyList(values);
    }

    /// As the share does, to learn the drive: the types of all resources, the disk's drive, the nodes' free disks.
    void LookForTheDisk(const std::array<HRESOURCE, 4>& resources) const {
        std::array<BYTE, 4096> answer{};
        DWORD returned = 0;
        for (const HRESOURCE resource : {resources[0], resources[1], resources[2], resources[0]}) {
            ClusterResourceControl(resource, nullptr, CLUSCTL_RESOURCE_GET_COMMON_PROPERTIES, nullptr, 0, answer.data(),
                                   answer.size(), &returned);
        }
        ClusterResourceControl(resources[0], nullptr, CLUSCTL_RESOURCE_STORAGE_GET_DISK_INFO, nullptr, 0, answer.data(),
                               answer.size(), &returned);
        for (const wchar_t* name : {L"N1", L"N2"}) {
            const HNODE node = OpenClusterNode(_cluster, name);
            ClusterResourceTypeControl(_cluster, _types[0], node, CLUSCTL_RESOURCE_TYPE_STORAGE_GET_AVAILABLE_DISKS,
                                       nullptr, 0, answer.data(), answer.size(), &returned);
            CloseClusterNode(node);
        }
    }

    HCLUSTER _cluster;
    std::vector<std::wstring> _names = ResourceNames();
    std::array<const wchar_t*, 4> _types{L"Physical Disk", L"IP Address", L"Network Name", L"File Share"};
    std::array<PropertyLists, 4> _lists{
        PropertyLists{Numbers({{L"Signature", DWORD{39487}}})},
        PropertyLists{Texts({{L"Network", L"Public"}, {L"SubnetMask", L"255.255.255.0"}, {L"Address", L"10.1.1.20"}})},
        PropertyLists{Texts({{L"Name", L"OstraNetwork"}}), Texts({{L"Name", L"FILES"}})},
        PropertyLists{Texts({{L"ShareName", L"FileShare1E"}, {L"Path", L""}}),
                      Numbers({{L"MaxUsers", DWORD{4294967295}}, {L"Permissions", DWORD{127}}}),
                      Texts({{L"ShareName", L"public"}, {L"Path", L"E:\\Sales"}})}};
};

void BareCallsOfACreation(benchmark::State& state) {
    const World world(state.range(0) != 0, &AddNodesAndDisk);
    if (!world.isReady) return state.SkipWithError("no cluster");
    const HCLUSTER cluster = OpenCluster(L"bench");
    TimeCreation(state, world, BareCreation(cluster));
    CloseCluster(cluster);
}
BENCHMARK(BareCallsOfACreation)->ArgName("disk")->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
