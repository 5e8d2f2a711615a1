#include <ostra/cluster/Group.h>
#include <ostra/cluster/Node.h>
#include <tests/ostra/cluster/ClusterWorld.h>

namespace {

class AState : public tests::ClusterWorld {
protected:
    ::Node node{L"N1", cluster, L"Test", 0};
    ::Group group{L"Alpha", cluster, L"Test", 1, 1};
    ::Resource resource{L"Alpha 1", cluster, L"Test", 0};
};

TEST_F(AState, IsToldByTextAndByCodeButForNodes) {
    const struct {
        ClusterComponent& object;
        DWORD state;
        const wchar_t* text;
    } rows[] = {
        {node, 0, L"Node is up."},
        {node, 1, L"Node is down."},
        {node, 2, L"Node is paused."},
        {node, 3, L"Node is joining."},
        {group, 0, L"Group on line."},
        {group, 1, L"Group off line."},
        {group, 2, L"Group failed."},
        {group, 3, L"Group partial on line."},
        {resource, 0, L"Resource is inherited."},
        {resource, 1, L"Resource is initializing."},
        {resource, 2, L"Resource is online."},
        {resource, 3, L"Resource is offline."},
        {resource, 4, L"Resource failed."},
        {resource, 128, L"Resource is pending."},
        {resource, 129, L"Resource is online pending."},
        {resource, 130, L"Resource is offline pending."},
    };
    for (const auto& row : rows) {
        observed->state = row.state;
        EXPECT_EQ(row.text, row.object.StatusString(0));
        EXPECT_EQ(&row.object == &node ? 0 : row.state, row.object.StatusCode(0));
        EXPECT_EQ(row.state == 2, resource.IsOnline() != 0);
        EXPECT_EQ(row.state == 3, resource.IsOffline() != 0);
    }
    EXPECT_EQ(L"N1 Alpha", group.CurrentOwnerName() + L" " + resource.ParentName());
}

TEST_F(AState, StaysWhenTheClusterCannotSayWhichItIs) {
    observed->state = 2;
    for (ClusterComponent* object : std::initializer_list<ClusterComponent*>{&node, &group, &resource})
        EXPECT_EQ(1, object->Status(0));
    for (const DWORD state : {5u, 131u, ClusterStateUnknown}) {
        observed->state = state;
        EXPECT_EQ(0, node.Status(0));
        EXPECT_EQ(0, resource.Status(0));
        EXPECT_EQ(state == ClusterStateUnknown, group.Status(0));
        const StringArray reports = NewReports();
        ASSERT_EQ(2u, reports.size());
        EXPECT_TRUE(reports[0].starts_with(L"1 Node::Info( int ). Unknown node state afater calling GetCl"));
        EXPECT_TRUE(reports[1].starts_with(L"1 Resource::Info( int ). Unknown resource state after calling GetCl"));
    }
    EXPECT_EQ(L"Node is paused.", node.StatusString(0));
    EXPECT_EQ(L"Group failed.", group.StatusString(0));
    EXPECT_EQ(L"N1", group.CurrentOwnerName());
    EXPECT_EQ(L"Resource is online.", resource.StatusString(0));
    NewReports();

    ::Group missing(L"Omega", cluster, L"Test", 1, 0);
    EXPECT_EQ(0, missing.Status(0));
    EXPECT_EQ(0, missing.GetErrorCode());
    EXPECT_EQ(L"Group::Status( void ). Failure opening group ", missing.GetErrorString());
    EXPECT_EQ(0, ::Node(L"N9", cluster, L"Test", 0).Status(0));
    EXPECT_EQ(0, ::Node(L"N1", nullptr, L"Test", 0).Status(0));
    EXPECT_EQ(0, ::Resource(L"Nobody", cluster, L"Test", 0).Status(0));
    EXPECT_EQ((StringArray{L"1 Group::Open( ). Failure opening group.Omega", L"1 Node::Open( ). Failure opening node.",
                           L"1 Node::Open( ). Invalid cluster handle."}),
              NewReports());
}

}  // namespace
