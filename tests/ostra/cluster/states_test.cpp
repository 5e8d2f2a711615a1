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
    using Texts = std::map<DWORD, const wchar_t*>;
    const std::pair<ClusterComponent*, Texts> rows[] = {
        {&node, {{0, L"Node is up."}, {1, L"Node is down."}, {2, L"Node is paused."}, {3, L"Node is joining."}}},
        {&group,
         {{0, L"Group on line."}, {1, L"Group off line."}, {2, L"Group failed."}, {3, L"Group partial on line."}}},
        {&resource,
         {{0, L"Resource is inherited."},
          {1, L"Resource is initializing."},
          {2, L"Resource is online."},
          {3, L"Resource is offline."},
          {4, L"Resource failed."},
          {128, L"Resource is pending."},
          {129, L"Resource is online pending."},
          {130, L"Resource is offline pending."}}},
    };
    for (const auto& [object, texts] : rows) {
        for (const auto& [state, text] : texts) {
            failing->state = state;
            EXPECT_EQ(text, object->StatusString(0));
            EXPECT_EQ(object == &node ? 0 : state, object->StatusCode(0));
            EXPECT_EQ(std::pair(state == 2, state == 3),
                      std::pair(resource.IsOnline() != 0, resource.IsOffline() != 0));
        }
    }
    EXPECT_EQ(L"N1 Alpha", group.CurrentOwnerName() + L" " + resource.ParentName());
}

TEST_F(AState, StaysWhenTheClusterCannotSayWhichItIs) {
    failing->state = 2;
    for (const int known : {node.Status(0), group.Status(0), resource.Status(0)}) EXPECT_EQ(1, known);
    for (const DWORD state : {5u, 131u, ClusterStateUnknown}) {
        failing->state = state;
        EXPECT_EQ(0, node.Status(0));
        EXPECT_EQ(0, resource.Status(0));
        EXPECT_EQ(state == ClusterStateUnknown, group.Status(0));
        const StringArray reports = NewReports();
        EXPECT_TRUE(reports.at(0).starts_with(L"1 Node::Info( int ). Unknown node state afater calling GetCl"));
        EXPECT_TRUE(reports.at(1).starts_with(L"1 Resource::Info( int ). Unknown resource state after calling GetC"));
    }
    EXPECT_EQ(L"Node is paused.", node.StatusString(0));
    EXPECT_EQ(L"Group failed.", group.StatusString(0));
    EXPECT_EQ(L"Resource is online.", resource.StatusString(0));
    NewReports();

    ::Group missing(L"Omega", cluster, L"Test", 1, 0);
    for (const int known :
         {missing.Status(0), ::Node(L"N9", cluster, L"Test", 0).Status(0), ::Node(L"N1", nullptr, L"Test", 0).Status(0),
          ::Resource(L"Nobody", cluster, L"Test", 0).Status(0)})
        EXPECT_EQ(0, known);
    EXPECT_EQ(L"0Group::Status( void ). Failure opening group ",
              std::to_wstring(missing.GetErrorCode()) + missing.GetErrorString());
    EXPECT_EQ((StringArray{L"1 Group::Open( ). Failure opening group.Omega", L"1 Node::Open( ). Failure opening node.",
                           L"1 Node::Open( ). Invalid cluster handle."}),
              NewReports());
}

}  // namespace
