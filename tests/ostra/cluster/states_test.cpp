#include <ostra/cluster/Group.h>
#include <ostra/cluster/Network.h>
#include <ostra/cluster/NetworkInterface.h>
#include <ostra/cluster/Node.h>
#include <tests/ostra/cluster/ClusterWorld.h>

#include <gtest/gtest.h>

#include <array>

namespace {

class AState : public tests::ClusterWorld {
protected:
    AState() { Expect(Administration().AddNetwork({L"Both", L"10.1.4.0", L"255.255.255.0", 3, L""}), L"Both"); }

    ::Node node{L"N1", cluster, L"Test", 0};
    ::Group group{L"Alpha", cluster, L"Test", 1, 1};
    ::Resource resource{L"Alpha 1", cluster, L"Test", 0};
    ::Network network{L"Both", cluster, L"Test", 0};
    NetworkInterface onN1{L"N1 - Both", cluster, L"Test", 0};
};

TEST_F(AState, IsToldByTextAndByCodeButForNodesAndInterfacesAndStaysWhenItIsNone) {
    const std::pair<ClusterComponent*, std::wstring> objects[] = {{&node, L"Node "},
                                                                  {&group, L"Group "},
                                                                  {&resource, L"Resource "},
                                                                  {&network, L"Network "},
                                                                  {&onN1, L"NetworkInterface "}};
    const std::pair<DWORD, std::array<std::wstring, std::size(objects)>> rows[] = {
        {0, {L"is up.", L"on line.", L"is inherited.", L"is unavailable.", L"is unavailable."}},
        {1, {L"is down.", L"off line.", L"is initializing.", L"is down.", L"is failed."}},
        {2, {L"is paused.", L"failed.", L"is online.", L"is partitioned.", L"is unreachable."}},
        {3, {L"is joining.", L"partial on line.", L"is offline.", L"is up.", L"is up."}},
        {4, {L"", L"", L"failed.", L"", L""}},
        {5, {}},
        {128, {L"", L"", L"is pending.", L"", L""}},
        {129, {L"", L"", L"is online pending.", L"", L""}},
        {130, {L"", L"", L"is offline pending.", L"", L""}},
        {131, {}},
        {ClusterStateUnknown, {L"", L"", L"", L"is in a unknown state.", L"is in a unknown state."}},
    };
    for (std::size_t i = 0; i < std::size(objects); ++i) {
        const auto& [object, kind] = objects[i];
        const bool hasCode = object != &node && object != &onN1;
        std::pair<DWORD, std::wstring> shown;
        for (const auto& [state, texts] : rows) {
            failing->state = state;
            const bool isState = !texts[i].empty();
            if (isState) shown = {hasCode ? state : 0, kind + texts[i]};
            EXPECT_EQ(isState || (object == &group && state == ClusterStateUnknown), object->Status(0)) << state;
            EXPECT_EQ(shown, std::pair(object->StatusCode(0), object->StatusString(0)));
        }
    }
    EXPECT_EQ(L"N1 Alpha", group.CurrentOwnerName() + L" " + resource.ParentName());
    const StringArray reports = NewReports();
    EXPECT_TRUE(reports.at(0).starts_with(L"1 Node::Info( int ). Unknown node state afater calling GetCl"));
    EXPECT_TRUE(reports.back().starts_with(L"1 Resource::Info( int ). Unknown resource state after calling GetC"));
}

TEST_F(AState, IsNotToldOfWhatCannotBeOpened) {
    failing->Fail(tests::Operation::NetworkState, platform::error::AccessDenied);
    EXPECT_EQ(L"Network is in a unknown state.", network.StatusString(0));
    Expect(Administration().RemoveNetwork(Network(L"Both")), L"Both");
    EXPECT_EQ(0, network.Status(0) + onN1.Status(0));
    EXPECT_FALSE(network.Handle() || onN1.Handle());
    const std::pair<const wchar_t*, HCLUSTER> rows[] = {{L"", cluster}, {L"Nowhere", cluster}, {L"N1", nullptr}};
    for (const auto& [name, handle] : rows) {
        const std::unique_ptr<ClusterComponent> objects[] = {
            std::make_unique<::Node>(name, handle, L"Test", 1), std::make_unique<::Group>(name, handle, L"Test", 1, 0),
            std::make_unique<::Resource>(name, handle, L"Test", 1),
            std::make_unique<::Network>(name, handle, L"Test", 1),
            std::make_unique<NetworkInterface>(name, handle, L"Test", 1)};
        for (const auto& object : objects) EXPECT_EQ(0, object->Status(0));
    }
    EXPECT_EQ(
        (StringArray{L"1 Node::Open( ). Failure opening node.", L"1 Group::Open( ). Failure opening group.",
                     L"1 Node::Open( ). Failure opening node.", L"1 Group::Open( ). Failure opening group.Nowhere",
                     L"1 Node::Open( ). Invalid cluster handle.", L"1 Group::Open( ). Failure opening group.N1"}),
        NewReports());
}

}  // namespace
